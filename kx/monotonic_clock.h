// The clock of real waits: deadlines of the loop and of socket operations.
#ifndef KX_MONOTONIC_CLOCK_H_
#define KX_MONOTONIC_CLOCK_H_

#include <cstdint>

namespace kx {

// CLOCK_MONOTONIC in milliseconds: never jumps with the wall clock.
uint64_t monotonicNowMs();

}  // namespace kx

#endif  // KX_MONOTONIC_CLOCK_H_
