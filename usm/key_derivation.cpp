#include "usm/key_derivation.h"

#include <algorithm>
#include <iterator>
#include <memory>

#include "usm/crypto_library.h"

namespace {

// The digest behind one of libcrypto's getters, loading the library on
// first use; null when it can't be loaded.
template <decltype(&::EVP_md5) CryptoLibrary::*getter>
const EVP_MD* lazyDigest() {
  const CryptoLibrary* crypto = cryptoLibrary();
  return crypto ? (crypto->*getter)() : nullptr;
}

}  // namespace

const AuthMethod methods[] = {
    {"MD5", lazyDigest<&CryptoLibrary::EVP_md5>, 12},         // HMAC-MD5-96
    {"SHA-1", lazyDigest<&CryptoLibrary::EVP_sha1>, 12},      // HMAC-SHA-96
    {"SHA-224", lazyDigest<&CryptoLibrary::EVP_sha224>, 16},  // HMAC-128-SHA-224
    {"SHA-256", lazyDigest<&CryptoLibrary::EVP_sha256>, 24},  // HMAC-192-SHA-256
    {"SHA-384", lazyDigest<&CryptoLibrary::EVP_sha384>, 32},  // HMAC-256-SHA-384
    {"SHA-512", lazyDigest<&CryptoLibrary::EVP_sha512>, 48},  // HMAC-384-SHA-512
};
const std::size_t kAuthMethodCount = std::size(methods);

const AuthMethod* authMethod(uint32_t index) {
  return index < kAuthMethodCount ? &methods[index] : nullptr;
}

namespace {

// RFC 3414 A.2: the password is repeated over one megabyte, hashed in
// blocks of 64 octets.
constexpr std::size_t kPasswordStreamLength = 0x100000;
constexpr std::size_t kPasswordBlock = 64;
constexpr uint8_t kInnerPad = 0x36;
constexpr uint8_t kOuterPad = 0x5c;

// A method comes from a loaded libcrypto: these run only with one.
struct CtxFree {
  void operator()(EVP_MD_CTX* ctx) const { cryptoLibrary()->EVP_MD_CTX_free(ctx); }
};
using Ctx = std::unique_ptr<EVP_MD_CTX, CtxFree>;

Ctx newCtx() { return Ctx(cryptoLibrary()->EVP_MD_CTX_new()); }

const EVP_MD* digestOf(uint32_t index) {
  const AuthMethod* m = authMethod(index);
  return m ? m->digest() : nullptr;
}

}  // namespace

Key passwordToAKey(const std::string& password, const EVP_MD* method) {
  if (password.empty() || method == nullptr) return Key();
  const CryptoLibrary& c = *cryptoLibrary();
  Ctx ctx = newCtx();
  if (!ctx || c.EVP_DigestInit_ex(ctx.get(), method, nullptr) != 1) return Key();
  uint8_t block[kPasswordBlock];
  std::size_t k = 0;  // position in the password of the next byte
  for (std::size_t done = 0; done < kPasswordStreamLength; done += kPasswordBlock) {
    for (uint8_t& b : block) {
      b = static_cast<uint8_t>(password[k]);
      if (++k == password.size()) k = 0;
    }
    if (c.EVP_DigestUpdate(ctx.get(), block, sizeof block) != 1) return Key();
  }
  Key key(EVP_MAX_MD_SIZE);
  unsigned n = 0;
  if (c.EVP_DigestFinal_ex(ctx.get(), key.data(), &n) != 1) return Key();
  key.resize(n);
  return key;
}

Key passwordToAKey(const std::string& password, uint32_t method) {
  return passwordToAKey(password, digestOf(method));
}

Key aKeyToBKey(const Key& aKey, const std::string& engineID, const EVP_MD* method) {
  if (method == nullptr) return Key();
  const CryptoLibrary& c = *cryptoLibrary();
  Ctx ctx = newCtx();
  Key key(EVP_MAX_MD_SIZE);
  unsigned n = 0;
  if (!ctx || c.EVP_DigestInit_ex(ctx.get(), method, nullptr) != 1 ||
      c.EVP_DigestUpdate(ctx.get(), aKey.data(), aKey.size()) != 1 ||
      c.EVP_DigestUpdate(ctx.get(), engineID.data(), engineID.size()) != 1 ||
      c.EVP_DigestUpdate(ctx.get(), aKey.data(), aKey.size()) != 1 ||
      c.EVP_DigestFinal_ex(ctx.get(), key.data(), &n) != 1) {
    return Key();
  }
  key.resize(n);
  return key;
}

Key aKeyToBKey(const Key& aKey, const std::string& engineID, uint32_t method) {
  return aKeyToBKey(aKey, engineID, digestOf(method));
}

Key bKeyToDKey(const Key& bKey, const EVP_MD* method) {
  if (method == nullptr) return Key();
  const std::size_t block =
      static_cast<std::size_t>(cryptoLibrary()->EVP_MD_get_block_size(method));
  Key dKey(2 * block);
  for (std::size_t i = 0; i < block; ++i) {
    const uint8_t k = i < bKey.size() ? bKey[i] : 0;
    dKey[i] = k ^ kInnerPad;
    dKey[block + i] = k ^ kOuterPad;
  }
  return dKey;
}

Key bKeyToDKey(const Key& bKey, uint32_t method) { return bKeyToDKey(bKey, digestOf(method)); }

void digestMessage(std::vector<uint8_t>& out, const uint8_t* message, std::size_t size,
                   const Key& dKey, std::size_t position, std::size_t length,
                   const EVP_MD* method) {
  HmacKey key;
  uint8_t digest[kMaxDigestLength];
  const unsigned n =
      key.assign(dKey, method) ? key.digest(message, size, position, length, digest) : 0;
  out.assign(digest, digest + n);
}

void digestMessage(std::vector<uint8_t>& out, const uint8_t* message, std::size_t size,
                   const Key& dKey, std::size_t position, std::size_t length, uint32_t method) {
  digestMessage(out, message, size, dKey, position, length, digestOf(method));
}

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
