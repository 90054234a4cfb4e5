// The echo service the bus tests run in forked children, and a looper that
// records what reaches it.
#ifndef TESTS_UNIT_KX_LOOP_ECHO_SERVICE_H_
#define TESTS_UNIT_KX_LOOP_ECHO_SERVICE_H_

#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "kx/frame.h"
#include "kx/handler.h"
#include "kx/looper.h"
#include "kx/message.h"
#include "kx/platform.h"
#include "tests/unit/support/bus_fixture.h"

namespace kxtest {

constexpr uint32_t kEchoCode = kx::u32_id(0x100);          // the command the echo saw
constexpr uint32_t kEchoPid = kx::u32_id(0x101);           // the pid of the echo process
constexpr uint32_t kEchoSender = kx::u32_array_id(0x102);  // the request's sender path
constexpr uint32_t kSleepMs = kx::u32_id(0x103);
constexpr uint32_t kForwardTo = kx::u32_array_id(0x104);

constexpr uint32_t kCmdSlow = 0x51;     // sleep kSleepMs, then echo
constexpr uint32_t kCmdNotify = 0x52;   // notifyChange(kObjId), then echo
constexpr uint32_t kCmdForward = 0x53;  // one-way copy to kForwardTo, then echo

// Answers every unknown command with the request plus what it saw.  Its
// objects carry the state bit 128 unless their id is 1.
class EchoHandler : public kx::Handler {
 public:
  kx::message cmdUnknown(const kx::message& msg, uint32_t code) override {
    if (code == kCmdSlow) usleep(msg.getU32(kSleepMs) * 1000);
    if (code == kCmdNotify) notifyChange(msg.getU32(kx::kObjId), msg);
    if (code == kCmdForward) {
      kx::message fwd;
      fwd.setDstPath(msg.getU32Array(kForwardTo));
      fwd.setCommand(code);
      looper()->sendMessage(fwd);
    }
    kx::message r = msg;
    r.setU32(kEchoCode, code);
    r.setU32(kEchoPid, static_cast<uint32_t>(getpid()));
    r.setU32Array(kEchoSender, msg.getU32Array(kx::kSrcPath));
    return r;
  }
  kx::message getObject(uint32_t id) override {
    kx::message m;
    m.setU32(kx::kObjId, id);
    m.setU32(kx::kFilterValue, id == 1 ? 0 : 128);
    return m;
  }
};

// A looper that records what reaches its unknown-command slot.
class RecordingLooper : public kx::Looper {
 public:
  using kx::Looper::Looper;
  kx::message cmdUnknown(const kx::message& msg, uint32_t code) override {
    if (busy) reentered = true;
    seen.push_back(msg);
    codes.push_back(code);
    return kx::message();
  }
  std::vector<kx::message> seen;
  std::vector<uint32_t> codes;
  bool busy = false;  // set by a test around its own exchange
  bool reentered = false;
};

using test_support::kxLines;
using test_support::request;
using test_support::runUntil;

class BusTest : public test_support::BusTest {
 protected:
  // Forks a process serving an EchoHandler as handler 0 of service id.
  // serve = false: the process listens but never reads (a hung service).
  // Returns once the child listens.
  pid_t startEcho(uint32_t id, bool serve = true) {
    int ready[2];
    if (pipe(ready) != 0) return -1;
    pid_t pid = fork();
    if (pid == 0) {
      close(ready[0]);
      {
        kx::Looper l(id);
        EchoHandler echo;
        l.addHandler(0, &echo);
        char b = 1;
        if (write(ready[1], &b, 1) != 1) _exit(3);
        if (serve) l.run();
        for (;;) pause();
      }
    }
    close(ready[1]);
    pollfd p{ready[0], POLLIN, 0};
    char b = 0;
    bool ok = poll(&p, 1, 5000) == 1 && read(ready[0], &b, 1) == 1;
    close(ready[0]);
    children_.push_back(pid);
    return ok ? pid : -1;
  }
};

}  // namespace kxtest

#endif  // TESTS_UNIT_KX_LOOP_ECHO_SERVICE_H_
