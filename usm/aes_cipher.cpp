// AES in 128-bit CFB mode (RFC 3826) through OpenSSL's EVP interface.
#include <climits>

#include "usm/cipher_state.h"
#include "usm/crypto_library.h"
#include "usm/privacy.h"

namespace {

constexpr std::size_t kIvLength = 16;

const EVP_CIPHER* cfbCipher(const CryptoLibrary& c, unsigned keyLength) {
  switch (keyLength) {
    case 16:
      return c.EVP_aes_128_cfb128();
    case 24:
      return c.EVP_aes_192_cfb128();
    case 32:
      return c.EVP_aes_256_cfb128();
  }
  return nullptr;
}

class AesState : public CipherState {
 public:
  AesState(const CryptoLibrary& crypto, EVP_CIPHER_CTX* ctx) : crypto_(crypto), ctx_(ctx) {}
  ~AesState() override { crypto_.EVP_CIPHER_CTX_free(ctx_); }
  AesState(const AesState&) = delete;
  AesState& operator=(const AesState&) = delete;

  bool crypt(const uint8_t* salt, uint32_t engineBoots, uint32_t engineTime, uint8_t* data,
             std::size_t length, bool encrypt) override {
    if (length > INT_MAX) return false;
    uint8_t iv[kIvLength];
    for (std::size_t i = 0; i < 4; ++i) {
      iv[i] = static_cast<uint8_t>(engineBoots >> (24 - 8 * i));
      iv[4 + i] = static_cast<uint8_t>(engineTime >> (24 - 8 * i));
    }
    for (std::size_t i = 0; i < kSaltLength; ++i) iv[8 + i] = salt[i];
    // Only the IV and the direction change: the expanded key stays (CFB
    // runs the cipher forwards both ways).  A stream mode: the output is as
    // long as the input, in place.
    int n = 0;
    return crypto_.EVP_CipherInit_ex(ctx_, nullptr, nullptr, nullptr, iv, encrypt ? 1 : 0) == 1 &&
           crypto_.EVP_CipherUpdate(ctx_, data, &n, data, static_cast<int>(length)) == 1 &&
           static_cast<std::size_t>(n) == length;
  }

 private:
  const CryptoLibrary& crypto_;
  EVP_CIPHER_CTX* ctx_;
};

}  // namespace

std::unique_ptr<CipherState> makeAesState(const Key& key, unsigned keyLength) {
  const CryptoLibrary* c = cryptoLibrary();
  if (c == nullptr) return nullptr;
  const EVP_CIPHER* cipher = cfbCipher(*c, keyLength);
  EVP_CIPHER_CTX* ctx = c->EVP_CIPHER_CTX_new();
  if (cipher == nullptr || ctx == nullptr ||
      c->EVP_CipherInit_ex(ctx, cipher, nullptr, key.data(), nullptr, 1) != 1) {
    c->EVP_CIPHER_CTX_free(ctx);
    return nullptr;
  }
  return std::make_unique<AesState>(*c, ctx);
}
