// DES-CBC of the user-based security model, through OpenSSL's low-level
// DES functions (see crypto_library.h).
#include <cstring>

#include "usm/crypto_library.h"
#include "usm/privacy.h"

namespace {

constexpr std::size_t kDesBlock = 8;
constexpr std::size_t kDesKeyLength = 8;
constexpr std::size_t kPreIvLength = 8;

class DesState : public CipherState {
 public:
  DesState(const CryptoLibrary& crypto, const Key& key) : crypto_(crypto) {
    DES_cblock desKey;
    std::memcpy(desKey, key.data(), kDesKeyLength);
    crypto_.DES_key_sched(&desKey, &schedule_);
    std::memcpy(preIv_, key.data() + kDesKeyLength, kPreIvLength);
  }

  bool crypt(const uint8_t* salt, uint32_t, uint32_t, uint8_t* data, std::size_t length,
             bool encrypt) override {
    if (length % kDesBlock != 0) return false;
    DES_cblock iv;
    for (std::size_t i = 0; i < kPreIvLength; ++i) iv[i] = preIv_[i] ^ salt[i];
    // Reads each block before writing it: input and output may be the same.
    crypto_.DES_ncbc_encrypt(data, data, static_cast<long>(length), &schedule_, &iv,
                             encrypt ? DES_ENCRYPT : DES_DECRYPT);
    return true;
  }

 private:
  const CryptoLibrary& crypto_;
  DES_key_schedule schedule_;
  uint8_t preIv_[kPreIvLength];
};

}  // namespace

std::unique_ptr<CipherState> makeDesState(const Key& key) {
  const CryptoLibrary* c = cryptoLibrary();
  return c ? std::make_unique<DesState>(*c, key) : nullptr;
}
