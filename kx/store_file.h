// StoreFile: the byte layout of one object file of a kx::Store (internal
// to kx; pure functions, no I/O).
//
//   offset  size  field
//   0       4     magic "kxso"
//   4       4     format version (kFormatVersion)
//   8       4     the store's version argument
//   12      4     payload length
//   16      4     CRC-32 (IEEE 802.3) of the payload
//   20      n     payload: the encoded message
//
// Integers are little-endian, as in the message encoding.
#ifndef KX_STORE_FILE_H_
#define KX_STORE_FILE_H_

#include <cstddef>
#include <cstdint>
#include <string>

#include "kx/message.h"

namespace kx {

class StoreFile {
 public:
  static constexpr char kMagic[4] = {'k', 'x', 's', 'o'};
  static constexpr uint32_t kFormatVersion = 1;
  static constexpr size_t kHeaderSize = 20;
  // Largest file worth reading: a header and the largest message.
  static constexpr size_t kMaxFileSize = kHeaderSize + kMaxMessageSize;

  // The complete file contents for message m.
  static std::string encode(const message& m, unsigned storeVersion);
  // Parses a whole file.  On success fills out and storeVersion and returns
  // true; otherwise returns false with a short reason in why ("bad magic",
  // "checksum mismatch", ...) and leaves out empty.
  static bool decode(const void* data, size_t len, message& out, unsigned& storeVersion,
                     std::string& why);

  // CRC-32 as used by zlib and Ethernet (reflected, polynomial 0xEDB88320).
  static uint32_t crc32(const void* data, size_t len);
};

}  // namespace kx

#endif  // KX_STORE_FILE_H_
