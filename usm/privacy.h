// The privacy protocols a v3 user encrypts its scoped PDUs with, by the
// value stored in the user's encryptionProtocol.
//
// 0 is DES-CBC (RFC 3414's privacy protocol): DES key = privacy key octets 0-7,
// IV = octets 8-15 XOR the salt, the plaintext padded to whole 8-octet
// blocks.  1 to 3 are AES in 128-bit CFB mode (RFC 3826): key = the first
// 16, 24 or 32 octets of the privacy key, IV = engine boots, engine time
// (each 4 octets, most significant first) and the 8-octet salt; no
// padding.  A localised key shorter than the cipher needs (SHA-1's 20
// octets for AES-192, say) is extended as net-snmp's `-x AES-192` and
// `-x AES-256` do (the key extension of draft-blumenthal-aes-usm-04):
// key = key ‖ H(key), repeated, H being the user's digest method.
//
// Here too the key a user encrypts with (PrivKey) and its cipher state.
// DES lives in des_cipher.cpp, the one file that silences OpenSSL's
// deprecation of it.
#ifndef USM_PRIVACY_H_
#define USM_PRIVACY_H_

#include <cstddef>
#include <cstdint>
#include <memory>

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

// A privacy key's cipher, set up once with the key: the DES key schedule
// and pre-IV, or an AES context with its key expanded.  Internal to usm/:
// PrivKey holds one.
class CipherState {
 public:
  virtual ~CipherState() = default;
  // Encrypts or decrypts data[0, length) in place for one message; false,
  // with data untouched, when the length doesn't suit the cipher.
  virtual bool crypt(const uint8_t* salt, uint32_t engineBoots, uint32_t engineTime, uint8_t* data,
                     std::size_t length, bool encrypt) = 0;
};

// DES-CBC with key octets 0-7 and pre-IV 8-15; null when libcrypto can't
// be loaded.  REQUIRES: 16 octets or more.
std::unique_ptr<CipherState> makeDesState(const Key& key);
// AES-CFB128 with the first keyLength (16, 24 or 32) octets of key; null
// when OpenSSL refuses.  REQUIRES: key holds keyLength octets.
std::unique_ptr<CipherState> makeAesState(const Key& key, unsigned keyLength);

// PrivKey: a user's privacy key ready to encrypt and decrypt scoped PDUs.
//
// It holds the key octets (the localised privacy key, extended to the
// protocol's length) and the protocol's cipher set up with them once, so
// that a message only sets its IV.  Not thread-safe (the cipher state is
// reused); not copyable.
class PrivKey {
 public:
  PrivKey();
  ~PrivKey();
  PrivKey(const PrivKey&) = delete;
  PrivKey& operator=(const PrivKey&) = delete;

  // Takes key for protocol and sets the cipher up.  False, leaving the key
  // empty, for an unknown protocol or a key shorter than the protocol's.
  bool assign(const Key& key, uint32_t protocol);
  void clear();
  bool empty() const { return !state_; }
  const Key& bytes() const { return key_; }
  // The protocol assigned, or null when empty.
  const PrivProtocol* protocol() const { return protocol_; }

  // Encrypts or decrypts data[0, length) in place for one message: salt
  // (kSaltLength octets), and the message's engine boots and time (AES's
  // IV).  False, with data untouched, when the key is empty or (DES) the
  // length is not whole blocks.
  bool crypt(const uint8_t* salt, uint32_t engineBoots, uint32_t engineTime, uint8_t* data,
             std::size_t length, bool encrypt) const;

 private:
  Key key_;
  const PrivProtocol* protocol_ = nullptr;
  std::unique_ptr<CipherState> state_;
};

#endif  // USM_PRIVACY_H_
