// The bus between processes: exchanges, failures, large messages, queuing,
// events and bad input, over real sockets under a temporary root.
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <chrono>
#include <cstring>

#include "kx/frame.h"
#include "kx/transport.h"
#include "tests/unit/kx_loop/echo_service.h"

namespace kxtest {
namespace {

using Clock = std::chrono::steady_clock;

int elapsedMs(Clock::time_point since) {
  return static_cast<int>(
      std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - since).count());
}

// The address of a service's socket.
sockaddr_un busAddress(uint32_t service) {
  sockaddr_un addr{};
  addr.sun_family = AF_UNIX;
  std::strcpy(addr.sun_path, kx::Transport::socketPath(service).c_str());
  return addr;
}

// A raw client of a service socket.
int connectRaw(uint32_t service) {
  int fd = socket(AF_UNIX, SOCK_SEQPACKET, 0);
  sockaddr_un addr = busAddress(service);
  if (connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
    close(fd);
    return -1;
  }
  return fd;
}

// Serves loop until fd has something to read (or is closed); returns what
// recv returned, -1 after the time-out.
ssize_t serveUntilReadable(kx::ThinRunner& loop, int fd, void* buf, size_t size) {
  ssize_t n = -1;
  runUntil(loop, [&] {
    if (n < 0) n = recv(fd, buf, size, MSG_DONTWAIT);
    return n >= 0;
  });
  return n;
}

// Sends a framed get with request id 1 to handler 9 of service (there is
// none) on a raw connection and serves loop until the answer comes; returns
// what recv returned.
ssize_t rawGetAnswered(kx::ThinRunner& loop, int fd, uint32_t service, uint8_t* buf, size_t size) {
  kx::message req = request({service, 9}, kx::kCmdGet);
  req.setU32(kx::kRequestId, 1);
  EXPECT_EQ(kx::sendFramed(fd, req.encode(), kx::monotonicNowMs() + 1000), kx::SendStatus::kOk);
  testing::internal::CaptureStderr();
  const ssize_t n = serveUntilReadable(loop, fd, buf, size);
  testing::internal::GetCapturedStderr();
  return n;
}

TEST_F(BusTest, ExchangeRoundTripCarriesSenderAndStripsTransportFields) {
  pid_t echo = startEcho(40);
  ASSERT_GT(echo, 0);
  kx::Looper me(41);
  kx::message req = request({40}, 0x77);
  req.setString(kx::string_id(5), "hello");
  kx::message reply = me.exchangeMessage(req, 2000);
  ASSERT_FALSE(kx::isError(reply)) << kx::getError(reply);
  EXPECT_EQ(reply.getString(kx::string_id(5)), "hello");
  EXPECT_EQ(reply.getU32(kEchoCode), 0x77u);
  EXPECT_EQ(reply.getU32(kEchoPid), static_cast<uint32_t>(echo));
  EXPECT_EQ(reply.getU32Array(kEchoSender), (std::vector<uint32_t>{41, 0}));
  EXPECT_FALSE(reply.has(kx::kRequestId));
  EXPECT_FALSE(reply.has(kx::kReplyFlag));
  // The request got its id and sender path.
  EXPECT_NE(req.getU32(kx::kRequestId), 0u);
  EXPECT_EQ(me.exchangesSent(), 1u);
}

TEST_F(BusTest, MissingServiceFailsAtOnceWithOneLogLine) {
  kx::Looper me(41);
  // A socket file left behind by a dead process counts as missing too.
  int stale = socket(AF_UNIX, SOCK_SEQPACKET, 0);
  sockaddr_un addr = busAddress(98);
  ASSERT_EQ(bind(stale, reinterpret_cast<sockaddr*>(&addr), sizeof addr), 0);
  close(stale);

  for (uint32_t service : {99u, 98u}) {
    kx::message req = request({service, 1}, kx::kCmdGet);
    testing::internal::CaptureStderr();
    auto start = Clock::now();
    kx::message reply = me.exchangeMessage(req, 6000);
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_LT(elapsedMs(start), 500);
    EXPECT_EQ(kx::getErrorCode(reply), kx::kErrNoService);
    EXPECT_EQ(kxLines(err), 1) << err;
  }
}

TEST_F(BusTest, SilentServiceTimesOutAndTheLooperKeepsServing) {
  ASSERT_GT(startEcho(42, /*serve=*/false), 0);
  ASSERT_GT(startEcho(43), 0);
  kx::Looper me(41);
  // The time-out runs on the looper's clock: one that leaps a minute at
  // every reading ends a six-second wait at once.
  uint64_t now = 0;
  me.setClock([&now] { return now += 60000; });
  kx::message req = request({42}, 0x1);
  testing::internal::CaptureStderr();
  auto start = Clock::now();
  kx::message reply = me.exchangeMessage(req, 6000);
  std::string err = testing::internal::GetCapturedStderr();
  EXPECT_EQ(kx::getErrorCode(reply), kx::kErrTimeout);
  EXPECT_EQ(kx::getError(reply), "timeout");
  EXPECT_LT(elapsedMs(start), 1000);
  EXPECT_EQ(kxLines(err), 1) << err;
  me.setClock(nullptr);

  kx::message other = request({43}, 0x2);
  EXPECT_EQ(me.exchangeMessage(other, 2000).getU32(kEchoCode), 0x2u);
  // Requests to this looper are still answered by its loop.
  pid_t client = startChild([] {
    kx::Looper c(44);
    kx::message m = request({41}, kx::kCmdCount);
    // Answered (the looper has no list to count), not timed out.
    return kx::getErrorCode(c.exchangeMessage(m, 2000)) == kx::kErrUnknownCmd ? 0 : 1;
  });
  int status = -1;
  bool exited = false;
  ASSERT_TRUE(runUntil(
      me, [&] { return exited || (exited = waitpid(client, &status, WNOHANG) == client); }));
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST_F(BusTest, LateReplyIsDiscardedAndTheNextExchangeGetsItsOwn) {
  ASSERT_GT(startEcho(45), 0);
  kx::Looper me(41);
  kx::message slow = request({45}, kCmdSlow);
  slow.setU32(kSleepMs, 400);
  testing::internal::CaptureStderr();
  auto start = Clock::now();
  EXPECT_EQ(kx::getErrorCode(me.exchangeMessage(slow, 100)), kx::kErrTimeout);
  EXPECT_GE(elapsedMs(start), 99);  // the clocks count whole milliseconds
  testing::internal::GetCapturedStderr();
  kx::message next = request({45}, 0x9);
  next.setU32(kx::u32_id(7), 2);
  kx::message reply = me.exchangeMessage(next, 2000);
  EXPECT_EQ(reply.getU32(kEchoCode), 0x9u);
  EXPECT_EQ(reply.getU32(kx::u32_id(7)), 2u);
}

TEST_F(BusTest, CachedConnectionIsReopenedAfterThePeerRestarts) {
  pid_t first = startEcho(46);
  ASSERT_GT(first, 0);
  kx::Looper me(41);
  kx::message req = request({46}, 0x3);
  EXPECT_EQ(me.exchangeMessage(req, 2000).getU32(kEchoPid), static_cast<uint32_t>(first));
  stopChild(first);
  pid_t second = startEcho(46);
  ASSERT_GT(second, 0);
  testing::internal::CaptureStderr();
  kx::message again = request({46}, 0x3);
  kx::message reply = me.exchangeMessage(again, 2000);
  std::string err = testing::internal::GetCapturedStderr();
  EXPECT_EQ(reply.getU32(kEchoPid), static_cast<uint32_t>(second)) << reply.dump();
  EXPECT_EQ(kxLines(err), 0) << err;
}

TEST_F(BusTest, ALiveServiceKeepsItsSocket) {
  pid_t owner = startEcho(53);
  ASSERT_GT(owner, 0);
  testing::internal::CaptureStderr();
  kx::Looper second(53);
  EXPECT_EQ(kxLines(testing::internal::GetCapturedStderr()), 1);
  EXPECT_FALSE(second.listening(53));
  // Requests still reach the process that serves it.
  kx::message req = request({53}, 0x6);
  EXPECT_EQ(second.exchangeMessage(req, 2000).getU32(kEchoPid), static_cast<uint32_t>(owner));
}

TEST_F(BusTest, LargeMessagesTravelInPiecesUpToTheLimit) {
  ASSERT_GT(startEcho(47), 0);
  kx::Looper me(41);
  kx::message::raw blob(900 * 1024);
  for (size_t i = 0; i < blob.size(); ++i) blob[i] = static_cast<uint8_t>(i * 131 + (i >> 11));
  kx::message req = request({47}, 0x4);
  req.setRaw(kx::raw_id(9), blob);
  kx::message reply = me.exchangeMessage(req, 5000);
  ASSERT_FALSE(kx::isError(reply)) << kx::getError(reply);
  EXPECT_EQ(reply.getRaw(kx::raw_id(9)), blob);

  kx::message tooBig = request({47}, 0x4);
  tooBig.setRaw(kx::raw_id(9), kx::message::raw(kx::kMaxMessageSize));
  testing::internal::CaptureStderr();
  EXPECT_EQ(kx::getErrorCode(me.exchangeMessage(tooBig, 2000)), kx::kErrBadMessage);
  EXPECT_EQ(kxLines(testing::internal::GetCapturedStderr()), 1);
  // The connection is still good.
  kx::message small = request({47}, 0x5);
  EXPECT_EQ(me.exchangeMessage(small, 2000).getU32(kEchoCode), 0x5u);
}

TEST_F(BusTest, MessagesArrivingDuringAnExchangeWaitForIt) {
  RecordingLooper me(48);
  ASSERT_GT(startEcho(49), 0);
  kx::message filter;
  ASSERT_TRUE(me.subscribe({49}, 0x10004, filter));
  // During this exchange the echo sends an event on our connection and a
  // one-way request to our socket before it replies.
  kx::message req = request({49}, kCmdNotify);
  req.setU32(kx::kObjId, 7);
  kx::message fwdReq = request({49}, kCmdForward);
  fwdReq.setU32Array(kForwardTo, {48});
  me.busy = true;
  EXPECT_FALSE(kx::isError(me.exchangeMessage(req, 2000)));
  EXPECT_FALSE(kx::isError(me.exchangeMessage(fwdReq, 2000)));
  me.busy = false;
  EXPECT_TRUE(me.codes.empty());
  ASSERT_TRUE(runUntil(me, [&] { return me.codes.size() >= 2; }));
  EXPECT_FALSE(me.reentered);
  EXPECT_EQ(me.codes[0], 0x10004u);
  EXPECT_EQ(me.seen[0].getU32(kx::kObjId), 7u);
  EXPECT_EQ(me.codes[1], kCmdForward);
}

TEST_F(BusTest, SubscriberIsDroppedWhenItsProcessExits) {
  pid_t sub = startChild([] {
    kx::Looper c(51);
    // The publisher may not listen yet.
    bool ok = false;
    for (int i = 0; i < 60 && !(ok = c.subscribe({50}, 0x10004, kx::message())); ++i)
      usleep(50 * 1000);
    if (!ok) return 1;
    usleep(300 * 1000);  // stay subscribed a moment
    return 0;
  });
  EchoHandler pub;
  kx::Looper me(50);
  me.addHandler(0, &pub);
  ASSERT_TRUE(runUntil(me, [&] { return pub.subscriberCount() == 1; }));
  ASSERT_TRUE(runUntil(me, [&] { return pub.subscriberCount() == 0; }));
  int status = -1;
  waitpid(sub, &status, 0);
  EXPECT_EQ(WEXITSTATUS(status), 0);
  pub.notifyChange(1, kx::message());  // nobody left: nothing to send, no failure
}

TEST_F(BusTest, GarbageDropsTheConnectionAndTheServiceGoesOn) {
  kx::Looper me(52);
  const std::vector<std::string> garbage = {
      std::string("\x6b\x00\x00\x00\xff\xff\xff\xff\x01", 9),  // good frame, bad message
      std::string("\x00\x01\x02\x03\x04", 5),                  // bad frame header
      std::string("\x6b", 1),                                  // short frame header
  };
  for (const std::string& g : garbage) {
    int fd = connectRaw(52);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(send(fd, g.data(), g.size(), 0), static_cast<ssize_t>(g.size()));
    testing::internal::CaptureStderr();
    char buf[16];
    EXPECT_EQ(serveUntilReadable(me, fd, buf, sizeof buf), 0) << "connection not closed";
    EXPECT_EQ(kxLines(testing::internal::GetCapturedStderr()), 1);
    close(fd);
  }
  // A well-formed request on a fresh connection is answered.
  int fd = connectRaw(52);
  uint8_t buf[512];
  const ssize_t n = rawGetAnswered(me, fd, 52, buf, sizeof buf);
  ASSERT_GT(n, static_cast<ssize_t>(kx::frame::kHeaderSize));
  kx::message reply;
  ASSERT_TRUE(kx::message::decode(buf + kx::frame::kHeaderSize, n - kx::frame::kHeaderSize, reply));
  EXPECT_EQ(reply.getU32(kx::kRequestId), 1u);
  EXPECT_TRUE(reply.getBool(kx::kReplyFlag));
  EXPECT_EQ(kx::getErrorCode(reply), kx::kErrNoHandler);
  close(fd);
}

TEST_F(BusTest, AListenerOutOfDescriptorsRestsInsteadOfSpinning) {
  kx::Looper me(54);
  int client = connectRaw(54);
  ASSERT_GE(client, 0);
  rlimit saved{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &saved), 0);
  testing::internal::CaptureStderr();
  int lowestFree = dup(0);
  close(lowestFree);
  rlimit tight = saved;
  tight.rlim_cur = lowestFree;  // the next accept fails with EMFILE
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &tight), 0);
  int rounds = 0;
  for (uint64_t end = kx::monotonicNowMs() + 200; kx::monotonicNowMs() < end; ++rounds)
    me.runOnce(20);
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &saved), 0);
  EXPECT_EQ(kxLines(testing::internal::GetCapturedStderr()), 1);
  EXPECT_LT(rounds, 40);
  // After the pause the pending connection is accepted and served.
  uint8_t buf[256];
  EXPECT_GT(rawGetAnswered(me, client, 54, buf, sizeof buf), 0);
  close(client);
}

TEST_F(BusTest, AcceptedConnectionsAreBoundedAndTheIdlestGoesFirst) {
  kx::Looper me(56);
  // The oldest client has half a message in: it is kept all the same.
  const int busy = connectRaw(56);
  const uint8_t partial[] = {kx::frame::kMagic, kx::frame::kMoreFlag, 0, 0, 1, 0, 0, 0};
  ASSERT_EQ(send(busy, partial, sizeof partial, 0), static_cast<ssize_t>(sizeof partial));
  for (int i = 0; i < 3; ++i) me.runOnce(10);  // accepted, then read
  std::vector<int> idle;
  for (size_t i = 0; i < kx::kMaxAcceptedConnections; ++i) idle.push_back(connectRaw(56));
  testing::internal::CaptureStderr();
  uint8_t buf[64];
  // Served until the bound made room: the oldest idle client sees the end.
  EXPECT_EQ(serveUntilReadable(me, idle[0], buf, sizeof buf), 0);
  EXPECT_EQ(kxLines(testing::internal::GetCapturedStderr()), 1);
  EXPECT_EQ(recv(busy, buf, sizeof buf, MSG_DONTWAIT), -1);
  // The newest is served.
  EXPECT_GT(rawGetAnswered(me, idle.back(), 56, buf, sizeof buf), 0);
  for (int fd : idle) close(fd);
  close(busy);
}

}  // namespace
}  // namespace kxtest
