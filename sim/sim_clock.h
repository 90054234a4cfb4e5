// The clocks that dynamic scenario values follow.
//
// Reached through an interface so that tests can move time by hand.
#ifndef SIM_SIM_CLOCK_H_
#define SIM_SIM_CLOCK_H_

#include <chrono>
#include <cstdint>

namespace sim {

class SimClock {
 public:
  virtual ~SimClock() = default;
  // Milliseconds since the simulator started.
  virtual uint64_t elapsedMs() const = 0;
  // Whole seconds since the machine booted.
  virtual uint32_t uptime() const = 0;
  // Seconds since 1970-01-01 UTC.
  virtual uint32_t epoch() const = 0;
};

// The real clocks; elapsedMs counts from construction on a monotonic clock.
class RealClock : public SimClock {
 public:
  RealClock();
  uint64_t elapsedMs() const override;
  uint32_t uptime() const override;
  uint32_t epoch() const override;

 private:
  std::chrono::steady_clock::time_point start_;
};

}  // namespace sim

#endif  // SIM_SIM_CLOCK_H_
