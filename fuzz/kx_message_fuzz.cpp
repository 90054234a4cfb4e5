// Decodes arbitrary bytes as a bus message.  Whatever decodes must survive
// encode -> decode unchanged, and its text forms must not fail.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "kx/message.h"
#include "kx/message_json.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  kx::message m;
  if (!kx::message::decode(data, size, m)) return 0;
  const std::string bytes = m.encode();
  // A decoded message re-encodes to the very same bytes (one encoding per
  // message, fields kept in order).
  if (bytes.size() != size || std::memcmp(bytes.data(), data, size) != 0) std::abort();
  kx::message again;
  if (!kx::message::decode(bytes.data(), bytes.size(), again) || !(again == m)) std::abort();
  (void)m.dump();
  (void)kx::messageToJson(m).dump();
  return 0;
}
