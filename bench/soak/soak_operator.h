// The changes the soak run makes around the agent, as an operator and the
// router would make them: settings and communities over the bus with
// kxctl, kxsim stopped and started again, an interface's link flipped in
// kxsim (which announces it to the agent's subscription).
#ifndef BENCH_SOAK_SOAK_OPERATOR_H_
#define BENCH_SOAK_SOAK_OPERATOR_H_

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "bench/load/agent_peers.h"
#include "bench/load/peer_process.h"

namespace bench {

// The interface the soak flips, and its state bits when up and running
// (0x100 up, 0x400 running), as the example router starts it.
constexpr uint32_t kFlippedInterface = 1;
constexpr uint32_t kUpRunning = 0x500;

class Operator {
 public:
  // sim: the running kxsim, restarted in place.
  Operator(const OurAgent& paths, const TempDir& root, ChildProcess* sim);

  // kxctl --root ROOT words...: false, with a message on standard error,
  // unless it exits with status 0.
  bool kxctl(const std::vector<std::string>& words);
  // Sets the flipped interface's state bits in kxsim.
  bool setLink(uint32_t state) {
    return kxctl({"setobj", "20,0", std::to_string(kFlippedInterface),
                  "0x08010003=" + std::to_string(state)});
  }
  bool stopKxsim();
  // Starts kxsim again and waits until it serves.
  bool startKxsim();

  uint64_t calls() const { return calls_; }
  int restarts() const { return restarts_; }
  std::chrono::steady_clock::time_point kxsimStarted() const { return kxsimStarted_; }

 private:
  const OurAgent& paths_;
  const TempDir& root_;
  ChildProcess* sim_;
  std::string log_;
  uint64_t calls_ = 0;
  int restarts_ = 0;
  std::chrono::steady_clock::time_point kxsimStarted_;
};

}  // namespace bench

#endif  // BENCH_SOAK_SOAK_OPERATOR_H_
