#include "bench/soak/soak_plan.h"

#include <cstdio>
#include <string>
#include <thread>

#include "bench/load/v3_traffic.h"

namespace bench {

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kDiscoveryTimeout = std::chrono::milliseconds(5000);
constexpr auto kTrapWait = std::chrono::milliseconds(2000);
// A list the agent fetched while kxsim was away stays empty until its
// cache expires: two seconds at the most, plus a margin.
constexpr auto kCacheRefill = std::chrono::milliseconds(2500);
// How long kxsim stays away at least: long enough for the records the
// agent caches to expire and be asked for in vain.
constexpr auto kKxsimAway = std::chrono::milliseconds(1000);
constexpr const char* kTrapVersions[2] = {"trap-version=1", "trap-version=2c"};

std::string tempPassword(int k) { return "soak temp password " + std::to_string(k); }

}  // namespace

SoakPlan::SoakPlan(Operator* op, SoakTraffic* traffic, Driver* driver, TrapSink* sink,
                   uint16_t agentPort)
    : op_(op), traffic_(traffic), driver_(driver), sink_(sink), agentPort_(agentPort) {}

bool SoakPlan::setUp() {
  const Identity& admin = traffic_->identity(kV3Admin);
  const Identity& temp = traffic_->identity(kV3TempUser);
  world_.contact = "soak contact 0";
  return op_->kxctl(
             {"snmp", "community", "add", std::string("name=") + kWriterCommunity, "write=yes"}) &&
         op_->kxctl({"snmp", "community", "add", std::string("name=") + kTempCommunity}) &&
         op_->kxctl({"snmp", "community", "add", "name=" + admin.name, "security=authpriv",
                     "write=yes", "auth=sha512", "priv=aes256",
                     "auth-password=" + admin.authPassword,
                     "priv-password=" + admin.privPassword}) &&
         op_->kxctl({"snmp", "community", "add", "name=" + temp.name, "security=auth",
                     "auth=sha224", "auth-password=" + temp.authPassword}) &&
         op_->kxctl({"snmp", "set", "contact=" + world_.contact, "trap-target=127.0.0.1",
                     kTrapVersions[trapVersion_], std::string("trap-community=") + kCommunity,
                     "trap-generators=interfaces", "engine-id=soak-0"}) &&
         discover();
}

bool SoakPlan::discover() {
  EngineClock engine;
  if (!discoverEngine(agentPort_, kDiscoveryTimeout, &engine.state)) {
    std::fprintf(stderr, "snmp_soak: the agent's engine does not answer a discovery\n");
    return false;
  }
  engine.seenAt = Clock::now();
  traffic_->setEngine(engine);
  return true;
}

bool SoakPlan::load(uint64_t n, std::vector<Driver::Hook> hooks) {
  return driver_->run(n, world_, hooks);
}

std::vector<Driver::Hook> SoakPlan::flips(uint64_t n, int pairs, bool raise) {
  std::vector<Driver::Hook> hooks;
  for (int i = 0; i < 2 * pairs; ++i) {
    const uint32_t state = i % 2 ? kUpRunning : 0;
    hooks.push_back({n * static_cast<uint64_t>(i + 1) / static_cast<uint64_t>(2 * pairs + 1),
                     [this, state, raise] {
                       if (raise) ++expected_.link[trapVersion_];
                       return op_->setLink(state);
                     }});
  }
  return hooks;
}

bool SoakPlan::runCycle(int k, uint64_t requests) {
  // Ten phases, the restart's of a double share.
  const uint64_t n = requests / (kPhases + 1) > 0 ? requests / (kPhases + 1) : 1;
  const std::string K = std::to_string(k);

  // 1. Settings that show in the MIB.
  world_.contact = "soak contact " + K;
  if (!op_->kxctl({"snmp", "set", "contact=" + world_.contact, "location=soak rack " + K}) ||
      !load(n)) {
    return false;
  }
  // 2, 3. The time window, wide and back.
  for (uint32_t window : {60u, 15u}) {
    world_.timeWindow = window;
    if (!op_->kxctl({"snmp", "set", "time-window=" + std::to_string(window)}) || !load(n)) {
      return false;
    }
  }
  // 4. A user and a community changed.
  traffic_->changeTempPassword(tempPassword(k + 1));
  world_.oldKeyInUse = true;
  world_.writerMayWrite = false;
  if (!op_->kxctl({"snmp", "community", "set", kTempUser,
                   "auth-password=" + traffic_->identity(kV3TempUser).authPassword}) ||
      !op_->kxctl({"snmp", "community", "set", kWriterCommunity, "write=no"}) || !load(n)) {
    return false;
  }
  // 5. Removed.
  world_.tempCommunity = world_.tempUser = false;
  world_.writerMayWrite = true;
  if (!op_->kxctl({"snmp", "community", "remove", kTempCommunity}) ||
      !op_->kxctl({"snmp", "community", "remove", kTempUser}) ||
      !op_->kxctl({"snmp", "community", "set", kWriterCommunity, "write=yes"}) || !load(n)) {
    return false;
  }
  // 6. Added again.
  world_.tempCommunity = world_.tempUser = true;
  world_.oldKeyInUse = false;
  if (!op_->kxctl({"snmp", "community", "add", std::string("name=") + kTempCommunity}) ||
      !op_->kxctl({"snmp", "community", "add", std::string("name=") + kTempUser, "security=auth",
                   "auth=sha224",
                   "auth-password=" + traffic_->identity(kV3TempUser).authPassword}) ||
      !load(n)) {
    return false;
  }
  // 7. No generators: links flip unseen; the enterprise trap needs none.
  std::vector<Driver::Hook> hooks = flips(n, 1, false);
  hooks.push_back({n / 2, [this] {
                     ++expected_.enterprise[trapVersion_];
                     return op_->kxctl({"snmp", "send-trap"});
                   }});
  if (!op_->kxctl({"snmp", "set", "trap-generators=none"}) || !load(n, hooks)) return false;
  // 8. Link traps, in the other version.
  trapVersion_ = 1 - trapVersion_;
  if (!op_->kxctl({"snmp", "set", kTrapVersions[trapVersion_], "trap-generators=interfaces"}) ||
      !load(n, flips(n, 2, true))) {
    return false;
  }
  // 9. kxsim restarts under load (a double share of the requests).
  world_.kxsimSteady = false;
  if (!load(2 * n, {{n / 5, [this] { return op_->stopKxsim(); }},
                    {9 * n / 5, [this] { return op_->startKxsim(); }, kKxsimAway}})) {
    return false;
  }
  if (!op_->kxctl({"snmp", "set", "trap-generators=interfaces"})) return false;
  std::this_thread::sleep_until(op_->kxsimStarted() + kCacheRefill);
  world_.kxsimSteady = true;
  // 10. A new engine ID.
  const uint64_t rest = requests > kPhases * n ? requests - kPhases * n : n;
  if (!op_->kxctl({"snmp", "set", "engine-id=soak-" + K}) || !discover() ||
      !load(rest, flips(rest, 1, true))) {
    return false;
  }
  waitForTraps();
  return true;
}

void SoakPlan::waitForTraps() {
  const auto deadline = Clock::now() + kTrapWait;
  for (;;) {
    sink_->drain();
    const TrapSink::Counts& got = sink_->counts();
    const bool all = got.links() + got.enterprises() + got.unexpected >=
                     expected_.links() + expected_.enterprises();
    if (all || Clock::now() >= deadline) return;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

}  // namespace bench
