// What the soak run prints: the agent's memory and descriptors after every
// cycle, then the counts and the verdict.
//
// Flat, for memory and descriptors, means: the last sample is within a
// small margin of the first sample after warm-up (the first tenth of the
// cycles, at least one), where caches, the allocator's arenas and the bus
// connections have reached their working size.  Samples are taken at the
// same point of every cycle (kxsim up, every change undone but the
// contact and the engine ID, no request in flight) and right after a walk
// of the whole MIB, which connects the agent to every service of kxsim,
// so they compare.
#ifndef BENCH_SOAK_SOAK_REPORT_H_
#define BENCH_SOAK_SOAK_REPORT_H_

#include <sys/types.h>

#include <cstdint>
#include <vector>

#include "bench/soak/soak_operator.h"
#include "bench/soak/soak_tally.h"
#include "bench/soak/soak_traffic.h"
#include "bench/soak/trap_sink.h"

namespace bench {

// Margins of "flat".
constexpr long kRssMarginKiB = 64;
constexpr int kFdMargin = 0;

class Report {
 public:
  explicit Report(pid_t agent) : agent_(agent) {}

  // Reads the agent's memory and descriptors now and prints them as one
  // line of the table (the header first), with the objects the walk of the
  // whole MIB just before found.
  void sample(uint64_t requests, double seconds, uint64_t mibObjects, const TrapSink::Counts& traps,
              const Operator& op);
  // Prints the counts and the verdict's lines.
  void summary(const Tally& tally, const SoakTraffic& traffic, const TrapSink::Counts& expected,
               const TrapSink& sink, double seconds, int agentExit);
  // Every check of the summary held.
  bool passed() const { return passed_; }

 private:
  struct Sample {
    uint64_t requests;
    long rss;
    long anon;
    int fds;
    uint64_t mibObjects;
  };

  void check(bool ok, const char* what, const std::string& detail);

  pid_t agent_;
  std::vector<Sample> samples_;
  bool passed_ = true;
};

// Open descriptors of a process (entries of /proc/PID/fd), or -1.
int openDescriptors(pid_t pid);

}  // namespace bench

#endif  // BENCH_SOAK_SOAK_REPORT_H_
