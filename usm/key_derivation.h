// Authentication keys of the user-based security model: the digest
// methods, the key chain from password to HMAC pad blocks, the key a user
// signs and checks messages with.
#ifndef USM_KEY_DERIVATION_H_
#define USM_KEY_DERIVATION_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// The digest methods a v3 user authenticates with, by the index stored in
// the user's authMethod.
//
// 0 and 1 are HMAC-MD5-96 and HMAC-SHA-96 (RFC 3414); 2 to 5 are the
// HMAC-SHA-2 methods of RFC 7860.  Every method runs the same key chain
// (password to key, localisation, HMAC pad blocks) with its own hash; the
// pad blocks are as long as the hash's block, 64 octets up to SHA-256 and
// 128 for SHA-384 and SHA-512, and the MAC carried in a message is the
// hash truncated to macLength octets.
struct evp_md_st;  // OpenSSL's EVP_MD

struct AuthMethod {
  const char* name;  // as managers spell it: "MD5", "SHA-256"
  // OpenSSL's EVP_md5, EVP_sha1, ... (loading libcrypto on first use);
  // null when libcrypto can't be loaded.
  const evp_md_st* (*digest)();
  unsigned macLength;  // octets of msgAuthenticationParameters
};

// The method table, by index.
extern const AuthMethod methods[];
extern const std::size_t kAuthMethodCount;

// The method of index, or null for an index with no method: such a user
// can't authenticate (its requests get the unsupported-level report).
const AuthMethod* authMethod(uint32_t index);

// Longest MAC of any method (HMAC-384-SHA-512).
constexpr unsigned kMaxMacLength = 48;
// Longest digest of any method (SHA-512).
constexpr unsigned kMaxDigestLength = 64;
// Longest hash block of any method: the length of each HMAC pad block.
constexpr unsigned kMaxBlockLength = 128;

// The key chain of the user-based security model (RFC 3414's key localisation,
// with the hash of the user's method as RFC 7860 extends it):
//
//   password --passwordToAKey--> A-key (the user's key, any engine)
//            --aKeyToBKey------> B-key (localised to one engine ID)
//            --bKeyToDKey------> D-key (the HMAC's inner and outer pad blocks)
//
// and the HMAC over a whole message.  Each function comes in two forms: one
// taking the OpenSSL digest, one taking the index into `methods`, which
// looks the digest up and forwards (an index with no method gives an empty
// result).  Keys are byte vectors.
//
// Deriving an A-key hashes a megabyte: keys are derived when a user or the
// engine ID changes, never per message (see HmacKey for the per-message
// part).

using Key = std::vector<uint8_t>;

// The digest of 1,048,576 octets of the password repeated.  An empty
// password gives an empty key (nothing is hashed).
Key passwordToAKey(const std::string& password, const evp_md_st* method);
Key passwordToAKey(const std::string& password, uint32_t method);

// The digest of aKey ‖ engineID ‖ aKey.
Key aKeyToBKey(const Key& aKey, const std::string& engineID, const evp_md_st* method);
Key aKeyToBKey(const Key& aKey, const std::string& engineID, uint32_t method);

// The two HMAC pad blocks of bKey, each as long as the method's hash block
// (64 octets, 128 for SHA-384 and SHA-512): the key XOR 0x36 then the key
// XOR 0x5c, the key padded with zeros.  REQUIRES: bKey no longer than a
// block (a localised key is one digest).
Key bKeyToDKey(const Key& bKey, const evp_md_st* method);
Key bKeyToDKey(const Key& bKey, uint32_t method);

// The full HMAC digest of message[0, size) into out (resized to the digest
// size), computed as if the `length` octets at `position` (the
// authentication parameters) were zeros; the message itself is not touched.
// dKey as bKeyToDKey makes it; an empty dKey hashes with no pad blocks.
// The caller compares or copies the method's MAC length of it.
void digestMessage(std::vector<uint8_t>& out, const uint8_t* message, std::size_t size,
                   const Key& dKey, std::size_t position, std::size_t length,
                   const evp_md_st* method);
void digestMessage(std::vector<uint8_t>& out, const uint8_t* message, std::size_t size,
                   const Key& dKey, std::size_t position, std::size_t length, uint32_t method);

// HmacKey: a user's authentication key ready to sign and check messages.
//
// It holds the D-key (the two HMAC pad blocks, see bKeyToDKey) and the
// method's hash state after each pad block has been fed.  A digest then
// copies those states and feeds only the message and the inner digest:
// per message nothing is derived and no pad block is hashed again.
//
// Not thread-safe: digest() reuses one scratch state of the key.  Not
// copyable (it owns OpenSSL states).
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

#endif  // USM_KEY_DERIVATION_H_
