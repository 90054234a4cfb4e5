// Every way sendTrap ends: the lines it writes and whether a datagram
// reaches a receiver on loopback.  (snmptrapd decodes what it sends in the
// integration test.)
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>

#include "engine/community_list.h"
#include "kx/snmp_keys.h"
#include "tests/unit/agent/agent_test_util.h"
#include "traps/create_trap.h"
#include "traps/trap_sources.h"

namespace {

TEST(SendTrap, WritesOneLineForEveryTrapItDoesNotSend) {
  CommunityList communities;
  communities.items.push_back(new CommunityList::Item);
  communities.items[0]->id = 4;
  communities.items[0]->name = "ops";
  communities.items.push_back(new CommunityList::Item);  // v3, a protocol we lack
  communities.items[1]->id = 5;
  communities.items[1]->name = "oddpriv";
  communities.items[1]->security = 2;
  communities.items[1]->encryptionProtocol = 9;
  communityKeep = &communities;
  trapMakers = {talvorTrapMaker};

  const int receiver = ::socket(AF_INET, SOCK_DGRAM, 0);
  sockaddr_in at = agent_test::ipv4("127.0.0.1", 0);
  socklen_t len = sizeof at;
  ASSERT_EQ(::bind(receiver, reinterpret_cast<sockaddr*>(&at), sizeof at), 0);
  ::getsockname(receiver, reinterpret_cast<sockaddr*>(&at), &len);
  TrapSettings good;
  good.enabled = true;
  good.target = at.sin_addr.s_addr;
  good.port = ntohs(at.sin_port);
  good.community = 4;
  good.version = snmp::kTrapV2c;
  kx::message request, unknown;
  request.setCommand(snmp::kCmdSendTrap);
  unknown.setCommand(7);
  unknown.setU32(kx::kObjId, 3);

  const struct {
    const char* what;
    void (*change)(TrapSettings&);
    bool unhandled;
    const char* out;
    const char* err;
  } cases[] = {
      {"sent", [](TrapSettings&) {}, false, "", ""},
      {"disabled", [](TrapSettings& s) { s.enabled = false; }, false, "",
       "send_trap: snmp disabled\n"},
      {"no target", [](TrapSettings& s) { s.target = 0; }, false, "",
       "send_trap: no trap sink specified\n"},
      {"no community", [](TrapSettings& s) { s.community = snmp::kNoCommunity; }, false, "",
       "send_trap: no trap sink specified\n"},
      {"unknown community", [](TrapSettings& s) { s.community = 9; }, false, "",
       "createTrap: bad community\nsend_trap: createTrap failed\n"},
      {"v3, unknown protocol",
       [](TrapSettings& s) {
         s.version = snmp::kTrapV3;
         s.community = 5;
       },
       false, "snmp v3 trap\n",
       "createTrap: trap user 'oddpriv' has unknown privacy protocol 9; set priv= with "
       "kxctl snmp community set\nsend_trap: createTrap failed\n"},
      {"no maker", [](TrapSettings&) {}, true,
       "Could not handle trap, msg dump: {\"0x08ff0007\":7,\"0x08fe0001\":3}\n",
       "send_trap: createTrap failed\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    TrapSettings s = good;
    c.change(s);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    sendTrap(s, c.unhandled ? unknown : request);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), c.out);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), c.err);
    pollfd p = {receiver, POLLIN, 0};
    const bool sent = *c.out == '\0' && *c.err == '\0';
    ASSERT_EQ(::poll(&p, 1, sent ? 1000 : 50), sent ? 1 : 0);
    if (sent) {  // v2c, as "ops"
      uint8_t datagram[512];
      ASSERT_GT(::recv(receiver, datagram, sizeof datagram, 0), 9);
      EXPECT_EQ(std::string(datagram + 2, datagram + 10),
                std::string("\x02\x01\x01\x04\x03ops", 8));
    }
  }
  ::close(receiver);
  communityKeep = nullptr;
  trapMakers.clear();
}

}  // namespace
