#include "data/tick_clock.h"

#include <sys/times.h>
#include <unistd.h>

#include <limits>

namespace {

uint32_t systemTicks() {
  // Only the return value matters; the buffer is there for libraries that
  // don't accept a null one.
  struct tms unused;
  return static_cast<uint32_t>(times(&unused));
}

TickSource g_tickSource = systemTicks;

// Used when sysconf cannot tell the rate; the usual USER_HZ.
constexpr long kFallbackTicksPerSecond = 100;

}  // namespace

uint32_t currentTicks() { return g_tickSource(); }

void setTickSource(TickSource source) { g_tickSource = source ? source : systemTicks; }

unsigned tickToMs(uint32_t ticks) {
  long hz = sysconf(_SC_CLK_TCK);
  if (hz <= 0) hz = kFallbackTicksPerSecond;
  unsigned long long ms = static_cast<unsigned long long>(ticks) * 1000ULL /
                          static_cast<unsigned long long>(hz);
  if (ms > std::numeric_limits<unsigned>::max()) return std::numeric_limits<unsigned>::max();
  return static_cast<unsigned>(ms);
}
