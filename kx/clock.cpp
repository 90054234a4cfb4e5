#include "kx/clock.h"

#include <time.h>

namespace kx {

namespace {

// CLOCK_BOOTTIME keeps counting while the system is suspended, as an
// uptime should.
timespec bootTime() {
  timespec ts{};
  ::clock_gettime(CLOCK_BOOTTIME, &ts);
  return ts;
}

constexpr long kNanosPerHundredth = 10 * 1000 * 1000;

}  // namespace

uint32_t getUptime() { return static_cast<uint32_t>(bootTime().tv_sec); }

// Wraps after about 497 days, like the 32-bit tick counters that read it.
uint32_t getJiffies() {
  const timespec ts = bootTime();
  return static_cast<uint32_t>(static_cast<uint64_t>(ts.tv_sec) * 100 +
                               static_cast<uint64_t>(ts.tv_nsec / kNanosPerHundredth));
}

}  // namespace kx
