#include "agent/snmp_looper.h"

#include <cstdio>
#include <string>

#include "agent/community_keep.h"
#include "kx/platform.h"
#include "usm/v3_info.h"

SnmpLooper* snmpLooper = nullptr;

namespace {

// The bus looper takes thirteen construction parameters; the agent passes
// them all as zero.
constexpr size_t kLooperParams = 13;

// Bus access policies of the agent's service.
constexpr uint32_t kPolicies[][2] = {{1, 128}, {100, 704}};

}  // namespace

SnmpLooper::SnmpLooper()
    : kx::Looper(snmp::kServiceId, std::vector<unsigned>(kLooperParams, 0)),
      store(snmp::kSettingsStore, snmp::kStoreVersion),
      community(snmp::kDefaultCommunity),
      batch_(c_buf, kReceiveBufferSize) {
  std::fprintf(stderr, "communityKeep = new CommunityKeep;\n");
  CommunityKeep* keep = new CommunityKeep;
  communityKeep = keep;
  std::fprintf(stderr, "communityKeep->init();\n");
  keep->init();
  std::fprintf(stderr, "addHandler(snmp::ID_COMMUNITIES, communityKeep);\n");
  addHandler(snmp::ID_COMMUNITIES, keep);

  uptime = kx::getUptime;
  startUptime = kx::getUptime();
  startJiffies = kx::getJiffies();
  trapCommunity = snmp::kNoCommunity;
  timeWindow = snmp::kDefaultTimeWindow;
  trapVersion = 0;
  trapTarget = 0;
  snmpLooper = this;
}

SnmpLooper::~SnmpLooper() {
  disable();
  removeHandler(snmp::kServiceId, snmp::ID_COMMUNITIES);
  delete communityKeep;
  communityKeep = nullptr;
  if (snmpLooper == this) snmpLooper = nullptr;
}

void SnmpLooper::init() {
  for (const auto& policy : kPolicies) addPolicy(policy[0], policy[1]);

  kx::message stored;
  if (store.load(snmp::kSettingsObject, stored)) {
    community = stored.getString(snmp::kCommunity);
    contact = stored.getString(snmp::kContact);
    location = stored.getString(snmp::kLocation);
    // A stored object without a time window means none, not the default.
    timeWindow = stored.getU32(snmp::kTimeWindow, 0);
    trapTarget = stored.getBe32(snmp::kTrapTarget, 0);
    trapVersion = stored.getU32(snmp::kTrapVersion, 0);
    trapCommunity = stored.getU32(snmp::kTrapCommunity, snmp::kNoCommunity);
    if (stored.has(snmp::kTrapGenerators))
      trapGenerators = stored.getU32Array(snmp::kTrapGenerators);
    engineBoots = stored.getU32(snmp::kEngineBoots, 0) + 1;
    // The keys were derived before the engine ID was known.
    setEngineID(stored.getString(snmp::kEngineId));
    enableSetting = stored.getBool(snmp::kEnabled, false);
    // Persist the new boot count before the first request is served, and
    // announce it only then: no two starts use the same count.
    saveSettings(true);
    // Without printf: a start that logs nothing formatted keeps printf's
    // machinery (a few hundred KB of the C library) out of memory.
    std::fputs(("engineBoots = " + std::to_string(engineBoots) + "\n").c_str(), stdout);
  }

  if (enableSetting) {
    enable();
  } else {
    setupLeave(kIdleLeaveMs);
  }
}

void SnmpLooper::saveSettings(bool bootsRose) {
  store.save(snmp::kSettingsObject, getConfig());
  // The store falls back to the previous version of a damaged object.  A
  // raised boot count goes into both versions, so that such a fallback
  // cannot bring back a count that has been used.
  if (bootsRose) store.save(snmp::kSettingsObject, getConfig());
}

void SnmpLooper::setEngineID(const std::string& text) {
  engineID = formatEngineID(text);
  if (communityKeep != nullptr) communityKeep->regenerateKeys(engineID);
}
