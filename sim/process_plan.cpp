#include "sim/process_plan.h"

#include <set>

namespace sim {

ProcessPlan planProcesses(const Scenario& scenario) {
  std::set<uint32_t> held;
  for (const auto& s : scenario.services) {
    for (const auto& f : s.faults) {
      if (f.silent || f.delayMs) held.insert(s.path[0]);
    }
  }
  ProcessPlan plan;
  for (uint32_t id : scenario.serviceIds()) {
    if (held.count(id)) {
      plan.others.push_back({id});
    } else {
      plan.main.push_back(id);
    }
  }
  return plan;
}

}  // namespace sim
