// A clock the tests move by hand.
#ifndef TESTS_UNIT_SIM_FAKE_CLOCK_H_
#define TESTS_UNIT_SIM_FAKE_CLOCK_H_

#include "sim/object_template.h"

namespace sim {

class FakeClock : public SimClock {
 public:
  uint64_t elapsedMs() const override { return elapsed; }
  uint32_t uptime() const override { return up; }
  uint32_t epoch() const override { return now; }

  uint64_t elapsed = 0;
  uint32_t up = 0;
  uint32_t now = 0;
};

}  // namespace sim

#endif  // TESTS_UNIT_SIM_FAKE_CLOCK_H_
