#include "sim/dynamic_value.h"

namespace sim {

DynamicValue DynamicValue::counter(uint64_t base, int64_t milliRatePerSecond) {
  return DynamicValue(Kind::kCounter, base, milliRatePerSecond);
}

DynamicValue DynamicValue::uptime() { return DynamicValue(Kind::kUptime, 0, 0); }

DynamicValue DynamicValue::epoch() { return DynamicValue(Kind::kEpoch, 0, 0); }

uint64_t DynamicValue::at(const SimClock& clock) const {
  switch (kind_) {
    case Kind::kUptime:
      return clock.uptime();
    case Kind::kEpoch:
      return clock.epoch();
    case Kind::kCounter:
      break;
  }
  // 128-bit product: a fast counter running for months overflows 64 bits
  // before the division brings it back.
  __int128 grown = static_cast<__int128>(milliRate_) * static_cast<__int128>(clock.elapsedMs());
  grown /= 1000000;  // thousandths per second times milliseconds
  return base_ + static_cast<uint64_t>(grown);
}

}  // namespace sim
