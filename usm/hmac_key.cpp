#include "usm/hmac_key.h"

#include <algorithm>

#include "usm/crypto_library.h"

namespace {

// Zeros fed in place of the authentication parameters.
constexpr uint8_t kZeros[kMaxBlockLength] = {};

bool feedZeros(const CryptoLibrary& crypto, EVP_MD_CTX* ctx, std::size_t n) {
  while (n > 0) {
    const std::size_t chunk = std::min(n, sizeof kZeros);
    if (crypto.EVP_DigestUpdate(ctx, kZeros, chunk) != 1) return false;
    n -= chunk;
  }
  return true;
}

}  // namespace

HmacKey::~HmacKey() { clear(); }

void HmacKey::clear() {
  // States exist only once libcrypto is loaded.
  if (inner_ || outer_ || work_) {
    const CryptoLibrary* crypto = cryptoLibrary();
    crypto->EVP_MD_CTX_free(inner_);
    crypto->EVP_MD_CTX_free(outer_);
    crypto->EVP_MD_CTX_free(work_);
  }
  inner_ = outer_ = work_ = nullptr;
  dKey_.clear();
}

bool HmacKey::assign(const Key& dKey, const EVP_MD* method) {
  clear();
  // A method comes from a loaded libcrypto.
  if (method == nullptr) return false;
  const CryptoLibrary& c = *cryptoLibrary();
  inner_ = c.EVP_MD_CTX_new();
  outer_ = c.EVP_MD_CTX_new();
  work_ = c.EVP_MD_CTX_new();
  const std::size_t half = dKey.size() / 2;
  const bool ok = inner_ && outer_ && work_ && c.EVP_DigestInit_ex(inner_, method, nullptr) == 1 &&
                  c.EVP_DigestUpdate(inner_, dKey.data(), half) == 1 &&
                  c.EVP_DigestInit_ex(outer_, method, nullptr) == 1 &&
                  c.EVP_DigestUpdate(outer_, dKey.data() + half, half) == 1;
  if (!ok) {
    clear();
    return false;
  }
  dKey_ = dKey;
  return true;
}

unsigned HmacKey::digest(const uint8_t* message, std::size_t size, std::size_t hole,
                         std::size_t holeLength, uint8_t out[kMaxDigestLength]) const {
  if (empty() || hole > size || holeLength > size - hole) return 0;
  const CryptoLibrary& c = *cryptoLibrary();
  uint8_t inner[EVP_MAX_MD_SIZE];
  unsigned innerLength = 0;
  unsigned outLength = 0;
  const std::size_t after = hole + holeLength;
  const bool ok = c.EVP_MD_CTX_copy_ex(work_, inner_) == 1 &&
                  c.EVP_DigestUpdate(work_, message, hole) == 1 &&
                  feedZeros(c, work_, holeLength) &&
                  c.EVP_DigestUpdate(work_, message + after, size - after) == 1 &&
                  c.EVP_DigestFinal_ex(work_, inner, &innerLength) == 1 &&
                  c.EVP_MD_CTX_copy_ex(work_, outer_) == 1 &&
                  c.EVP_DigestUpdate(work_, inner, innerLength) == 1 &&
                  c.EVP_DigestFinal_ex(work_, out, &outLength) == 1;
  return ok ? outLength : 0;
}
