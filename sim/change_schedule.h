// Applies a service's scheduled changes on a runner's timers.
#ifndef SIM_CHANGE_SCHEDULE_H_
#define SIM_CHANGE_SCHEDULE_H_

#include <cstdint>
#include <memory>
#include <vector>

#include "kx/runner.h"
#include "sim/change.h"
#include "sim/service.h"

namespace sim {

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

#endif  // SIM_CHANGE_SCHEDULE_H_
