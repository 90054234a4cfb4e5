#include "usm/auth_methods.h"

#include <iterator>

#include "usm/crypto_library.h"

namespace {

// The digest behind one of libcrypto's getters, loading the library on
// first use; null when it can't be loaded.
template <decltype(&::EVP_md5) CryptoLibrary::*getter>
const EVP_MD* lazyDigest() {
  const CryptoLibrary* crypto = cryptoLibrary();
  return crypto ? (crypto->*getter)() : nullptr;
}

}  // namespace

const AuthMethod methods[] = {
    {"MD5", lazyDigest<&CryptoLibrary::EVP_md5>, 12},         // HMAC-MD5-96
    {"SHA-1", lazyDigest<&CryptoLibrary::EVP_sha1>, 12},      // HMAC-SHA-96
    {"SHA-224", lazyDigest<&CryptoLibrary::EVP_sha224>, 16},  // HMAC-128-SHA-224
    {"SHA-256", lazyDigest<&CryptoLibrary::EVP_sha256>, 24},  // HMAC-192-SHA-256
    {"SHA-384", lazyDigest<&CryptoLibrary::EVP_sha384>, 32},  // HMAC-256-SHA-384
    {"SHA-512", lazyDigest<&CryptoLibrary::EVP_sha512>, 48},  // HMAC-384-SHA-512
};
const std::size_t kAuthMethodCount = std::size(methods);

const AuthMethod* authMethod(uint32_t index) {
  return index < kAuthMethodCount ? &methods[index] : nullptr;
}
