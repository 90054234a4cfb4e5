// Which service ids each kxsim process serves.
//
// A fault that holds an answer back (a delay or silence) blocks the process
// that serves it.  Every service id with such a fault is therefore served by
// a process of its own; all other ids share the main process.
#ifndef SIM_PROCESS_PLAN_H_
#define SIM_PROCESS_PLAN_H_

#include <cstdint>
#include <vector>

#include "sim/scenario.h"

namespace sim {

struct ProcessPlan {
  std::vector<uint32_t> main;                 // served by kxsim itself
  std::vector<std::vector<uint32_t>> others;  // one child process each
};

ProcessPlan planProcesses(const Scenario& scenario);

}  // namespace sim

#endif  // SIM_PROCESS_PLAN_H_
