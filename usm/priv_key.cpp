#include "usm/priv_key.h"

#include "usm/cipher_state.h"

namespace {

constexpr uint32_t kDes = 0;

}  // namespace

PrivKey::PrivKey() = default;
PrivKey::~PrivKey() = default;

void PrivKey::clear() {
  key_.clear();
  protocol_ = nullptr;
  state_.reset();
}

bool PrivKey::assign(const Key& key, uint32_t protocol) {
  clear();
  const PrivProtocol* p = privProtocol(protocol);
  if (p == nullptr || key.size() < p->keyLength) return false;
  state_ = protocol == kDes ? makeDesState(key) : makeAesState(key, p->keyLength);
  if (state_) {
    key_ = key;
    protocol_ = p;
  }
  return !empty();
}

bool PrivKey::crypt(const uint8_t* salt, uint32_t engineBoots, uint32_t engineTime, uint8_t* data,
                    std::size_t length, bool encrypt) const {
  return state_ && state_->crypt(salt, engineBoots, engineTime, data, length, encrypt);
}
