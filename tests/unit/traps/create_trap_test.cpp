// createTrap's framing of each version, and every way sendTrap ends: the
// line it writes and whether a datagram reaches a receiver on loopback.
#include "traps/create_trap.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <regex>
#include <string>

#include "engine/community_list.h"
#include "kx/clock.h"
#include "tests/unit/agent/agent_test_util.h"
#include "traps/enterprise_trap.h"
#include "traps/link_traps.h"
#include "traps/trap_sender.h"

namespace {

using agent_test::StreamCapture;

// The message as nested text: a primitive as "tag:hex", a constructed
// value as "tag{...}", values separated by spaces; "bad" if a length does
// not fit.
std::string berText(const uint8_t* p, size_t n) {
  std::string text;
  char buf[4];
  for (size_t i = 0; i < n;) {
    if (i + 2 > n || p[i + 1] >= 0x80) return "bad";  // short lengths only here
    const unsigned tag = p[i], len = p[i + 1];
    if (i + 2 + len > n) return "bad";
    std::snprintf(buf, sizeof buf, "%02x", tag);
    text += (text.empty() ? "" : " ") + std::string(buf);
    if (tag & 0x20) {
      text += "{" + berText(p + i + 2, len) + "}";
    } else {
      text += ":";
      for (unsigned k = 0; k < len; ++k) {
        std::snprintf(buf, sizeof buf, "%02x", p[i + 2 + k]);
        text += buf;
      }
    }
    i += 2 + len;
  }
  return text;
}

class TrapTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (auto [id, name] : {std::pair<uint32_t, const char*>{0, "harbor"}, {4, "ops"}}) {
      auto* item = new CommunityList::Item;
      item->id = id;
      item->name = name;
      communities.items.push_back(item);
    }
    communityKeep = &communities;
    savedMakers = trapMakers;
    trapMakers = {talvorTrapMaker, linkTrapMaker};
    linkStates.clear();
    settings.enabled = true;
    settings.target = inet_addr("127.0.0.1");
    settings.community = 4;
    settings.version = kTrapVersion2c;
    // 5000 ticks ago: the time stamps below are 5000 and a little.
    settings.startJiffies = kx::getJiffies() - 5000;
  }
  void TearDown() override {
    communityKeep = nullptr;
    trapMakers = savedMakers;
  }

  // The trap createTrap makes, as text; its time stamps must lie within
  // the test's run (5000 ticks and up to a second more).
  std::string trapText(const kx::message& event, uint32_t agentAddress = 0) {
    Context ctx(nullptr, 0);
    EXPECT_NE(createTrap(ctx, event, agentAddress, settings), 0);
    std::string text = berText(ctx.out.bytes().data(), ctx.out.size());
    std::smatch m;
    const std::regex ticks("43:([0-9a-f]+)");
    for (std::string rest = text; std::regex_search(rest, m, ticks); rest = m.suffix()) {
      const unsigned long t = std::stoul(m[1], nullptr, 16);
      EXPECT_TRUE(t >= 5000 && t <= 5100) << t;
    }
    return std::regex_replace(text, ticks, "43:T");
  }

  CommunityList communities;
  std::vector<TrapMaker> savedMakers;
  TrapSettings settings;
};

kx::message enterpriseEvent() {
  kx::message event;
  event.setCommand(kEnterpriseTrapCommand);
  event.setString(kEnterpriseTrapOid, "1.3.6.1.2.1.1.5.0");
  event.setU32(kEnterpriseTrapType, 4);
  event.setString(kEnterpriseTrapValue, "x");
  return event;
}

TEST_F(TrapTest, V2cFramesSysUpTimeAndTheExtendedTrapOidBeforeTheBindings) {
  std::srand(7);
  const int requestId = std::rand();
  std::srand(7);
  char rid[16];
  std::snprintf(rid, sizeof rid, "%08x", requestId);
  std::string id = rid;
  while (id.size() > 2 && id.compare(0, 2, "00") == 0 && id[2] < '8') id.erase(0, 2);
  EXPECT_EQ(trapText(enterpriseEvent()),
            "30{02:01 04:6f7073 a7{02:" + id +
                " 02:00 02:00 30{30{06:2b06010201010300 43:T} "
                "30{06:2b060106030101040100 06:2b0601040181fd590101090001} "
                "30{06:2b06010201010500 04:78}}}}");
}

TEST_F(TrapTest, V1CarriesEnterpriseAgentAddrGenericSpecificAndTimeStamp) {
  settings.version = kTrapVersion1;
  settings.community = 0;
  kx::message down;
  down.setU32Array(kx::kSrcPath, {20, 0});
  down.setU32(kx::kObjId, 7);
  down.setU32(kLinkState, 0x400);
  // linkDown (generic 2) as the enterprise, the given address, no
  // sysUpTime or snmpTrapOID bindings.
  EXPECT_EQ(trapText(down, inet_addr("192.0.2.7")),
            "30{02:00 04:686172626f72 a4{06:2b0601060301010503 40:c0000207 02:02 02:00 43:T "
            "30{30{06:2b0601020102020101 02:07} 30{06:2b0601020102020107 02:02} "
            "30{06:2b0601020102020108 02:01}}}}");
  // The enterprise trap keeps its own OID as enterprise, 6 and 1.
  EXPECT_EQ(trapText(enterpriseEvent()),
            "30{02:00 04:686172626f72 a4{06:2b0601040181fd59010109 40:00000000 02:06 02:01 43:T "
            "30{30{06:2b06010201010500 04:78}}}}");
}

TEST_F(TrapTest, SendTrapWritesOneLineForEveryTrapItDoesNotSend) {
  const int receiver = ::socket(AF_INET, SOCK_DGRAM, 0);
  sockaddr_in at = agent_test::ipv4("127.0.0.1", 0);
  socklen_t len = sizeof at;
  ASSERT_EQ(::bind(receiver, reinterpret_cast<sockaddr*>(&at), sizeof at), 0);
  ::getsockname(receiver, reinterpret_cast<sockaddr*>(&at), &len);
  const TrapSettings good = [&] {
    TrapSettings s = settings;
    s.port = ntohs(at.sin_port);
    return s;
  }();
  kx::message unknown;
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
      {"no community", [](TrapSettings& s) { s.community = kNoTrapCommunity; }, false, "",
       "send_trap: no trap sink specified\n"},
      {"unknown community", [](TrapSettings& s) { s.community = 9; }, false, "",
       "createTrap: bad community\nsend_trap: createTrap failed\n"},
      {"v3", [](TrapSettings& s) { s.version = kTrapVersion3; }, false, "snmp v3 trap\n",
       "createTrap: this agent has no SNMPv3 security module; set trap-version to 1 or 2c\n"
       "send_trap: createTrap failed\n"},
      {"no maker", [](TrapSettings&) {}, true,
       "Could not handle trap, msg dump: {\"0x08ff0007\":7,\"0x08fe0001\":3}\n",
       "send_trap: createTrap failed\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    TrapSettings s = good;
    c.change(s);
    StreamCapture out(1), err(2);
    sendTrap(s, c.unhandled ? unknown : enterpriseEvent());
    EXPECT_EQ(out.text(), c.out);
    EXPECT_EQ(err.text(), c.err);
    pollfd p = {receiver, POLLIN, 0};
    const bool sent = *c.out == '\0' && *c.err == '\0';
    ASSERT_EQ(::poll(&p, 1, sent ? 1000 : 50), sent ? 1 : 0);
    if (sent) {
      uint8_t datagram[512];
      const ssize_t n = ::recv(receiver, datagram, sizeof datagram, 0);
      EXPECT_EQ(berText(datagram, n).rfind("30{02:01 04:6f7073 a7{02:", 0), 0u);
    }
  }
  ::close(receiver);
}

}  // namespace
