// Platform clocks.
#ifndef KX_CLOCK_H_
#define KX_CLOCK_H_

#include <cstdint>

namespace kx {

// Whole seconds since boot (CLOCK_BOOTTIME).
uint32_t getUptime();
// Hundredths of a second since boot.
uint32_t getJiffies();

}  // namespace kx

#endif  // KX_CLOCK_H_
