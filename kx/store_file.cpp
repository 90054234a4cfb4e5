#include "kx/store_file.h"

#include <array>
#include <cstring>

#include "kx/wire_format.h"

namespace kx {

namespace {

constexpr size_t kVersionAt = 4;
constexpr size_t kStoreVersionAt = 8;
constexpr size_t kLengthAt = 12;
constexpr size_t kCrcAt = 16;

std::array<uint32_t, 256> makeCrcTable() {
  std::array<uint32_t, 256> t{};
  for (uint32_t i = 0; i < 256; ++i) {
    uint32_t c = i;
    for (int k = 0; k < 8; ++k) c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
    t[i] = c;
  }
  return t;
}

}  // namespace

uint32_t StoreFile::crc32(const void* data, size_t len) {
  static const std::array<uint32_t, 256> table = makeCrcTable();
  const uint8_t* p = static_cast<const uint8_t*>(data);
  uint32_t c = 0xffffffffu;
  for (size_t i = 0; i < len; ++i) c = table[(c ^ p[i]) & 0xff] ^ (c >> 8);
  return c ^ 0xffffffffu;
}

std::string StoreFile::encode(const message& m, unsigned storeVersion) {
  const std::string payload = m.encode();
  std::string out(kMagic, sizeof kMagic);
  wire::putU32(out, kFormatVersion);
  wire::putU32(out, storeVersion);
  wire::putU32(out, static_cast<uint32_t>(payload.size()));
  wire::putU32(out, crc32(payload.data(), payload.size()));
  out += payload;
  return out;
}

bool StoreFile::decode(const void* data, size_t len, message& out, unsigned& storeVersion,
                       std::string& why) {
  out.clear();
  const uint8_t* p = static_cast<const uint8_t*>(data);
  if (len < kHeaderSize) {
    why = "shorter than its header";
    return false;
  }
  if (std::memcmp(p, kMagic, sizeof kMagic) != 0) {
    why = "bad magic";
    return false;
  }
  if (wire::readU32(p + kVersionAt) != kFormatVersion) {
    why = "unknown format version " + std::to_string(wire::readU32(p + kVersionAt));
    return false;
  }
  const uint32_t length = wire::readU32(p + kLengthAt);
  if (length != len - kHeaderSize) {
    why = "length " + std::to_string(length) + " does not match the " +
          std::to_string(len - kHeaderSize) + " bytes present";
    return false;
  }
  if (crc32(p + kHeaderSize, length) != wire::readU32(p + kCrcAt)) {
    why = "checksum mismatch";
    return false;
  }
  message m;
  if (!message::decode(p + kHeaderSize, length, m)) {
    why = "undecodable message";
    return false;
  }
  storeVersion = wire::readU32(p + kStoreVersionAt);
  out = std::move(m);
  return true;
}

}  // namespace kx
