// CommunityKeep: the agent's community table on the bus (handler 1 of the
// agent's service, path [34, 1]) and in its persistent store.  Its bus
// fields are those of kx/snmp_keys.h.
//
// A community is at once a v1/v2c community string (source filter, read and
// write rights) and a v3 user.  The list itself, and its lookup, belong to
// the request engine (CommunityList); this class loads it from the store,
// serves the generic object commands on it and writes every change back at
// once, announcing it with change and undo notifications.
//
// One instance per process, created by the agent looper and published as
// `communityKeep`.  Single-threaded, like the looper that calls it.
#ifndef AGENT_COMMUNITY_KEEP_H_
#define AGENT_COMMUNITY_KEEP_H_

#include <cstdint>

#include "engine/community_list.h"
#include "kx/handler.h"
#include "kx/message.h"
#include "kx/snmp_keys.h"
#include "kx/store.h"

class CommunityKeep : public kx::Handler, public CommunityList {
 public:
  // Largest batch one get-all reply carries.
  static constexpr uint32_t kMaxBatch = 20;

  // Opens the store (below the root prefix); the list stays empty until
  // init().
  CommunityKeep();
  ~CommunityKeep() override;

  // Loads every stored community in store order.  An empty store gets the
  // default community: "harbor", read-only, any source, no v3 security,
  // stored at once under the lowest free id.
  void init();

  // Item configuration to and from bus messages.  The derived keys are
  // neither read nor written in messages.
  //
  // setCfg copies every field present in msg (absent fields keep their
  // value) and, once the agent looper exists, regenerates the item's keys
  // for its engine ID; the id is left alone.
  static void setCfg(Item& item, const kx::message& msg);
  // As setCfg, and the id from 0x08fe0001 when present.
  static void setAllCfg(Item& item, const kx::message& msg);
  // Every configurable field and the id.
  static kx::message getCfg(const Item& item);

  // Bus commands.  Refusals are error replies (kx::errorMsg) and leave the
  // list and the store untouched.
  //
  // A page of at most kMaxBatch items (count 0 also means kMaxBatch) from
  // the item whose id is start (0xffffffff: from the first) in 0xa8fe0002;
  // when items remain, 0x08fe0003 holds the id of the next one.
  kx::message cmdGetAll(const kx::message& msg, uint32_t start, uint32_t count) override;
  kx::message cmdGetObj(const kx::message& msg, uint32_t id) override;
  // A rename onto another item's name is refused; onto its own is fine.
  kx::message cmdSetObj(const kx::message& msg, uint32_t id) override;
  // Needs a non-empty, unused name; takes the id of 0x08fe0001 when given,
  // else the lowest free one.  Replies {0x08fe0001 = id}.
  kx::message cmdAddObj(const kx::message& msg) override;
  kx::message cmdRemoveObj(const kx::message& msg, uint32_t id) override;
  // The item's configuration, or {0x08fe0001 = id, 0x08fe0013 = 1} when
  // there is no such item.
  kx::message getObject(uint32_t id) override;

 private:
  // True when an item other than except is named name.
  bool nameTaken(const std::string& name, const Item* except) const;

  kx::Store store_;
  kx::Allocator ids_;
};

#endif  // AGENT_COMMUNITY_KEEP_H_
