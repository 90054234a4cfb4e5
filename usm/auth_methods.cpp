#include "usm/auth_methods.h"

#include <openssl/evp.h>

#include <iterator>

const AuthMethod methods[] = {
    {"MD5", EVP_md5, 12},         // HMAC-MD5-96
    {"SHA-1", EVP_sha1, 12},      // HMAC-SHA-96
    {"SHA-224", EVP_sha224, 16},  // HMAC-128-SHA-224
    {"SHA-256", EVP_sha256, 24},  // HMAC-192-SHA-256
    {"SHA-384", EVP_sha384, 32},  // HMAC-256-SHA-384
    {"SHA-512", EVP_sha512, 48},  // HMAC-384-SHA-512
};
const std::size_t kAuthMethodCount = std::size(methods);

const AuthMethod* authMethod(uint32_t index) {
  return index < kAuthMethodCount ? &methods[index] : nullptr;
}
