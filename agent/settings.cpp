// The agent settings: one bus record held by the looper and persisted as
// object 0 of its store.
#include <algorithm>
#include <cstdio>

#include "agent/snmp_looper.h"
#include "usm/engine_id.h"

namespace {

// Object id given to change notifications of the settings record.
constexpr uint32_t kSettingsChangeId = 0xffffffff;
// Name of the start-up trap in the generator list.
constexpr const char* kStartupTrapName = "start-trap";

// Keeps the first occurrence of every id, in order.
std::vector<uint32_t> withoutRepeats(const std::vector<uint32_t>& ids) {
  std::vector<uint32_t> kept;
  for (uint32_t id : ids) {
    if (std::find(kept.begin(), kept.end(), id) == kept.end()) kept.push_back(id);
  }
  return kept;
}

}  // namespace

kx::message SnmpLooper::getConfig() const {
  kx::message m;
  m.setString(kCommunity, community);
  m.setString(kContact, contact);
  m.setString(kLocation, location);
  m.setString(kEngineId, deformatEngineID(engineID));
  m.setU32(kTimeWindow, timeWindow);
  m.setBe32(kTrapTarget, trapTarget);
  m.setU32(kTrapVersion, trapVersion);
  m.setU32(kTrapCommunity, trapCommunity);
  m.setU32Array(kTrapGenerators, trapGenerators);
  m.setU32(kEngineBoots, engineBoots);
  m.setBool(kEnabled, enableSetting);
  return m;
}

kx::message SnmpLooper::getObject(uint32_t) { return getConfig(); }

kx::message SnmpLooper::cmdGet(const kx::message& msg) {
  const std::vector<uint32_t>* sender = msg.findU32Array(kx::kSrcPath);
  if (sender && !sender->empty()) {
    std::fprintf(stderr, "cmd_get from %u\n", sender->front());
  } else {
    std::fprintf(stderr, "bogonymous cmd_get request\n");
  }
  return getConfig();
}

kx::message SnmpLooper::cmdSet(const kx::message& msg) {
  kx::message undo = getConfig();
  undo.setCommand(kx::kCmdSet);

  const std::vector<uint32_t>* sender = msg.findU32Array(kx::kSrcPath);
  if (sender && !sender->empty()) std::fprintf(stderr, "cmd_set from %u\n", sender->front());

  if (const std::string* v = msg.findString(kCommunity)) community = *v;
  if (const std::string* v = msg.findString(kContact)) contact = *v;
  if (const std::string* v = msg.findString(kLocation)) location = *v;
  if (msg.has(kTimeWindow)) timeWindow = msg.getU32(kTimeWindow);
  if (msg.has(kTrapTarget)) trapTarget = msg.getBe32(kTrapTarget);
  if (msg.has(kTrapCommunity)) trapCommunity = msg.getU32(kTrapCommunity);
  if (msg.has(kTrapVersion)) trapVersion = msg.getU32(kTrapVersion);

  if (const std::vector<uint32_t>* gens = msg.findU32Array(kTrapGenerators)) {
    // Trap subscribers are unsubscribed here and resubscribed in list order
    // once they join the agent; ids without a subscriber (the start-up
    // trap) stay in the list all the same.
    trapGenerators = withoutRepeats(*gens);
  }

  if (msg.has(kEngineBoots)) engineBoots = msg.getU32(kEngineBoots);
  if (const std::string* v = msg.findString(kEngineId)) setEngineID(*v);

  if (msg.has(kEnabled)) {
    enableSetting = msg.getBool(kEnabled);
    if (enableSetting) {
      enable();
    } else {
      disable();
    }
  }

  sendUndo(msg, undo, "changed snmp settings");
  notifyChange(kSettingsChangeId, msg);
  store.save(kSettingsObject, getConfig());
  return kx::message();
}

kx::message SnmpLooper::cmdUnknown(const kx::message&, uint32_t code) {
  kx::message reply;
  if (code == kCmdListGenerators) {
    kx::message startTrap;
    startTrap.setU32(kx::kObjId, kStartupTrapGenerator);
    startTrap.setString(kGeneratorName, kStartupTrapName);
    reply.messageArray(kx::kObjects).push_back(startTrap);
    // Each trap subscriber follows, by its index, once they join the agent.
  }
  // Codes 1, 0xfe000b and 0x10004 ask for a trap built from the message;
  // they are answered empty until trap sending joins the agent.
  return reply;
}
