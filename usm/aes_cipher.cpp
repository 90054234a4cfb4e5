// AES in 128-bit CFB mode (RFC 3826) through OpenSSL's EVP interface.
#include <openssl/evp.h>

#include <climits>
#include <memory>

#include "usm/privacy.h"

namespace {

constexpr std::size_t kIvLength = 16;

const EVP_CIPHER* cfbCipher(unsigned keyLength) {
  switch (keyLength) {
    case 16:
      return EVP_aes_128_cfb128();
    case 24:
      return EVP_aes_192_cfb128();
    case 32:
      return EVP_aes_256_cfb128();
  }
  return nullptr;
}

struct CipherFree {
  void operator()(EVP_CIPHER_CTX* ctx) const { EVP_CIPHER_CTX_free(ctx); }
};

}  // namespace

bool cryptMessageAES(const uint8_t salt[kSaltLength], uint32_t engineBoots, uint32_t engineTime,
                     const Key& key, unsigned keyLength, const uint8_t* input, uint8_t* output,
                     std::size_t length, bool encrypt) {
  const EVP_CIPHER* cipher = cfbCipher(keyLength);
  if (cipher == nullptr || key.size() < keyLength || length > INT_MAX) return false;
  uint8_t iv[kIvLength];
  for (std::size_t i = 0; i < 4; ++i) {
    iv[i] = static_cast<uint8_t>(engineBoots >> (24 - 8 * i));
    iv[4 + i] = static_cast<uint8_t>(engineTime >> (24 - 8 * i));
  }
  for (std::size_t i = 0; i < kSaltLength; ++i) iv[8 + i] = salt[i];

  std::unique_ptr<EVP_CIPHER_CTX, CipherFree> ctx(EVP_CIPHER_CTX_new());
  int n = 0;
  // CFB is a stream mode: the output is as long as the input and the
  // final call adds nothing.  EVP allows input == output.
  return ctx &&
         EVP_CipherInit_ex(ctx.get(), cipher, nullptr, key.data(), iv, encrypt ? 1 : 0) == 1 &&
         EVP_CipherUpdate(ctx.get(), output, &n, input, static_cast<int>(length)) == 1 &&
         static_cast<std::size_t>(n) == length;
}
