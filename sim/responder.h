// What every served handler does with a request: journal it, run it
// through its endpoint, and hold the answer back when a fault says so.
//
// Holding back blocks the process that serves the handler; kxsim therefore
// serves every service id that has a delay or silence fault in a process
// of its own, so the other services keep answering meanwhile.
#ifndef SIM_RESPONDER_H_
#define SIM_RESPONDER_H_

#include <csignal>

#include "kx/message.h"
#include "sim/endpoint.h"
#include "sim/journal.h"

namespace sim {

// How long a silent fault withholds its answer: past every caller's
// time-out (the agent waits 6 s), so the answer that finally leaves finds
// nobody waiting and is dropped.
constexpr unsigned kSilentHoldMs = 15000;

class Responder {
 public:
  // All three must outlive the responder.  stop: set from a signal handler;
  // a held answer is released early once it is non-zero.
  Responder(Endpoint& endpoint, Journal& journal, const volatile std::sig_atomic_t& stop)
      : endpoint_(endpoint), journal_(journal), stop_(stop) {}

  kx::message respond(const kx::message& req);
  Endpoint& endpoint() { return endpoint_; }

 private:
  void hold(unsigned ms) const;
  Endpoint& endpoint_;
  Journal& journal_;
  const volatile std::sig_atomic_t& stop_;
};

}  // namespace sim

#endif  // SIM_RESPONDER_H_
