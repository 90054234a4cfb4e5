// The digest methods a v3 user authenticates with, by the index stored in
// the user's authMethod.
//
// 0 and 1 are HMAC-MD5-96 and HMAC-SHA-96 (RFC 3414); 2 to 5 are the
// HMAC-SHA-2 methods of RFC 7860.  Every method runs the same key chain
// (password to key, localisation, HMAC pad blocks) with its own hash; the
// pad blocks are as long as the hash's block, 64 octets up to SHA-256 and
// 128 for SHA-384 and SHA-512, and the MAC carried in a message is the
// hash truncated to macLength octets.
#ifndef USM_AUTH_METHODS_H_
#define USM_AUTH_METHODS_H_

#include <cstddef>
#include <cstdint>

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

#endif  // USM_AUTH_METHODS_H_
