#include "usm/privacy.h"

#include <cstdlib>
#include <cstring>
#include <iterator>

#include "usm/crypto_library.h"
#include "usm/priv_key.h"

const PrivProtocol protocols[] = {
    {"DES", 16, 8},      // CBC-DES: 8 key octets, 8 pre-IV octets
    {"AES-128", 16, 1},  // CFB128-AES-128
    {"AES-192", 24, 1},
    {"AES-256", 32, 1},
};
const std::size_t kPrivProtocolCount = std::size(protocols);

namespace {

constexpr uint32_t kDes = 0;

}  // namespace

const PrivProtocol* privProtocol(uint32_t value) {
  return value < kPrivProtocolCount ? &protocols[value] : nullptr;
}

void makeSalt(uint32_t protocol, uint32_t engineBoots, uint8_t salt[kSaltLength]) {
  std::size_t i = 0;
  if (protocol == kDes) {
    for (; i < 4; ++i) salt[i] = static_cast<uint8_t>(engineBoots >> (24 - 8 * i));
  }
  for (; i < kSaltLength; ++i) salt[i] = static_cast<uint8_t>(std::rand());
}

Key extendPrivKey(const Key& bKey, uint32_t protocol, const EVP_MD* method) {
  const PrivProtocol* p = privProtocol(protocol);
  if (p == nullptr || method == nullptr || bKey.empty()) return bKey;
  // A method comes from a loaded libcrypto.
  const CryptoLibrary& c = *cryptoLibrary();
  Key key = bKey;
  while (key.size() < p->keyLength) {
    uint8_t digest[EVP_MAX_MD_SIZE];
    unsigned n = 0;
    if (c.EVP_Digest(key.data(), key.size(), digest, &n, method, nullptr) != 1) return bKey;
    key.insert(key.end(), digest, digest + n);
  }
  return key;
}

bool cryptMessageDES(const uint8_t salt[kSaltLength], const Key& key, const uint8_t* input,
                     uint8_t* output, std::size_t length, bool encrypt) {
  PrivKey des;
  if (!des.assign(key, kDes) || length % protocols[kDes].blockSize != 0) return false;
  std::memmove(output, input, length);
  return des.crypt(salt, 0, 0, output, length, encrypt);
}
