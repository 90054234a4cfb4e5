// A field value that follows time: a counter growing at a rate, or a clock.
#ifndef SIM_DYNAMIC_VALUE_H_
#define SIM_DYNAMIC_VALUE_H_

#include <cstdint>

#include "sim/sim_clock.h"

namespace sim {

class DynamicValue {
 public:
  // base + rate * seconds since start.  The rate is given in thousandths
  // per second so that slow counters (0.5 per second) need no floating
  // point; it may be negative (a gauge that drains).
  static DynamicValue counter(uint64_t base, int64_t milliRatePerSecond);
  static DynamicValue uptime();  // seconds since boot
  static DynamicValue epoch();   // seconds since 1970

  // The value now, modulo 2^64; a u32 field keeps the low 32 bits, so a
  // 32-bit counter wraps the way a real one does.
  uint64_t at(const SimClock& clock) const;

 private:
  enum class Kind { kCounter, kUptime, kEpoch };
  DynamicValue(Kind k, uint64_t base, int64_t milliRate)
      : kind_(k), base_(base), milliRate_(milliRate) {}
  Kind kind_;
  uint64_t base_;
  int64_t milliRate_;
};

}  // namespace sim

#endif  // SIM_DYNAMIC_VALUE_H_
