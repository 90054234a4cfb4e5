// What building and sending a trap takes from the agent's settings.
#ifndef TRAPS_TRAP_SETTINGS_H_
#define TRAPS_TRAP_SETTINGS_H_

#include <cstdint>

#include "usm/v3_info.h"

// The trapVersion values: the version INTEGER written into the message.
constexpr uint32_t kTrapVersion1 = 0;
constexpr uint32_t kTrapVersion2c = 1;
constexpr uint32_t kTrapVersion3 = 3;
// trapCommunity when no community is chosen.
constexpr uint32_t kNoTrapCommunity = 0xffffffff;

struct TrapSettings {
  bool enabled = false;                   // the agent's service is on
  uint32_t target = 0;                    // IPv4 address, network order; 0 = none
  uint16_t port = 162;                    // UDP port at the target
  uint32_t community = kNoTrapCommunity;  // id of the community or v3 user
  uint32_t version = kTrapVersion1;
  uint32_t startJiffies = 0;  // kx::getJiffies() when the agent started
  // The local v3 engine, authoritative for its traps: the formatted engine
  // ID, boots, start uptime and clock the v3 header is made from.
  V3ServerInfo engine;
};

#endif  // TRAPS_TRAP_SETTINGS_H_
