// Loads arbitrary bytes as a store object file: the store never crashes,
// and either loads a message or sets the file aside.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fuzz/temp_dir.h"
#include "kx/platform.h"
#include "kx/store.h"
#include "kx/store_file.h"

namespace {

kx::Store& store() {
  static kx::Store* s = [] {
    kx::setRoot(fuzz::tempDir("kx_store_fuzz"));
    return new kx::Store("/store", 1);
  }();
  return *s;
}

void put32(std::string& s, uint32_t v) {
  for (int i = 0; i < 4; ++i) s.push_back(static_cast<char>(v >> (8 * i)));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  kx::Store& s = store();
  std::string file;
  // An odd first byte wraps the rest in a valid header, so that the
  // message decoder behind the checksum is reached too.
  if (size > 0 && (data[0] & 1)) {
    const size_t n = size - 1;
    file.assign(kx::StoreFile::kMagic, sizeof kx::StoreFile::kMagic);
    put32(file, kx::StoreFile::kFormatVersion);
    put32(file, 1);
    put32(file, static_cast<uint32_t>(n));
    put32(file, kx::StoreFile::crc32(data + 1, n));
    file.append(reinterpret_cast<const char*>(data + 1), n);
  } else {
    file.assign(reinterpret_cast<const char*>(data), size);
  }
  const std::string path = s.dir() + "/1";
  FILE* f = std::fopen(path.c_str(), "wb");
  if (!f) std::abort();
  std::fwrite(file.data(), 1, file.size(), f);
  std::fclose(f);
  kx::message m;
  if (s.load(1, m)) {
    // A loaded object saves and loads back the same.
    if (!s.save(2, m)) std::abort();
    kx::message back;
    if (!s.load(2, back) || !(back == m)) std::abort();
  } else if (s.has(1)) {
    std::abort();  // a damaged file must have been set aside
  }
  return 0;
}
