#include "engine/community_list.h"

#include "usm/key_derivation.h"
#include "usm/privacy.h"

CommunityList* communityKeep = nullptr;

CommunityList::~CommunityList() {
  for (Item* item : items) delete item;
}

CommunityList::iterator CommunityList::find(const std::string& name) {
  for (auto it = items.begin(); it != items.end(); ++it) {
    // std::string equality compares length and every byte, NULs included.
    if ((*it)->name == name) return it;
  }
  return items.end();
}

CommunityList::Item* CommunityList::findById(uint32_t id) const {
  for (Item* item : items) {
    if (item->id == id) return item;
  }
  return nullptr;
}

void CommunityList::regenerateKeys(const std::string& engineID) {
  for (Item* item : items) item->regenerateKeys(engineID);
}

void CommunityList::Item::regenerateKeys(const std::string& engineID) {
  keysReady = false;
  authKey.clear();
  privKey.clear();
  if (!authPassword.empty() || !encryptionPassword.empty()) ensureKeys(engineID);
}

void CommunityList::Item::ensureKeys(const std::string& engineID) {
  if (keysReady) return;
  keysReady = true;
  const AuthMethod* method = ::authMethod(authMethod);
  if (method == nullptr) return;
  const evp_md_st* md = method->digest();
  authKey.assign(bKeyToDKey(aKeyToBKey(passwordToAKey(authPassword, md), engineID, md), md), md);
  // Deliberately the authentication method's hash, and no pad blocks.
  privKey.assign(extendPrivKey(aKeyToBKey(passwordToAKey(encryptionPassword, md), engineID, md),
                               encryptionProtocol, md),
                 encryptionProtocol);
}
