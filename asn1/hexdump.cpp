#include "asn1/hexdump.h"

#include <cstdio>

namespace {
constexpr unsigned int kBytesPerLine = 16;
}

void hexdump(const void* data, unsigned int n) {
  const unsigned char* bytes = static_cast<const unsigned char*>(data);
  for (unsigned int i = 0; i < n; ++i) {
    std::printf("%02x ", bytes[i]);
    if ((i + 1) % kBytesPerLine == 0) std::putchar('\n');
  }
  std::putchar('\n');
}
