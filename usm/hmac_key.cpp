#include "usm/hmac_key.h"

#include <openssl/evp.h>

#include <algorithm>

namespace {

// Zeros fed in place of the authentication parameters.
constexpr uint8_t kZeros[kMaxBlockLength] = {};

bool feedZeros(EVP_MD_CTX* ctx, std::size_t n) {
  while (n > 0) {
    const std::size_t chunk = std::min(n, sizeof kZeros);
    if (EVP_DigestUpdate(ctx, kZeros, chunk) != 1) return false;
    n -= chunk;
  }
  return true;
}

}  // namespace

HmacKey::~HmacKey() { clear(); }

void HmacKey::clear() {
  EVP_MD_CTX_free(inner_);
  EVP_MD_CTX_free(outer_);
  EVP_MD_CTX_free(work_);
  inner_ = outer_ = work_ = nullptr;
  dKey_.clear();
}

bool HmacKey::assign(const Key& dKey, const EVP_MD* method) {
  clear();
  if (method == nullptr) return false;
  inner_ = EVP_MD_CTX_new();
  outer_ = EVP_MD_CTX_new();
  work_ = EVP_MD_CTX_new();
  const std::size_t half = dKey.size() / 2;
  const bool ok = inner_ && outer_ && work_ && EVP_DigestInit_ex(inner_, method, nullptr) == 1 &&
                  EVP_DigestUpdate(inner_, dKey.data(), half) == 1 &&
                  EVP_DigestInit_ex(outer_, method, nullptr) == 1 &&
                  EVP_DigestUpdate(outer_, dKey.data() + half, half) == 1;
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
  uint8_t inner[EVP_MAX_MD_SIZE];
  unsigned innerLength = 0;
  unsigned outLength = 0;
  const std::size_t after = hole + holeLength;
  const bool ok =
      EVP_MD_CTX_copy_ex(work_, inner_) == 1 && EVP_DigestUpdate(work_, message, hole) == 1 &&
      feedZeros(work_, holeLength) && EVP_DigestUpdate(work_, message + after, size - after) == 1 &&
      EVP_DigestFinal_ex(work_, inner, &innerLength) == 1 &&
      EVP_MD_CTX_copy_ex(work_, outer_) == 1 && EVP_DigestUpdate(work_, inner, innerLength) == 1 &&
      EVP_DigestFinal_ex(work_, out, &outLength) == 1;
  return ok ? outLength : 0;
}
