#include "usm/crypto_library.h"

#include <dlfcn.h>

#include <cstdint>
#include <cstdio>
#include <memory>

namespace {

#define SARN_STRINGIFY2(x) #x
#define SARN_STRINGIFY(x) SARN_STRINGIFY2(x)
// The shared library of the OpenSSL the agent was built against.
constexpr const char* kLibrary = "libcrypto.so." SARN_STRINGIFY(OPENSSL_SHLIB_VERSION);

constexpr uint64_t kInitFlags = OPENSSL_INIT_NO_LOAD_CONFIG | OPENSSL_INIT_NO_ADD_ALL_CIPHERS |
                                OPENSSL_INIT_NO_ADD_ALL_DIGESTS |
                                OPENSSL_INIT_NO_LOAD_CRYPTO_STRINGS;

const CryptoLibrary* failed(const char* what, const char* detail) {
  std::fprintf(stderr, "snmpd: v3 security is unavailable: %s %s: %s\n", what, kLibrary,
               detail ? detail : "");
  return nullptr;
}

const CryptoLibrary* load() {
  // Never closed: keys and cipher states point into the library for the
  // rest of the process.
  void* handle = ::dlopen(kLibrary, RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) return failed("cannot load", ::dlerror());
  auto lib = std::make_unique<CryptoLibrary>();
#define SARN_CRYPTO_RESOLVE(name)                                            \
  lib->name = reinterpret_cast<decltype(lib->name)>(::dlsym(handle, #name)); \
  if (lib->name == nullptr) return failed("no " #name " in", ::dlerror());
  SARN_CRYPTO_FUNCTIONS(SARN_CRYPTO_RESOLVE)
#undef SARN_CRYPTO_RESOLVE
  if (lib->OPENSSL_init_crypto(kInitFlags, nullptr) != 1) return failed("cannot set up", "");
  return lib.release();
}

}  // namespace

const CryptoLibrary* cryptoLibrary() {
  // Set on the first call, for good.
  static const CryptoLibrary* const lib = load();
  return lib;
}
