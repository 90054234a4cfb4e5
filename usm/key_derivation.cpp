#include "usm/key_derivation.h"

#include <memory>

#include "usm/crypto_library.h"
#include "usm/hmac_key.h"

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
