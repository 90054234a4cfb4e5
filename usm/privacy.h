// The privacy protocols a v3 user encrypts its scoped PDUs with, by the
// value stored in the user's encryptionProtocol.
//
// 0 is DES-CBC (RFC 3414 section 8): DES key = privacy key octets 0-7,
// IV = octets 8-15 XOR the salt, the plaintext padded to whole 8-octet
// blocks.  1 to 3 are AES in 128-bit CFB mode (RFC 3826): key = the first
// 16, 24 or 32 octets of the privacy key, IV = engine boots, engine time
// (each 4 octets, most significant first) and the 8-octet salt; no
// padding.  A localised key shorter than the cipher needs (SHA-1's 20
// octets for AES-192, say) is extended as net-snmp's `-x AES-192` and
// `-x AES-256` do (draft-blumenthal-aes-usm-04 section 3.1.2.1):
// key = key ‖ H(key), repeated, H being the user's digest method.
#ifndef USM_PRIVACY_H_
#define USM_PRIVACY_H_

#include <cstddef>
#include <cstdint>

#include "usm/key_derivation.h"

struct PrivProtocol {
  const char* name;    // as managers spell it: "DES", "AES-128"
  unsigned keyLength;  // key octets the cipher takes (DES: key and pre-IV)
  unsigned blockSize;  // the plaintext is padded to a multiple of it
};

// The protocol table, by value.
extern const PrivProtocol protocols[];
extern const std::size_t kPrivProtocolCount;

// The protocol of value, or null for a value with no protocol: such a
// user's privacy is refused (the unsupported-level report).
const PrivProtocol* privProtocol(uint32_t value);

// Octets of msgPrivacyParameters: the salt.
constexpr std::size_t kSaltLength = 8;

// A fresh salt for one outgoing message.  DES: the engine boots (most
// significant octet first) and four octets from rand(), as RFC 3414
// suggests; AES: eight octets from rand() (the IV already carries boots
// and time).
void makeSalt(uint32_t protocol, uint32_t engineBoots, uint8_t salt[kSaltLength]);

// The privacy key a protocol uses, from the localised key (aKeyToBKey of
// the privacy password): extended as described above when shorter than
// the protocol's key; unchanged otherwise, and for an empty key or an
// unknown protocol.
Key extendPrivKey(const Key& bKey, uint32_t protocol, const evp_md_st* method);

// DES-CBC of input into output (both length octets; they may be the same
// buffer) with key octets 0-7 and the pre-IV 8-15 XOR salt.  False, with
// output untouched, for a key shorter than 16 octets or a length that is
// not whole blocks.  (PrivKey does the same with the key set up once.)
bool cryptMessageDES(const uint8_t salt[kSaltLength], const Key& key, const uint8_t* input,
                     uint8_t* output, std::size_t length, bool encrypt);

#endif  // USM_PRIVACY_H_
