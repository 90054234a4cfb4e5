#include "sim/sim_clock.h"

#include <ctime>

#include "kx/platform.h"

namespace sim {

RealClock::RealClock() : start_(std::chrono::steady_clock::now()) {}

uint64_t RealClock::elapsedMs() const {
  auto d = std::chrono::steady_clock::now() - start_;
  return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(d).count());
}

uint32_t RealClock::uptime() const { return kx::getUptime(); }

uint32_t RealClock::epoch() const { return static_cast<uint32_t>(std::time(nullptr)); }

}  // namespace sim
