// The soak run's load: a window of request streams against the agent's
// UDP port, every reply checked as it arrives, the trap receiver read on
// the way.
//
// A request that must be answered holds its stream until its reply comes
// or kAnswerWithin passes (then it is lost).  That bound lies beyond the
// agent's 6-second bus time-out, so a request stuck behind a silent
// service still counts when it is answered.  A request that must not be
// answered (its community was removed) holds no stream: it is watched for
// kSilenceFor, and a reply to it is a fault.
#ifndef BENCH_SOAK_SOAK_DRIVER_H_
#define BENCH_SOAK_SOAK_DRIVER_H_

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "bench/soak/soak_tally.h"
#include "bench/soak/soak_traffic.h"
#include "bench/soak/trap_sink.h"

namespace bench {

constexpr std::chrono::seconds kAnswerWithin{10};
constexpr std::chrono::seconds kSilenceFor{1};

class Driver {
 public:
  // Something to do once a phase has sent `at` requests: the load pauses
  // while it runs; requests in flight keep their deadlines.  With `after`,
  // not before that long after the hook before it (or the phase's start):
  // the load goes on meanwhile, past `at` if need be.  False (with a
  // message on standard error) ends the run.
  struct Hook {
    uint64_t at;
    std::function<bool()> action;
    std::chrono::milliseconds after{0};
  };

  // fd: a UDP socket connected to the agent.  window: streams side by side.
  Driver(int fd, SoakTraffic* traffic, TrapSink* sink, Tally* tally, int window);

  // Sends count requests as world says, runs the hooks in order at their
  // moments, then waits until every hook has run and every request is
  // answered, lost or silent long enough.  False when the socket fails or
  // a hook does.
  bool run(uint64_t count, const World& world, const std::vector<Hook>& hooks);
  uint64_t sent() const { return sent_; }

 private:
  struct Slot {
    bool busy = false;
    Request request;
    std::chrono::steady_clock::time_point sentAt;
  };
  struct Silent {
    Request request;
    std::chrono::steady_clock::time_point sentAt;
  };

  bool send(const Request& request);
  // Sends until stream s holds a request that must be answered or the
  // phase has sent count.
  bool fill(int s, uint64_t count, const World& world, uint64_t* sentHere);
  void receive();
  void settle(const SoakReply& reply, const Request& request, const std::string& why);
  void expire();

  int fd_;
  SoakTraffic* traffic_;
  TrapSink* sink_;
  Tally* tally_;
  std::vector<Slot> slots_;
  std::deque<Silent> silent_;
  std::vector<uint8_t> buf_;
  uint32_t nextId_;
  uint64_t sent_ = 0;
};

}  // namespace bench

#endif  // BENCH_SOAK_SOAK_DRIVER_H_
