// A privacy key's cipher, set up once with the key: the DES key schedule
// and pre-IV, or an AES context with its key expanded.  Internal to usm/:
// PrivKey holds one.
#ifndef USM_CIPHER_STATE_H_
#define USM_CIPHER_STATE_H_

#include <cstddef>
#include <cstdint>
#include <memory>

#include "usm/key_derivation.h"

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

#endif  // USM_CIPHER_STATE_H_
