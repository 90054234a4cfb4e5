// HmacKey: a user's authentication key ready to sign and check messages.
//
// It holds the D-key (the two HMAC pad blocks, see bKeyToDKey) and the
// method's hash state after each pad block has been fed.  A digest then
// copies those states and feeds only the message and the inner digest:
// per message nothing is derived and no pad block is hashed again.
//
// Not thread-safe: digest() reuses one scratch state of the key.  Not
// copyable (it owns OpenSSL states).
#ifndef USM_HMAC_KEY_H_
#define USM_HMAC_KEY_H_

#include <cstddef>
#include <cstdint>

#include "usm/key_derivation.h"

struct evp_md_ctx_st;  // OpenSSL's EVP_MD_CTX

class HmacKey {
 public:
  HmacKey() = default;
  ~HmacKey();
  HmacKey(const HmacKey&) = delete;
  HmacKey& operator=(const HmacKey&) = delete;

  // Takes dKey for method and feeds its halves into the two states; an
  // empty dKey feeds nothing (a digest is then the hash of the hash).
  // False, leaving the key empty, when OpenSSL can't set the method up.
  bool assign(const Key& dKey, const evp_md_st* method);
  // Forgets the key and frees the states.
  void clear();
  // True when there is no key to digest with.
  bool empty() const { return inner_ == nullptr; }
  const Key& dKey() const { return dKey_; }

  // HMAC of message[0, size) as if the holeLength octets at hole were
  // zeros, into out; the digest's length, or 0 when the key is empty or
  // the hole doesn't lie inside the message.
  unsigned digest(const uint8_t* message, std::size_t size, std::size_t hole,
                  std::size_t holeLength, uint8_t out[kMaxDigestLength]) const;

 private:
  Key dKey_;
  evp_md_ctx_st* inner_ = nullptr;  // after the inner pad block
  evp_md_ctx_st* outer_ = nullptr;  // after the outer pad block
  evp_md_ctx_st* work_ = nullptr;   // scratch for every digest
};

#endif  // USM_HMAC_KEY_H_
