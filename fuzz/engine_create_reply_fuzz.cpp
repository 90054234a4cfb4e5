// Runs whole request datagrams through createReply over the fake MIB of the
// engine's tests, with its communities ("public" may read, "private" write,
// "lan" read from 10.1.0.0/16 only).  Any answer must be a well-formed
// response to the version that was asked.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string>

#include "asn1/in_stream.h"
#include "engine/context.h"
#include "engine/create_reply.h"
#include "tests/unit/support/fake_mib.h"

namespace {

constexpr size_t kMaxDatagram = 65536;
// Replies this long can't carry their outer lengths; only shorter ones are
// checked for shape.
constexpr size_t kMaxEncodable = 65535;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // Every answered binding logs a line; the fuzzer's speed matters more.
  std::cerr.rdbuf(nullptr);
  static test_support::FakeMib mib;
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > kMaxDatagram) return 0;
  Context ctx(const_cast<unsigned char*>(data), size);
  // Half the inputs come from inside the "lan" network, half from outside.
  const int peer = (size & 1) ? (10 | (1 << 8) | (5 << 24)) : (192 | (7 << 24));
  if (!createReply(ctx, peer)) return 0;

  const auto& reply = ctx.out.bytes();
  if (reply.size() > kMaxEncodable) return 0;
  InStream check(reply.data(), reply.size());
  InStream request(data, size);
  const int version = check.getVersion();
  if (version < 0 || version > 2 || version != request.getVersion()) {
    std::abort();
  }
  std::string community;
  if (!check.getString(&community) || check.getType() != 0xA2 || check.enterSeq() < 0) {
    std::abort();
  }
  int id = 0, status = 0, index = 0;
  if (!check.getInt(&id) || !check.getInt(&status) || !check.getInt(&index)) {
    std::abort();
  }
  if (status != 0 && status != 2 && status != 4) std::abort();
  return 0;
}
