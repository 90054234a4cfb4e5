// Byte layout of an encoded kx::message, shared by the encoder and the
// decoder (internal to kx).
//
//   message  := count:u32 field*            (count fields follow)
//   field    := key:u32 value               (value layout chosen by the key)
//   bool     := u8 (0 or 1)
//   u32      := u32          u64 := u64
//   string   := len:u32 byte*len            raw := len:u32 byte*len
//   message  := len:u32 <encoded message of exactly len bytes>
//   array    := count:u32 element*count     (elements as the scalar forms)
//
// Every integer is little-endian.  A key appears at most once per message.
#ifndef KX_WIRE_FORMAT_H_
#define KX_WIRE_FORMAT_H_

#include <cstddef>
#include <cstdint>
#include <string>

#include "kx/message.h"

namespace kx {
namespace wire {

constexpr size_t kU32Size = 4;
constexpr size_t kU64Size = 8;
constexpr size_t kBoolSize = 1;
// Length and count prefixes are u32.
constexpr size_t kPrefixSize = kU32Size;
// The smallest encoded message is an empty one: its field count alone.
constexpr size_t kMinMessageSize = kU32Size;
// The smallest field is a key and a bool; bounds the field count of a
// message by the bytes that are really there.
constexpr size_t kMinFieldSize = kU32Size + kBoolSize;

inline void putU32(std::string& out, uint32_t v) {
  char b[kU32Size];
  for (size_t i = 0; i < kU32Size; ++i) b[i] = static_cast<char>((v >> (8 * i)) & 0xff);
  out.append(b, kU32Size);
}

inline void putU64(std::string& out, uint64_t v) {
  char b[kU64Size];
  for (size_t i = 0; i < kU64Size; ++i) b[i] = static_cast<char>((v >> (8 * i)) & 0xff);
  out.append(b, kU64Size);
}

// Overwrites a u32 already appended at pos (back-patched lengths).
inline void patchU32(std::string& out, size_t pos, uint32_t v) {
  for (size_t i = 0; i < kU32Size; ++i) out[pos + i] = static_cast<char>((v >> (8 * i)) & 0xff);
}

inline uint32_t readU32(const uint8_t* p) {
  return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

inline uint64_t readU64(const uint8_t* p) {
  return uint64_t(readU32(p)) | uint64_t(readU32(p + kU32Size)) << 32;
}

// Bytes taken by one value of the given scalar type, at least; 0 for a
// type tag that is not defined.  The decoder refuses counts that cannot fit
// in what remains before it allocates anything for them.
constexpr size_t minValueSize(uint32_t scalarType) {
  switch (scalarType) {
    case kTypeBool:
      return kBoolSize;
    case kTypeU32:
      return kU32Size;
    case kTypeU64:
      return kU64Size;
    case kTypeString:
    case kTypeRaw:
      return kPrefixSize;
    case kTypeMessage:
      return kPrefixSize + kMinMessageSize;
    default:
      return 0;
  }
}

}  // namespace wire
}  // namespace kx

#endif  // KX_WIRE_FORMAT_H_
