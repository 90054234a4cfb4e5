// CommunityList: the communities (v1/v2c) and v3 users the request engine
// checks requests against.
//
// The engine only reads the list.  The agent's keeper, which loads it from
// its store and edits it over the bus, derives from this class and
// publishes itself through `communityKeep`; keeping the list here lets the
// engine stay independent of the bus library.
#ifndef ENGINE_COMMUNITY_LIST_H_
#define ENGINE_COMMUNITY_LIST_H_

#include <cstdint>
#include <string>
#include <vector>

#include "usm/key_derivation.h"
#include "usm/privacy.h"

class CommunityList {
 public:
  // One community or v3 user.  Virtual destructor so that a keeper may
  // store a subclass carrying its configuration operations.  Not copyable
  // (the authentication key owns digest states).
  struct Item {
    Item() = default;
    Item(const Item&) = delete;
    Item& operator=(const Item&) = delete;
    virtual ~Item() = default;

    // Derives both localised keys from the passwords for engineID with the
    // item's method (and, for the privacy key, extended to its protocol's
    // key length).  An unknown method leaves both keys empty.  Without
    // passwords nothing is derived until ensureKeys: such keys cost no
    // password hashing, and an agent without v3 users then never sets
    // OpenSSL up (about 2 MB of resident memory).
    void regenerateKeys(const std::string& engineID);
    // Derives the keys for engineID (the engine ID of the last
    // regenerateKeys) if they are still pending.  authKey and privKey are
    // valid after it.
    void ensureKeys(const std::string& engineID);

    uint32_t id = 0xffffffff;
    std::string name;                 // community string / v3 security name
    uint32_t address = 0;             // allowed source network, network order
    uint32_t addressMask = 0;         // network order; 0 admits every source
    bool readAccess = false;          // Get and GetNext
    bool writeAccess = false;         // Set
    uint32_t security = 0;            // minimum v3 level; non-zero: v3 only
    uint32_t authMethod = 0;          // index into `methods`: 0 = MD5, 1 = SHA-1, ...
    HmacKey authKey;                  // localised, derived from authPassword
    uint32_t encryptionProtocol = 0;  // index into `protocols`: 0 = DES, ...
    PrivKey privKey;                  // localised, derived from encryptionPassword
    std::string authPassword;
    std::string encryptionPassword;
    bool keysReady = false;  // authKey and privKey are derived
  };

  using iterator = std::vector<Item*>::iterator;

  CommunityList() = default;
  CommunityList(const CommunityList&) = delete;
  CommunityList& operator=(const CommunityList&) = delete;
  // Deletes every item still in the list.
  virtual ~CommunityList();

  // The first item whose name equals name byte for byte (case-sensitive,
  // same length), or items.end().
  iterator find(const std::string& name);
  // The item with this id, or null.
  Item* findById(uint32_t id) const;

  // Derives every item's keys anew for engineID (Item::regenerateKeys).
  void regenerateKeys(const std::string& engineID);

  // Owned items, in insertion order (the order of lookups and listings).
  std::vector<Item*> items;
};

// The process's community list: null until the agent creates its keeper.
// Requests arriving while it is null are refused like an unknown community.
extern CommunityList* communityKeep;

#endif  // ENGINE_COMMUNITY_LIST_H_
