// ThinRunner: timer order and replacement, removal from callbacks, sockets,
// idle leave, and the process's current runner.
#include "kx/runner.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <vector>

namespace {

// Records timer firings by name; the callbacks are members, as users write them.
struct Recorder {
  std::vector<std::string> fired;
  kx::ThinRunner* runner = nullptr;
  void a() { fired.push_back("a"); }
  void b() { fired.push_back("b"); }
  void c() { fired.push_back("c"); }
  void cancelsB() {
    fired.push_back("cancel");
    runner->removeTimer(this, &Recorder::b);
  }
  void rearmsItself() {
    fired.push_back("again");
    runner->addTimer(this, &Recorder::rearmsItself, 0);
  }
};

class RunnerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    runner.setClock([this] { return now; });
    rec.runner = &runner;
  }
  kx::ThinRunner runner;
  uint64_t now = 1000;
  Recorder rec;
};

TEST_F(RunnerTest, TimersFireInDeadlineOrderAndTiesInArmingOrder) {
  runner.addTimer(&rec, &Recorder::a, 30);
  runner.addTimer(&rec, &Recorder::b, 10);
  Recorder other;
  runner.addTimer(&other, &Recorder::a, 10);  // same member, other object: its own timer
  runner.addTimer(&rec, &Recorder::c, 10);
  now += 9;
  EXPECT_EQ(runner.runOnce(0), 0);
  now += 1;
  EXPECT_EQ(runner.runOnce(0), 3);
  EXPECT_EQ(rec.fired, (std::vector<std::string>{"b", "c"}));
  EXPECT_EQ(other.fired, (std::vector<std::string>{"a"}));
  now += 20;
  runner.runOnce(0);
  EXPECT_EQ(rec.fired, (std::vector<std::string>{"b", "c", "a"}));
  EXPECT_FALSE(runner.hasTimer(&rec, &Recorder::a));  // one-shot
}

TEST_F(RunnerTest, ArmingTheSamePairAgainReplacesIt) {
  runner.addTimer(&rec, &Recorder::a, 10);
  runner.addTimer(&rec, &Recorder::a, 50);
  now += 10;
  EXPECT_EQ(runner.runOnce(0), 0);
  EXPECT_TRUE(runner.hasTimer(&rec, &Recorder::a));
  now += 40;
  EXPECT_EQ(runner.runOnce(0), 1);
  EXPECT_EQ(rec.fired.size(), 1u);
}

TEST_F(RunnerTest, RemovalWorksAlsoFromInsideACallback) {
  runner.addTimer(&rec, &Recorder::a, 5);
  runner.removeTimer(&rec, &Recorder::a);
  runner.removeTimer(&rec, &Recorder::c);  // not armed: no effect
  runner.addTimer(&rec, &Recorder::cancelsB, 10);
  runner.addTimer(&rec, &Recorder::b, 10);  // due in the same round, cancelled first
  now += 10;
  runner.runOnce(0);
  EXPECT_EQ(rec.fired, (std::vector<std::string>{"cancel"}));
  EXPECT_FALSE(runner.hasTimer(&rec, &Recorder::b));
}

TEST_F(RunnerTest, FreeFunctionsUseTheMostRecentLiveRunner) {
  EXPECT_EQ(kx::getRunner(), &runner);
  {
    kx::ThinRunner inner;
    EXPECT_EQ(kx::getRunner(), &inner);
    kx::addTimer(&rec, &Recorder::a, 0);
    EXPECT_TRUE(inner.hasTimer(&rec, &Recorder::a));
    EXPECT_FALSE(runner.hasTimer(&rec, &Recorder::a));
    kx::removeTimer(&rec, &Recorder::a);
    EXPECT_FALSE(inner.hasTimer(&rec, &Recorder::a));
  }
  EXPECT_EQ(kx::getRunner(), &runner);
}

TEST_F(RunnerTest, ATimerReArmingItselfWithZeroDelayWaitsForTheNextRound) {
  runner.addTimer(&rec, &Recorder::rearmsItself, 0);
  EXPECT_EQ(runner.runOnce(0), 1);
  EXPECT_EQ(runner.runOnce(0), 1);
  EXPECT_EQ(rec.fired.size(), 2u);
}

TEST(Runner, SocketCallbacksSeeTheirEventsAndMayRemoveThemselves) {
  kx::ThinRunner runner;
  int sv[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, sv), 0);
  int calls = 0;
  runner.addSocketFn(
      sv[0],
      [&](int fd, int ev) {
        ++calls;
        EXPECT_EQ(fd, sv[0]);
        EXPECT_TRUE(ev & POLLIN);
        runner.removeSocket(fd);
      },
      POLLIN);
  EXPECT_EQ(runner.runOnce(0), 0);  // nothing to read yet
  ASSERT_EQ(write(sv[1], "x", 1), 1);
  EXPECT_EQ(runner.runOnce(100), 1);
  EXPECT_EQ(runner.runOnce(0), 0);  // removed: the unread byte no longer calls it
  EXPECT_EQ(calls, 1);
  close(sv[0]);
  close(sv[1]);
}

TEST(Runner, RunLeavesAfterTheIdleTimeButNotWhileBusy) {
  kx::ThinRunner runner;
  Recorder rec;
  rec.runner = &runner;
  runner.setupLeave(100);
  runner.addTimer(&rec, &Recorder::a, 60);  // activity restarts the idle period
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(runner.run(), 0);
  auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                                  start)
                .count();
  EXPECT_EQ(rec.fired.size(), 1u);
  EXPECT_GE(ms, 155);  // 60 ms busy, then 100 ms idle, in whole milliseconds
  EXPECT_LT(ms, 1000);
}

}  // namespace
