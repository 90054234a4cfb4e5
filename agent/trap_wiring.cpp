// The agent's side of traps: its settings handed to the trap sender, the
// start-up trap and the subscribers switched on at start.
#include <algorithm>

#include "agent/snmp_looper.h"
#include "traps/create_trap.h"
#include "traps/trap_sources.h"

TrapSettings SnmpLooper::trapSettings() const {
  TrapSettings s;
  s.enabled = enabled;
  s.target = trapTarget;
  s.port = trapPort;
  s.community = trapCommunity;
  s.version = trapVersion;
  s.startJiffies = startJiffies;
  s.engine = *this;  // the looper is the local engine
  return s;
}

void SnmpLooper::send_trap(const kx::message& event) { sendTrap(trapSettings(), event); }

void SnmpLooper::startup() {
  if (std::find(trapGenerators.begin(), trapGenerators.end(), snmp::kStartupGenerator) ==
      trapGenerators.end())
    return;
  // Last in the list, so that it answers only the empty event nobody else
  // takes, and through the same path and target as every other trap.
  addTrapMaker(startupTrapMaker);
  send_trap(kx::message());
  trapMakers.pop_back();
}

void SnmpLooper::startSubscribers() {
  for (uint32_t id : trapGenerators) {
    if (id < scribers.size()) scribers[id].subscribe();
  }
}
