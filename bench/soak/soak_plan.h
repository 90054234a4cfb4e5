// The soak run's course.  Every cycle is ten phases of load; before each
// the configuration changes over the bus (or around the agent), and each
// phase's requests expect what that change made of the agent:
//
//   1. contact and location set: sysContact.0 must read the new text;
//   2. time window 60 s: v3 requests made 20 s ago are answered;
//   3. time window 15 s again: the same requests get notInTimeWindow;
//   4. soak-temp-v3's password changed, soak-rw loses its write right:
//      the old password gets wrongDigest, soak-rw's SETs readOnly;
//   5. soak-temp and soak-temp-v3 removed, soak-rw may write again: v1/v2c
//      requests with soak-temp go unanswered, its v3 ones get
//      unknownUserName, soak-temp-v3's wrongDigest;
//   6. both added again;
//   7. trap generators off: two link flips raise nothing, one enterprise
//      trap (kxctl snmp send-trap) is sent all the same;
//   8. trap generators on, trap version switched (v1 and v2c by turns):
//      four link flips, four traps;
//   9. kxsim stopped a tenth of the way in and started again at nine
//      tenths, one second later at the earliest (a double share of the
//      requests): objects of the router's lists may miss meanwhile; after
//      the phase the agent's caches get their two seconds to refill and the
//      link subscription, which lived in the old kxsim, is made again;
//  10. engine ID changed: the v3 identities discover the engine again and
//      localise their keys; two link flips, two traps.
#ifndef BENCH_SOAK_SOAK_PLAN_H_
#define BENCH_SOAK_SOAK_PLAN_H_

#include <cstdint>
#include <vector>

#include "bench/soak/soak_driver.h"
#include "bench/soak/soak_operator.h"
#include "bench/soak/soak_traffic.h"
#include "bench/soak/trap_sink.h"

namespace bench {

constexpr int kPhases = 10;

class SoakPlan {
 public:
  SoakPlan(Operator* op, SoakTraffic* traffic, Driver* driver, TrapSink* sink, uint16_t agentPort);

  // The configuration the first cycle starts from, made over the bus, and
  // the first discovery.  False (with a message) when it cannot be made.
  bool setUp();
  // Cycle k with about `requests` requests (at least one per phase).
  // When it returns, every trap it raised has arrived or 2 s have passed.
  bool runCycle(int k, uint64_t requests);

  // Traps raised so far, by version index (0 v1, 1 v2c).
  const TrapSink::Counts& trapsExpected() const { return expected_; }

 private:
  bool load(uint64_t n, std::vector<Driver::Hook> hooks = {});
  bool discover();
  // Hooks that flip the link down and up again `pairs` times within a
  // phase of n requests; traps are expected when `raise`.
  std::vector<Driver::Hook> flips(uint64_t n, int pairs, bool raise);
  void waitForTraps();

  Operator* op_;
  SoakTraffic* traffic_;
  Driver* driver_;
  TrapSink* sink_;
  uint16_t agentPort_;
  World world_;
  int trapVersion_ = 1;  // 0 v1, 1 v2c
  TrapSink::Counts expected_;
};

}  // namespace bench

#endif  // BENCH_SOAK_SOAK_PLAN_H_
