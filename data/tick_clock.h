// The clock of the data caches: ticks of times(), replaceable for tests.
//
// Cache limits are counted in these ticks; timers on the runner are armed in
// milliseconds (tickToMs).
#ifndef DATA_TICK_CLOCK_H_
#define DATA_TICK_CLOCK_H_

#include <cstdint>

// A source of ticks.  Differences are taken modulo 2^32, so the source may
// wrap.
using TickSource = uint32_t (*)();

// The current tick count of the installed source (times() by default).
uint32_t currentTicks();
// Installs source; null restores times().
void setTickSource(TickSource source);
// ticks converted to milliseconds with the system's tick rate, saturated at
// the largest unsigned value.
unsigned tickToMs(uint32_t ticks);

#endif  // DATA_TICK_CLOCK_H_
