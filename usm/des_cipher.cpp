// DES-CBC of the user-based security model.  Single DES lives only in
// OpenSSL's deprecated low-level interface (its EVP form needs the legacy
// provider, which the agent does not load), so this one file silences the
// deprecation.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/des.h>

#include <cstring>

#include "usm/privacy.h"

namespace {

constexpr std::size_t kDesBlock = 8;
constexpr std::size_t kDesKeyLength = 8;
constexpr std::size_t kPreIvLength = 8;

class DesState : public CipherState {
 public:
  explicit DesState(const Key& key) {
    DES_cblock desKey;
    std::memcpy(desKey, key.data(), kDesKeyLength);
    DES_key_sched(&desKey, &schedule_);
    std::memcpy(preIv_, key.data() + kDesKeyLength, kPreIvLength);
  }

  bool crypt(const uint8_t* salt, uint32_t, uint32_t, uint8_t* data, std::size_t length,
             bool encrypt) override {
    if (length % kDesBlock != 0) return false;
    DES_cblock iv;
    for (std::size_t i = 0; i < kPreIvLength; ++i) iv[i] = preIv_[i] ^ salt[i];
    // Reads each block before writing it: input and output may be the same.
    DES_ncbc_encrypt(data, data, static_cast<long>(length), &schedule_, &iv,
                     encrypt ? DES_ENCRYPT : DES_DECRYPT);
    return true;
  }

 private:
  DES_key_schedule schedule_;
  uint8_t preIv_[kPreIvLength];
};

}  // namespace

std::unique_ptr<CipherState> makeDesState(const Key& key) {
  return std::make_unique<DesState>(key);
}
