// What the platform gives a process beside the bus: its clocks and the root
// prefix under which every platform path lives.
#ifndef KX_PLATFORM_H_
#define KX_PLATFORM_H_

#include <cstdint>
#include <string>

namespace kx {

// Whole seconds since boot (CLOCK_BOOTTIME).
uint32_t getUptime();
// Hundredths of a second since boot; wraps after about 497 days, like the
// 32-bit tick counters that read it.
uint32_t getJiffies();
// CLOCK_MONOTONIC in milliseconds: the clock of real waits, the deadlines of
// the loop and of socket operations.  Never jumps with the wall clock.
uint64_t monotonicNowMs();

// The directory of the bus's sockets.
constexpr const char* kBusDir = "/sarn/run/bus";

// The root is, in order: the value given to setRoot (programs pass their
// --root option), the environment variable SARN_ROOT, "/".
void setRoot(const std::string& root);
std::string root();
// platformPath ("/sarn/store/snmpd") below the root.
std::string rootPath(const std::string& platformPath);
// Creates dir and its parents (mode 0755); true when it exists afterwards.
bool makeDirs(const std::string& dir);

}  // namespace kx

#endif  // KX_PLATFORM_H_
