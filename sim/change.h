// Scheduled changes: the scenario's own link flaps and value edits.
//
// Scenario form, on a record or list service:
//   "changes": [ {"after_ms": 3000, "set": {"0x08fe0001": 1, "0x08010003": 0}},
//                {"after_ms": 4000, "every_ms": 2000, "set": {...}} ]
// A change applies its fields after after_ms (counted from start), then
// again every every_ms if given, exactly as a set (record) or set object
// (list) from the bus would: merged, announced to subscribers.
#ifndef SIM_CHANGE_H_
#define SIM_CHANGE_H_

#include <vector>

#include <nlohmann/json.hpp>

#include "kx/message.h"
#include "sim/json_path.h"

namespace sim {

// A day: schedules are for tests and demos, not calendars.
constexpr unsigned kMaxChangeMs = 24 * 3600 * 1000;
// Faster repetition would only burn the processor.
constexpr unsigned kMinChangeEveryMs = 10;

struct Change {
  unsigned afterMs = 0;
  unsigned everyMs = 0;  // 0: once
  kx::message fields;
};

// Throws ScenarioError.  needsId: the fields must name an object (a list).
std::vector<Change> parseChanges(const nlohmann::json& j, const JsonPath& at, bool needsId);

}  // namespace sim

#endif  // SIM_CHANGE_H_
