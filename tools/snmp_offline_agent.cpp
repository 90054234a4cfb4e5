#include "tools/snmp_offline_agent.h"

#include <sys/stat.h>

#include <algorithm>
#include <string>
#include <utility>

#include "kx/platform.h"
#include "kx/store.h"
#include "kx/transport.h"
#include "tools/arg_parse.h"
#include "tools/snmp_values.h"

namespace kxctl {
namespace snmp {

namespace {

// Community ids the agent hands out: 0 up to here.
constexpr uint32_t kLastCommunityId = 0xfffffffe;
// Never a community's id.
constexpr uint32_t kNoId = 0xffffffff;

bool storeExists(const char* path) {
  struct stat st;
  return stat(kx::rootPath(path).c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// The settings before anything is read: those of a first start, or, when a
// stored object is read, the values the agent gives its absent fields.
kx::message settingsDefaults(bool firstStart) {
  kx::message s;
  s.setString(kCommunity, firstStart ? kDefaultCommunity : "");
  s.setString(kContact, "");
  s.setString(kLocation, "");
  s.setString(kEngineId, "");
  s.setU32(kTimeWindow, firstStart ? kDefaultTimeWindow : 0);
  s.setBe32(kTrapTarget, 0);
  s.setU32(kTrapVersion, kTrapV1);
  s.setU32(kTrapCommunity, kNoCommunity);
  s.setU32Array(kTrapGenerators, {});
  s.setU32(kEngineBoots, 0);
  s.setBool(kEnabled, false);
  return s;
}

// A community with every field, in the agent's order, at its initial value.
kx::message communityDefaults(uint32_t id) {
  kx::message c;
  c.setU32(kx::kObjId, id);
  c.setString(kName, "");
  c.setBe32(kAddress, 0);
  c.setBe32(kAddressMask, 0);
  c.setBool(kReadAccess, false);
  c.setBool(kWriteAccess, false);
  c.setString(kAuthPassword, "");
  c.setString(kEncryptionPassword, "");
  c.setU32(kAuthMethod, kAuthMd5);
  c.setU32(kEncryptionProtocol, kPrivDes);
  c.setU32(kSecurity, kSecurityNone);
  return c;
}

// The one the agent creates when its store is empty: read-only, any source.
kx::message firstCommunity() {
  kx::message c = communityDefaults(0);
  c.setString(kName, kDefaultCommunity);
  c.setBool(kReadAccess, true);
  return c;
}

// msg without the transport's fields and without the object id.
kx::message fieldsOf(const kx::message& msg) {
  kx::message out = msg;
  for (size_t i = 0; i < msg.size(); ++i) {
    const uint32_t key = msg.keyAt(i);
    if (isTransportKey(key) || key == kx::kObjId) out.erase(key);
  }
  return out;
}

// The agent keeps the first of repeated generator ids.
std::vector<uint32_t> withoutRepeats(const std::vector<uint32_t>& ids) {
  std::vector<uint32_t> out;
  for (uint32_t id : ids) {
    if (std::find(out.begin(), out.end(), id) == out.end()) out.push_back(id);
  }
  return out;
}

std::vector<kx::message>::iterator findId(std::vector<kx::message>& list, uint32_t id) {
  return std::find_if(list.begin(), list.end(),
                      [id](const kx::message& c) { return c.getU32(kx::kObjId) == id; });
}

bool nameTaken(const std::vector<kx::message>& list, const std::string& name, uint32_t except) {
  return std::any_of(list.begin(), list.end(), [&](const kx::message& c) {
    return c.getU32(kx::kObjId) != except && c.getString(kName) == name;
  });
}

kx::message writeFailed(const kx::Store& store, uint32_t id) {
  return kx::errorMsg(kx::kErrRefused,
                      "cannot write object " + std::to_string(id) + " to " + store.dir());
}

// Writes the community whose id is changed, and every one of list that the
// store does not hold yet (on the first change, the one an empty store
// stands for).  reply, or the error reply of a failed write.
kx::message save(const std::vector<kx::message>& list, uint32_t changed, kx::message reply) {
  kx::Store store(kCommunityStore, kStoreVersion);
  for (const kx::message& c : list) {
    const uint32_t id = c.getU32(kx::kObjId);
    if ((id == changed || !store.has(id)) && !store.save(id, c)) return writeFailed(store, id);
  }
  return reply;
}

}  // namespace

kx::message OfflineAgent::exchange(kx::message& msg) {
  const std::vector<uint32_t> path = msg.dstPath();
  const uint32_t cmd = msg.command();
  if (path == kSettingsPath) {
    if (cmd == kx::kCmdGet) return settings();
    if (cmd == kx::kCmdSet) return setSettings(msg);
    if (cmd == kCmdListGenerators) {
      // The built-in ones; plug-ins add theirs when the agent starts.
      kx::message start, links, reply;
      start.setU32(kx::kObjId, kStartupGenerator);
      start.setString(kGeneratorName, kStartupGeneratorName);
      links.setU32(kx::kObjId, kInterfacesGenerator);
      links.setString(kGeneratorName, kInterfacesGeneratorName);
      reply.setMessageArray(kx::kObjects, {start, links});
      return reply;
    }
  } else if (path == kCommunitiesPath) {
    if (cmd == kx::kCmdGetAll) {
      kx::message reply;
      reply.setMessageArray(kx::kObjects, communities());
      return reply;
    }
    if (cmd == kx::kCmdAddObj) return addCommunity(msg);
    if (cmd == kx::kCmdSetObj) return setCommunity(msg);
    if (cmd == kx::kCmdRemoveObj) return removeCommunity(msg.getU32(kx::kObjId));
  }
  return kx::errorMsg(kx::kErrUnknownCmd, "this needs the running agent; start snmpd");
}

kx::message OfflineAgent::settings() const {
  kx::message stored;
  const bool have = storeExists(kSettingsStore) &&
                    kx::Store(kSettingsStore, kStoreVersion).load(kSettingsObject, stored);
  kx::message s = settingsDefaults(!have);
  s.merge(stored);
  return s;
}

kx::message OfflineAgent::setSettings(const kx::message& change) {
  kx::message s = settings();
  s.merge(fieldsOf(change));
  s.setU32Array(kTrapGenerators, withoutRepeats(s.getU32Array(kTrapGenerators)));
  kx::Store store(kSettingsStore, kStoreVersion);
  if (!store.save(kSettingsObject, s)) return writeFailed(store, kSettingsObject);
  return kx::message();
}

std::vector<kx::message> OfflineAgent::communities() const {
  std::vector<kx::message> list;
  if (storeExists(kCommunityStore)) {
    for (const auto& [storeId, stored] : kx::Store(kCommunityStore, kStoreVersion).loadAll()) {
      // An object written by hand may lack its id field: its file names it.
      kx::message c = communityDefaults(storeId);
      c.merge(stored);
      list.push_back(std::move(c));
    }
  }
  if (list.empty()) list.push_back(firstCommunity());
  return list;
}

kx::message OfflineAgent::addCommunity(const kx::message& add) {
  const std::string* name = add.findString(kName);
  if (!name) return kx::errorMsg(kx::kErrMissing, "missing community name");
  if (name->empty()) return kx::errorMsg(kx::kErrRefused, "empty script name");
  std::vector<kx::message> list = communities();
  if (nameTaken(list, *name, kNoId)) {
    return kx::errorMsg(kx::kErrRefused, "community with such name already exists");
  }
  uint32_t id = 0;
  if (add.has(kx::kObjId)) {
    id = add.getU32(kx::kObjId);
    if (findId(list, id) != list.end()) {
      return kx::errorMsg(kx::kErrRefused, "community id already in use");
    }
  } else {
    while (findId(list, id) != list.end()) {
      if (id == kLastCommunityId) return kx::errorMsg(kx::kErrRefused, "no free community id");
      ++id;
    }
  }
  kx::message c = communityDefaults(id);
  c.merge(fieldsOf(add));
  list.push_back(std::move(c));
  kx::message reply;
  reply.setU32(kx::kObjId, id);
  return save(list, id, reply);
}

kx::message OfflineAgent::setCommunity(const kx::message& change) {
  const uint32_t id = change.getU32(kx::kObjId, kNoId);
  std::vector<kx::message> list = communities();
  auto it = findId(list, id);
  if (it == list.end()) return kx::errorMsg(kx::kErrNotFound, "");
  if (const std::string* name = change.findString(kName); name && nameTaken(list, *name, id)) {
    return kx::errorMsg(kx::kErrRefused, "community with such name already exists");
  }
  it->merge(fieldsOf(change));
  return save(list, id, kx::message());
}

kx::message OfflineAgent::removeCommunity(uint32_t id) {
  std::vector<kx::message> list = communities();
  auto it = findId(list, id);
  if (it == list.end()) return kx::errorMsg(kx::kErrNotFound, "");
  list.erase(it);
  kx::message status = save(list, kNoId, kx::message());
  if (!kx::isError(status)) kx::Store(kCommunityStore, kStoreVersion).remove(id);
  return status;
}

bool agentRunning() { return kx::Transport::served(kServiceId); }

}  // namespace snmp
}  // namespace kxctl
