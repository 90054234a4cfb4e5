// Scheduled changes: the scenario's own link flaps and value edits, and
// their schedule on a runner's timers.
#ifndef SIM_CHANGE_H_
#define SIM_CHANGE_H_

#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>
#include <vector>

#include "kx/message.h"
#include "kx/runner.h"
#include "sim/json_path.h"
#include "sim/service.h"

namespace sim {

// Scheduled changes: the scenario's own link flaps and value edits.
//
// Scenario form, on a record or list service:
//   "changes": [ {"after_ms": 3000, "set": {"0x08fe0001": 1, "0x08010003": 0}},
//                {"after_ms": 4000, "every_ms": 2000, "set": {...}} ]
// A change applies its fields after after_ms (counted from start), then
// again every every_ms if given, exactly as a set (record) or set object
// (list) from the bus would: merged, announced to subscribers.

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

// Applies a service's scheduled changes on a runner's timers.
class ChangeSchedule {
 public:
  // setCmd: the command a change stands for (set record or set object).
  // The service and the runner must outlive the schedule.
  ChangeSchedule(Service& service, uint32_t setCmd, std::vector<Change> changes);
  ~ChangeSchedule();
  ChangeSchedule(const ChangeSchedule&) = delete;
  ChangeSchedule& operator=(const ChangeSchedule&) = delete;

  // Arms a timer per change on runner.
  void start(kx::ThinRunner& runner);
  // How many times changes were applied (for tests).
  unsigned applied() const { return applied_; }

 private:
  struct Armed {
    ChangeSchedule* owner;
    Change change;
  };
  void fire(Armed& a);
  Service& service_;
  uint32_t setCmd_;
  std::vector<std::unique_ptr<Armed>> armed_;
  kx::ThinRunner* runner_ = nullptr;
  unsigned applied_ = 0;
};

}  // namespace sim

#endif  // SIM_CHANGE_H_
