// The bus fixture of the unit tests: a temporary root for the sockets, and
// processes forked to serve or to call, killed when the test ends.  The
// tests of the data layer and above add the agent's looper on a controlled
// clock (tests/unit/data/agent_bus.h).
#ifndef TESTS_UNIT_SUPPORT_BUS_FIXTURE_H_
#define TESTS_UNIT_SUPPORT_BUS_FIXTURE_H_

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <vector>

#include "kx/message.h"
#include "kx/runner.h"
#include "tests/unit/support/temp_root.h"

namespace test_support {

// Runs loop until done() or timeoutMs passed; returns done().
inline bool runUntil(kx::ThinRunner& loop, const std::function<bool()>& done,
                     int timeoutMs = 3000) {
  const uint64_t end = kx::monotonicNowMs() + timeoutMs;
  while (!done() && kx::monotonicNowMs() < end) loop.runOnce(10);
  return done();
}

inline kx::message request(std::vector<uint32_t> path, uint32_t cmd) {
  kx::message m;
  m.setDstPath(path);
  m.setCommand(cmd);
  return m;
}

// Lines starting with "kx: " in captured stderr text.
inline int kxLines(const std::string& text) {
  int n = 0;
  size_t pos = 0;
  while ((pos = text.find("kx: ", pos)) != std::string::npos) {
    if (pos == 0 || text[pos - 1] == '\n') ++n;
    pos += 4;
  }
  return n;
}

class BusTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_FALSE(root_.path().empty()); }
  void TearDown() override {
    for (pid_t p : children_) stopChild(p);
  }

  // Forks a process that runs body and exits with what it returns.
  pid_t startChild(std::function<int()> body) {
    pid_t pid = fork();
    if (pid == 0) _exit(body());
    children_.push_back(pid);
    return pid;
  }

  static void stopChild(pid_t pid) {
    if (pid <= 0) return;
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
  }

  TempRoot root_;
  std::vector<pid_t> children_;
};

}  // namespace test_support

#endif  // TESTS_UNIT_SUPPORT_BUS_FIXTURE_H_
