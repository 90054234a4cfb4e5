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

}  // namespace

bool cryptMessageDES(const uint8_t salt[kSaltLength], const Key& key, const uint8_t* input,
                     uint8_t* output, std::size_t length, bool encrypt) {
  if (key.size() < kDesKeyLength + kPreIvLength || length % kDesBlock != 0) return false;
  DES_cblock desKey;
  DES_cblock iv;
  std::memcpy(desKey, key.data(), kDesKeyLength);
  for (std::size_t i = 0; i < kPreIvLength; ++i) iv[i] = key[kDesKeyLength + i] ^ salt[i];
  DES_key_schedule schedule;
  DES_key_sched(&desKey, &schedule);
  // Reads each block before writing it: input and output may be the same.
  DES_ncbc_encrypt(input, output, static_cast<long>(length), &schedule, &iv,
                   encrypt ? DES_ENCRYPT : DES_DECRYPT);
  return true;
}
