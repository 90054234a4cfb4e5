// The soak run's counts: per identity, what was sent and how each request
// ended, and the first few faults in words.
#ifndef BENCH_SOAK_SOAK_TALLY_H_
#define BENCH_SOAK_SOAK_TALLY_H_

#include <cstdint>
#include <string>
#include <vector>

#include "bench/soak/soak_traffic.h"

namespace bench {

struct TallyRow {
  uint64_t sent = 0;
  uint64_t ops[kOpCount] = {};  // by Op
  uint64_t mute = 0;            // of those sent, to be left unanswered
  uint64_t values = 0;          // answered as expected with no error
  uint64_t errors = 0;          // answered as expected with an error status
  uint64_t reports = 0;         // answered as expected with a v3 report
  uint64_t silent = 0;          // left unanswered, as expected
  uint64_t lost = 0;            // never answered, though they had to be
  uint64_t wrong = 0;           // answered otherwise than expected

  uint64_t expectedAnswers() const { return sent - mute; }
  uint64_t rightAnswers() const { return values + errors + reports; }
  void add(const TallyRow& r);
};

struct Tally {
  static constexpr size_t kMaxFaults = 20;

  TallyRow rows[kIdentityCount];
  uint64_t awaySent = 0;    // sent while kxsim was away or the agent's caches refilled
  uint64_t awayMisses = 0;  // of those, answered noSuchName where a value was due otherwise
  uint64_t stray = 0;       // replies to nothing in flight (late, or repeated)
  uint64_t unparsed = 0;    // datagrams that are no reply at all
  std::vector<std::string> faults;

  void fault(const std::string& what) {
    if (faults.size() < kMaxFaults) faults.push_back(what);
  }
  TallyRow total() const;
};

}  // namespace bench

#endif  // BENCH_SOAK_SOAK_TALLY_H_
