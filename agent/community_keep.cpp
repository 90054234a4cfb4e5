#include "agent/community_keep.h"

#include <algorithm>
#include <string>
#include <utility>

namespace {

// Ids handed out: everything but 0xffffffff, which means "no community".
constexpr uint32_t kFirstId = 0;
constexpr uint32_t kLastId = static_cast<uint32_t>(-2);
// Marks a start id in a get-all request that is not one.
constexpr uint32_t kNoStart = 0xffffffff;

}  // namespace

CommunityKeep::CommunityKeep()
    : store_(snmp::kCommunityStore, snmp::kStoreVersion), ids_(kFirstId, kLastId) {}

// The items are deleted by CommunityList.
CommunityKeep::~CommunityKeep() = default;

void CommunityKeep::init() {
  for (auto& [storeId, stored] : store_.loadAll()) {
    Item* item = new Item;
    // An object written by hand may lack its id field: its file names it.
    item->id = storeId;
    setAllCfg(*item, stored);
    items.push_back(item);
    ids_.reserve(item->id);
  }
  if (!items.empty()) return;

  Item* item = new Item;
  item->id = ids_.alloc();
  item->name = snmp::kDefaultCommunity;
  item->readAccess = true;
  item->security = 0;
  store_.save(item->id, getCfg(*item));
  items.push_back(item);
}

bool CommunityKeep::nameTaken(const std::string& name, const Item* except) const {
  return std::any_of(items.begin(), items.end(),
                     [&](const Item* item) { return item != except && item->name == name; });
}

kx::message CommunityKeep::cmdGetAll(const kx::message&, uint32_t start, uint32_t count) {
  auto it = items.begin();
  if (start != kNoStart) {
    it =
        std::find_if(items.begin(), items.end(), [start](const Item* i) { return i->id == start; });
    if (it == items.end()) return kx::errorMsg(kx::kErrBadStart, "");
  }
  const uint32_t batch = (count == 0 || count > kMaxBatch) ? kMaxBatch : count;

  kx::message reply;
  std::vector<kx::message>& out = reply.messageArray(kx::kObjects);
  for (; it != items.end() && out.size() < batch; ++it) out.push_back(getCfg(**it));
  if (it != items.end()) reply.setU32(kx::kContinue, (*it)->id);
  return reply;
}

kx::message CommunityKeep::cmdGetObj(const kx::message&, uint32_t id) {
  const Item* item = findById(id);
  if (!item) return kx::errorMsg(kx::kErrNotFound, "");
  return getCfg(*item);
}

kx::message CommunityKeep::cmdSetObj(const kx::message& msg, uint32_t id) {
  Item* item = findById(id);
  if (!item) return kx::errorMsg(kx::kErrNotFound, "");
  if (const std::string* name = msg.findString(snmp::kName); name && nameTaken(*name, item)) {
    return kx::errorMsg(kx::kErrRefused, "community with such name already exists");
  }
  kx::message undo = getCfg(*item);
  setCfg(*item, msg);
  store_.save(id, getCfg(*item));
  notifyChange(id, msg);
  undo.setCommand(kx::kCmdSetObj);
  sendUndo(msg, undo, "changed snmp community settings");
  return kx::message();
}

kx::message CommunityKeep::cmdAddObj(const kx::message& msg) {
  const std::string* name = msg.findString(snmp::kName);
  if (!name) return kx::errorMsg(kx::kErrMissing, "missing community name");
  if (name->empty()) return kx::errorMsg(kx::kErrRefused, "empty script name");
  if (nameTaken(*name, nullptr)) {
    return kx::errorMsg(kx::kErrRefused, "community with such name already exists");
  }

  uint32_t id;
  if (msg.has(kx::kObjId)) {
    id = msg.getU32(kx::kObjId);
    // Two items under one id would overwrite each other in the store.
    if (!ids_.reserve(id)) return kx::errorMsg(kx::kErrRefused, "community id already in use");
  } else {
    id = ids_.alloc();
    if (id == kx::Allocator::kNone) return kx::errorMsg(kx::kErrRefused, "no free community id");
  }

  Item* item = new Item;
  setAllCfg(*item, msg);
  item->id = id;
  items.push_back(item);
  store_.save(id, getCfg(*item));
  notifyChange(id, msg);

  kx::message undo;
  undo.setCommand(kx::kCmdRemoveObj);
  undo.setU32(kx::kObjId, id);
  sendUndo(msg, undo, "new snmp community created");

  kx::message reply;
  reply.setU32(kx::kObjId, id);
  return reply;
}

kx::message CommunityKeep::cmdRemoveObj(const kx::message& msg, uint32_t id) {
  auto it = std::find_if(items.begin(), items.end(), [id](const Item* i) { return i->id == id; });
  if (it == items.end()) return kx::errorMsg(kx::kErrNotFound, "");
  kx::message undo = getCfg(**it);
  undo.setCommand(kx::kCmdAddObj);

  Item* item = *it;
  items.erase(it);
  store_.remove(id);
  ids_.free(id);
  delete item;
  // The change event carries the "gone" form of the object.
  notifyChange(id, msg);
  sendUndo(msg, undo, "snmp community removed");
  return kx::message();
}

kx::message CommunityKeep::getObject(uint32_t id) {
  if (const Item* item = findById(id)) return getCfg(*item);
  kx::message gone;
  gone.setU32(kx::kObjId, id);
  gone.setU32(kx::kObjGone, 1);
  return gone;
}
