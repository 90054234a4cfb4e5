// PrivKey: a user's privacy key ready to encrypt and decrypt scoped PDUs.
//
// It holds the key octets (the localised privacy key, extended to the
// protocol's length) and the protocol's cipher set up with them once, so
// that a message only sets its IV.  Not thread-safe (the cipher state is
// reused); not copyable.
#ifndef USM_PRIV_KEY_H_
#define USM_PRIV_KEY_H_

#include <cstddef>
#include <cstdint>
#include <memory>

#include "usm/privacy.h"

class CipherState;

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

#endif  // USM_PRIV_KEY_H_
