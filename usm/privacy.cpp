#include "usm/privacy.h"

#include <climits>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "usm/crypto_library.h"

const PrivProtocol protocols[] = {
    {"DES", 16, 8},      // CBC-DES: 8 key octets, 8 pre-IV octets
    {"AES-128", 16, 1},  // CFB128-AES-128
    {"AES-192", 24, 1},
    {"AES-256", 32, 1},
};
const std::size_t kPrivProtocolCount = std::size(protocols);

namespace {

// The protocol value of DES.
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

PrivKey::PrivKey() = default;
PrivKey::~PrivKey() = default;

void PrivKey::clear() {
  key_.clear();
  protocol_ = nullptr;
  state_.reset();
}

bool PrivKey::assign(const Key& key, uint32_t protocol) {
  clear();
  const PrivProtocol* p = privProtocol(protocol);
  if (p == nullptr || key.size() < p->keyLength) return false;
  state_ = protocol == kDes ? makeDesState(key) : makeAesState(key, p->keyLength);
  if (state_) {
    key_ = key;
    protocol_ = p;
  }
  return !empty();
}

bool PrivKey::crypt(const uint8_t* salt, uint32_t engineBoots, uint32_t engineTime, uint8_t* data,
                    std::size_t length, bool encrypt) const {
  return state_ && state_->crypt(salt, engineBoots, engineTime, data, length, encrypt);
}

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
