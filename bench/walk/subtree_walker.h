// A GETNEXT walker: one v2c request of one binding at a time, from the
// root of a subtree until the agent answers with a name outside it, a miss
// (noSuchName, the way our agent ends a walk in v1 and v2c alike) or
// endOfMibView.  Every name must be greater than the one before, so a
// looping agent ends the walk with an error instead of running forever.
#ifndef BENCH_WALK_SUBTREE_WALKER_H_
#define BENCH_WALK_SUBTREE_WALKER_H_

#include <chrono>
#include <cstdint>
#include <string>

namespace bench {

// How long one reply may take before the request goes again; an agent
// waiting on a slow bus exchange gets several of these.
constexpr auto kWalkReplyTimeout = std::chrono::milliseconds(2000);
constexpr int kWalkTries = 4;
// No walk returns more bindings than this; a bigger count means a fault.
constexpr uint64_t kMaxWalkBindings = 10000000;

struct WalkResult {
  uint64_t bindings = 0;  // names inside the subtree
  uint64_t rows = 0;      // bindings of the first column (root.1.1.*)
  uint64_t resent = 0;    // requests sent again after a time-out
  double seconds = 0;
  std::string error;  // why the walk failed, empty when it did not
};

// Walks root (dotted text) on 127.0.0.1:port with community.  False, with
// result->error set, on a time-out, a reply in error, a name that does not
// increase, or when stop (polled between requests, may be null) becomes
// non-zero.
bool walkSubtree(uint16_t port, const std::string& community, const std::string& root,
                 const volatile int* stop, WalkResult* result);

}  // namespace bench

#endif  // BENCH_WALK_SUBTREE_WALKER_H_
