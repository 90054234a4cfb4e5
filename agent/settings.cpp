// The agent settings: one bus record held by the looper and persisted as
// object 0 of its store.
#include <algorithm>
#include <cstdio>
#include <iterator>

#include "agent/snmp_looper.h"
#include "traps/trap_sources.h"
#include "usm/v3_info.h"

namespace {

// Object id given to change notifications of the settings record.
constexpr uint32_t kSettingsChangeId = 0xffffffff;
// Commands that ask for a trap built from the message: an enterprise trap
// request, and the two kinds of event a subscription delivers.
constexpr uint32_t kTrapCommands[] = {snmp::kCmdSendTrap, 0xfe000b, 0x10004};

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
  m.setString(snmp::kCommunity, community);
  m.setString(snmp::kContact, contact);
  m.setString(snmp::kLocation, location);
  m.setString(snmp::kEngineId, deformatEngineID(engineID));
  m.setU32(snmp::kTimeWindow, timeWindow);
  m.setBe32(snmp::kTrapTarget, trapTarget);
  m.setU32(snmp::kTrapVersion, trapVersion);
  m.setU32(snmp::kTrapCommunity, trapCommunity);
  m.setU32Array(snmp::kTrapGenerators, trapGenerators);
  m.setU32(snmp::kEngineBoots, engineBoots);
  m.setBool(snmp::kEnabled, enableSetting);
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

  if (const std::string* v = msg.findString(snmp::kCommunity)) community = *v;
  if (const std::string* v = msg.findString(snmp::kContact)) contact = *v;
  if (const std::string* v = msg.findString(snmp::kLocation)) location = *v;
  if (msg.has(snmp::kTimeWindow)) timeWindow = msg.getU32(snmp::kTimeWindow);
  if (msg.has(snmp::kTrapTarget)) trapTarget = msg.getBe32(snmp::kTrapTarget);
  if (msg.has(snmp::kTrapCommunity)) trapCommunity = msg.getU32(snmp::kTrapCommunity);
  if (msg.has(snmp::kTrapVersion)) trapVersion = msg.getU32(snmp::kTrapVersion);

  if (const std::vector<uint32_t>* gens = msg.findU32Array(snmp::kTrapGenerators)) {
    // Every subscriber is unsubscribed, subscribed or not, so that the new
    // list alone decides; ids without a subscriber (the start-up trap)
    // stay in the list all the same.
    for (const TrapSubscriber& s : scribers) {
      s.unsubscribe();
      std::printf("unsubscribed from %s\n", s.name.c_str());
    }
    trapGenerators = withoutRepeats(*gens);
    for (uint32_t id : trapGenerators) {
      if (id >= scribers.size()) continue;
      scribers[id].subscribe();
      std::printf("subscribed to %s\n", scribers[id].name.c_str());
    }
  }

  const uint32_t bootsBefore = engineBoots;
  if (msg.has(snmp::kEngineBoots)) engineBoots = msg.getU32(snmp::kEngineBoots);
  if (const std::string* v = msg.findString(snmp::kEngineId)) setEngineID(*v);

  if (msg.has(snmp::kEnabled)) {
    enableSetting = msg.getBool(snmp::kEnabled);
    if (enableSetting) {
      enable();
    } else {
      disable();
    }
  }

  sendUndo(msg, undo, "changed snmp settings");
  notifyChange(kSettingsChangeId, msg);
  saveSettings(engineBoots > bootsBefore);
  return kx::message();
}

kx::message SnmpLooper::cmdUnknown(const kx::message& msg, uint32_t code) {
  kx::message reply;
  if (code == snmp::kCmdListGenerators) {
    std::vector<kx::message>& list = reply.messageArray(kx::kObjects);
    kx::message startTrap;
    startTrap.setU32(kx::kObjId, snmp::kStartupGenerator);
    startTrap.setString(snmp::kGeneratorName, snmp::kStartupGeneratorName);
    list.push_back(startTrap);
    for (size_t i = 0; i < scribers.size(); ++i) {
      kx::message entry;
      entry.setU32(kx::kObjId, static_cast<uint32_t>(i));
      entry.setString(snmp::kGeneratorName, scribers[i].name);
      list.push_back(entry);
    }
  } else if (std::find(std::begin(kTrapCommands), std::end(kTrapCommands), code) !=
             std::end(kTrapCommands)) {
    send_trap(msg);
  }
  return reply;
}
