// Fault injection: a late answer, an error answer or no answer at all.
//
// Scenario form, one object or an array of them (the first that matches a
// request's command applies):
//   {"delay_ms": 8000}                       answer, but that much later
//   {"error": [0xfe0006, "refused"]}         answer with this error
//   {"silent": true}                         never answer
//   "commands": ["0xfe0004", "count"]        only for these commands
// delay_ms combines with error (a late error); silent stands alone.
#ifndef SIM_FAULT_H_
#define SIM_FAULT_H_

#include <cstdint>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "sim/json_path.h"

namespace sim {

// Ten minutes: longer than any caller waits, short enough to notice a typo.
constexpr unsigned kMaxFaultDelayMs = 600000;

struct Fault {
  std::vector<uint32_t> commands;  // empty: every command
  unsigned delayMs = 0;
  bool silent = false;
  bool error = false;
  uint32_t errorCode = 0;
  std::string errorText;

  bool matches(uint32_t cmd) const;
};

// Throws ScenarioError.
std::vector<Fault> parseFaults(const nlohmann::json& j, const JsonPath& at);
// The first fault for cmd, or null.
const Fault* findFault(const std::vector<Fault>& faults, uint32_t cmd);

}  // namespace sim

#endif  // SIM_FAULT_H_
