// The walker against a scripted agent in a child process: what it counts,
// where a walk ends, what makes it fail, and a lost request sent again.
#include "bench/walk/subtree_walker.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "bench/load/peer_process.h"
#include "bench/load/snmp_wire.h"

namespace bench {
namespace {

constexpr const char kIfTable[] = "1.3.6.1.2.1.2.2";

// How the scripted agent behaves.
struct Script {
  std::vector<Arcs> names;     // what it serves, ascending
  int32_t endStatus = 2;       // status of the answer past the last name
  bool endOfMibView = false;   // or that exception value instead
  bool dropFirst = false;      // ignore the very first request
  bool repeatFirst = false;    // answer every request with names[0]
  int32_t statusOnSecond = 0;  // error status of the second answer
};

// A response with one binding; lengths stay below 128 in these tests.
std::vector<uint8_t> response(uint32_t id, const std::vector<uint8_t>& name, int32_t status,
                              uint8_t valueTag) {
  std::vector<uint8_t> binding = {0x06, static_cast<uint8_t>(name.size())};
  binding.insert(binding.end(), name.begin(), name.end());
  binding.insert(binding.end(), {valueTag, 0});
  std::vector<uint8_t> pdu = {0x02,
                              4,
                              static_cast<uint8_t>(id >> 24),
                              static_cast<uint8_t>(id >> 16),
                              static_cast<uint8_t>(id >> 8),
                              static_cast<uint8_t>(id),
                              0x02,
                              1,
                              static_cast<uint8_t>(status),
                              0x02,
                              1,
                              0,
                              0x30,
                              static_cast<uint8_t>(binding.size() + 2),
                              0x30,
                              static_cast<uint8_t>(binding.size())};
  pdu.insert(pdu.end(), binding.begin(), binding.end());
  std::vector<uint8_t> msg = {0x02, 1,   1,         0x04,
                              1,    'c', kResponse, static_cast<uint8_t>(pdu.size())};
  msg.insert(msg.end(), pdu.begin(), pdu.end());
  msg.insert(msg.begin(), {0x30, static_cast<uint8_t>(msg.size())});
  return msg;
}

void serve(int fd, const Script& script) {
  std::vector<uint8_t> buf(2048);
  for (int n = 0;; ++n) {
    sockaddr_in from{};
    socklen_t len = sizeof from;
    const ssize_t got =
        ::recvfrom(fd, buf.data(), buf.size(), 0, reinterpret_cast<sockaddr*>(&from), &len);
    Reply req;
    Arcs asked;
    if (got < 0 || !readReply(buf.data(), static_cast<size_t>(got), &req) ||
        !decodeOid(req.oid, req.oidLen, &asked)) {
      continue;
    }
    if (n == 0 && script.dropFirst) continue;
    auto next = std::upper_bound(script.names.begin(), script.names.end(), asked);
    if (script.repeatFirst) next = script.names.begin();
    std::vector<uint8_t> name = {req.oid, req.oid + req.oidLen};
    int32_t status = n == 1 ? script.statusOnSecond : 0;
    uint8_t tag = kOctetString;
    if (next == script.names.end()) {
      if (script.endOfMibView) {
        tag = 0x82;
      } else {
        status = script.endStatus;
      }
    } else {
      encodeOid(*next, &name);
    }
    const std::vector<uint8_t> out = response(req.requestId, name, status, tag);
    ::sendto(fd, out.data(), out.size(), 0, reinterpret_cast<sockaddr*>(&from), len);
  }
}

class SubtreeWalker : public ::testing::Test {
 protected:
  // Starts the scripted agent; returns its port.
  uint16_t start(const Script& script) {
    const int fd = ::socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof a;
    EXPECT_EQ(::bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a), 0);
    EXPECT_EQ(::getsockname(fd, reinterpret_cast<sockaddr*>(&a), &len), 0);
    EXPECT_TRUE(agent_.startFunction([fd, script] { serve(fd, script); }, "scripted agent"));
    ::close(fd);
    return ntohs(a.sin_port);
  }

  static Arcs arcs(const std::string& text) {
    Arcs out;
    EXPECT_TRUE(parseOid(text, &out)) << text;
    return out;
  }

  // Two columns of three rows under ifEntry, with names before and after
  // the table that the walk must leave alone.
  static Script table() {
    Script s;
    s.names.push_back(arcs("1.3.6.1.2.1.2.1.0"));
    for (int column = 1; column <= 2; ++column)
      for (int row = 1; row <= 3; ++row)
        s.names.push_back(
            arcs("1.3.6.1.2.1.2.2.1." + std::to_string(column) + "." + std::to_string(row * 10)));
    s.names.push_back(arcs("1.3.6.1.2.1.2.3.0"));
    return s;
  }

  ChildProcess agent_;
};

TEST_F(SubtreeWalker, CountsTheBindingsAndRowsOfTheSubtreeOnly) {
  const uint16_t port = start(table());
  WalkResult r;
  ASSERT_TRUE(walkSubtree(port, "c", kIfTable, nullptr, &r)) << r.error;
  EXPECT_EQ(r.bindings, 6u);
  EXPECT_EQ(r.rows, 3u);
  EXPECT_EQ(r.resent, 0u);
  EXPECT_GT(r.seconds, 0);
}

TEST_F(SubtreeWalker, AMissOrEndOfMibViewEndsTheWalkInsideTheSubtree) {
  for (bool endOfMibView : {false, true}) {
    Script s = table();
    s.names.pop_back();  // the table is the last thing served
    s.endOfMibView = endOfMibView;
    agent_.stop();
    const uint16_t port = start(s);
    WalkResult r;
    ASSERT_TRUE(walkSubtree(port, "c", kIfTable, nullptr, &r)) << r.error;
    EXPECT_EQ(r.bindings, 6u) << endOfMibView;
  }
}

TEST_F(SubtreeWalker, ANameThatDoesNotIncreaseOrAnErrorStatusFailsTheWalk) {
  Script loop = table();
  loop.names.erase(loop.names.begin());  // the first name is inside the table
  loop.repeatFirst = true;
  uint16_t port = start(loop);
  WalkResult r;
  EXPECT_FALSE(walkSubtree(port, "c", kIfTable, nullptr, &r));
  EXPECT_NE(r.error.find("does not increase"), std::string::npos) << r.error;
  EXPECT_EQ(r.bindings, 1u);

  agent_.stop();
  Script genErr = table();
  genErr.statusOnSecond = 5;
  port = start(genErr);
  EXPECT_FALSE(walkSubtree(port, "c", kIfTable, nullptr, &r));
  EXPECT_NE(r.error.find("error status 5"), std::string::npos) << r.error;
}

TEST_F(SubtreeWalker, ALostRequestIsSentAgainAndAStopEndsTheWalk) {
  Script s = table();
  s.dropFirst = true;
  const uint16_t port = start(s);
  WalkResult r;
  ASSERT_TRUE(walkSubtree(port, "c", kIfTable, nullptr, &r)) << r.error;
  EXPECT_EQ(r.resent, 1u);
  EXPECT_EQ(r.bindings, 6u);

  const volatile int stop = 1;
  EXPECT_FALSE(walkSubtree(port, "c", kIfTable, &stop, &r));
  EXPECT_EQ(r.error, "interrupted");
  EXPECT_EQ(r.bindings, 0u);
}

}  // namespace
}  // namespace bench
