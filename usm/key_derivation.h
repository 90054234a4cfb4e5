// The key chain of the user-based security model (RFC 3414 section 2.6,
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
#ifndef USM_KEY_DERIVATION_H_
#define USM_KEY_DERIVATION_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "usm/auth_methods.h"

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

#endif  // USM_KEY_DERIVATION_H_
