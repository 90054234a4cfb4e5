// kxctl snmp against a scripted agent: the words become the agent's keys,
// names are looked up in the agent's lists, and bad words send nothing.
#include "tools/snmp_command.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include "tests/unit/tools/fake_bus.h"
#include "tools/snmp_keys.h"

namespace kxctl {
namespace {

using namespace snmp;

uint32_t ip(const char* text) {
  in_addr a;
  inet_pton(AF_INET, text, &a);
  return a.s_addr;
}

kx::message community(uint32_t id, const std::string& name) {
  kx::message c;
  c.setU32(kx::kObjId, id);
  c.setString(kName, name);
  c.setBe32(kAddress, 0);
  c.setBe32(kAddressMask, 0);
  c.setBool(kReadAccess, true);
  c.setBool(kWriteAccess, false);
  c.setU32(kSecurity, 0);
  return c;
}

// A scripted agent: settings at [34], generators by command 100,
// communities at [34, 1].  Records every request in bus.sent.
struct FakeAgent {
  FakeBus bus;
  kx::message settings;
  std::vector<kx::message> communities = {community(0, "harbor"), community(3, "public"),
                                          community(7, "ops")};
  kx::message refuseWith;  // an error reply to give to every change

  FakeAgent() {
    settings.setString(kCommunity, "harbor");
    settings.setString(kContact, "noc@example.net");
    settings.setString(kLocation, "");
    settings.setString(kEngineId, "edge-1");
    settings.setU32(kTimeWindow, 15);
    settings.setBe32(kTrapTarget, ip("192.0.2.1"));
    settings.setU32(kTrapVersion, 1);
    settings.setU32(kTrapCommunity, 3);
    settings.setU32Array(kTrapGenerators, {kStartupGenerator});
    settings.setU32(kEngineBoots, 4);
    settings.setBool(kEnabled, true);
    bus.serve = [this](const kx::message& m) { return answer(m); };
  }

  kx::message answer(const kx::message& m) {
    uint32_t cmd = m.command();
    if (m.dstPath() == kSettingsPath) {
      if (cmd == kx::kCmdGet) return settings;
      if (cmd == kCmdListGenerators) {
        kx::message reply, start, ifs;
        start.setU32(kx::kObjId, kStartupGenerator);
        start.setString(kGeneratorName, "start-trap");
        ifs.setU32(kx::kObjId, 0);
        ifs.setString(kGeneratorName, "interfaces");
        reply.setMessageArray(kx::kObjects, {start, ifs});
        return reply;
      }
    } else if (m.dstPath() == kCommunitiesPath && cmd == kx::kCmdGetAll) {
      kx::message reply;
      reply.setMessageArray(kx::kObjects, communities);
      return reply;
    }
    if (!refuseWith.empty()) return refuseWith;
    kx::message reply;
    if (cmd == kx::kCmdAddObj) reply.setU32(kx::kObjId, 9);
    return reply;
  }

  Outcome run(std::vector<std::string> args) {
    args.insert(args.begin(), "snmp");
    return runKxctl(bus, args);
  }

  // The requests that would change something (not reads).
  std::vector<kx::message> changes() const {
    std::vector<kx::message> out;
    for (const kx::message& m : bus.sent) {
      uint32_t c = m.command();
      if (c != kx::kCmdGet && c != kx::kCmdGetAll && c != kCmdListGenerators) out.push_back(m);
    }
    return out;
  }
};

// Ids are shown by name where the agent knows one, "none" where they are
// off, and as the bare id where nothing matches.
TEST(SnmpShow, NamesLookedUpOffValuesAndUnknownIds) {
  FakeAgent agent;
  Outcome r = agent.run({"show"});
  ASSERT_EQ(r.status, kExitOk) << r.err;
  EXPECT_NE(r.out.find("trap-community   public\n"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("trap-generators  start-trap\n"), std::string::npos) << r.out;

  agent.settings.setU32(kTrapCommunity, kNoCommunity);
  agent.settings.setBe32(kTrapTarget, 0);
  agent.settings.setString(kEngineId, "r1");
  agent.settings.setU32Array(kTrapGenerators, {kStartupGenerator, 0, 5});
  r = agent.run({"show"});
  EXPECT_NE(r.out.find("trap-community   none\n"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("trap-target      none\n"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("trap-generators  start-trap,interfaces,5\n"), std::string::npos) << r.out;
  // The whole engine ID as managers give it (-e): prefix, then the text.
  EXPECT_NE(r.out.find("engine-id-hex    80007ed9047231\n"), std::string::npos) << r.out;
}

// The daemon tests see every setting applied; here what only the bus
// shows: one change request, the address's byte order and names turned
// into the agent's ids.
TEST(SnmpSet, OneChangeWithAddressesAndNamesAsTheAgentStoresThem) {
  FakeAgent agent;
  Outcome r = agent.run({"set", "enabled=no", "trap-target=198.51.100.9", "trap-community=ops",
                         "trap-generators=interfaces,start-trap"});
  ASSERT_EQ(r.status, kExitOk) << r.err;
  std::vector<kx::message> changes = agent.changes();
  ASSERT_EQ(changes.size(), 1u);
  const kx::message& m = changes[0];
  EXPECT_EQ(m.dstPath(), kSettingsPath);
  EXPECT_EQ(m.command(), kx::kCmdSet);
  EXPECT_TRUE(m.has(kEnabled));
  EXPECT_FALSE(m.getBool(kEnabled, true));
  // On the bus the address's first octet is the most significant.
  EXPECT_EQ(m.getU32(kTrapTarget), 0xC6336409u);
  EXPECT_EQ(m.getU32(kTrapCommunity), 7u);
  EXPECT_EQ(m.getU32Array(kTrapGenerators), (std::vector<uint32_t>{0, kStartupGenerator}));
}

TEST(SnmpSet, OffValuesAndIds) {
  FakeAgent agent;
  ASSERT_EQ(agent
                .run({"set", "trap-target=none", "trap-community=none", "trap-generators=none",
                      "trap-version=1"})
                .status,
            kExitOk);
  // Nothing needed looking up: the only request is the change.
  ASSERT_EQ(agent.bus.sent.size(), 1u);
  const kx::message& m = agent.bus.sent[0];
  EXPECT_EQ(m.getU32(kTrapTarget, 1), 0u);
  EXPECT_EQ(m.getU32(kTrapCommunity), kNoCommunity);
  ASSERT_NE(m.findU32Array(kTrapGenerators), nullptr);
  EXPECT_TRUE(m.findU32Array(kTrapGenerators)->empty());
  EXPECT_EQ(m.getU32(kTrapVersion, 9), 0u);

  FakeAgent byId;
  ASSERT_EQ(byId.run({"set", "trap-community=3", "trap-generators=0,0x0abc0001"}).status, kExitOk);
  EXPECT_EQ(byId.changes().at(0).getU32(kTrapCommunity), 3u);
  EXPECT_EQ(byId.changes().at(0).getU32Array(kTrapGenerators),
            (std::vector<uint32_t>{0, kStartupGenerator}));
}

TEST(SnmpSet, BadWordsAreRefusedAndNothingChanges) {
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
      {{"set"}, "nothing to change"},
      {{"set", "enabled=maybe"}, "enabled: unknown answer 'maybe'"},
      {{"set", "colour=red"}, "unknown name 'colour'"},
      {{"set", "engine-boots=3"}, "unknown name 'engine-boots'"},
      {{"set", "contact"}, "'contact' is not a setting"},
      {{"set", "contact=a", "contact=b"}, "'contact' is given twice"},
      {{"set", "time-window=-1"}, "time-window: '-1' is not a number"},
      {{"set", "engine-id=" + std::string(28, 'e')}, "engine-id: at most 27 characters"},
      {{"set", "trap-target=192.0.2"}, "trap-target: '192.0.2' is not an IPv4 address"},
      {{"set", "trap-version=2"}, "trap-version: unknown trap version '2'"},
      {{"set", "trap-community=nobody"}, "no community is named 'nobody'"},
      {{"set", "trap-community=12"}, "no community is named '12'"},
      {{"set", "trap-generators=start-trap,links"},
       "unknown trap generator 'links': the agent has start-trap, interfaces"},
      {{"set", "trap-generators=4"}, "unknown trap generator '4'"},
      {{"set", "enabled=yes", "trap-generators=start-trap,"}, "unknown trap generator ''"},
  };
  for (const auto& [args, message] : cases) {
    FakeAgent agent;
    Outcome r = agent.run(args);
    EXPECT_EQ(r.status, kExitUsage) << args.back();
    EXPECT_NE(r.err.find(message), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("Try 'kxctl snmp set --help'."), std::string::npos) << r.err;
    EXPECT_TRUE(agent.changes().empty()) << args.back();
  }
}

TEST(SnmpCommunity, ListShowsRightsAndSecurity) {
  FakeAgent agent;
  agent.communities[1].setBe32(kAddress, ip("127.0.0.1"));
  agent.communities[1].setBe32(kAddressMask, ip("255.255.255.255"));
  agent.communities[2].setBool(kWriteAccess, true);
  agent.communities[2].setU32(kSecurity, kSecurityAuthPriv);
  agent.communities[2].setU32(kAuthMethod, kAuthSha256);
  agent.communities[2].setU32(kEncryptionProtocol, kPrivAes192);
  agent.communities.push_back(community(8, "monitor"));
  agent.communities[3].setU32(kSecurity, kSecurityAuth);
  agent.communities[3].setU32(kAuthMethod, kAuthMd5);
  Outcome r = agent.run({"community", "list"});
  ASSERT_EQ(r.status, kExitOk) << r.err;
  EXPECT_EQ(r.out,
            "ID  NAME     ADDRESS       READ  WRITE  SECURITY  AUTH    PRIVACY\n"
            "0   harbor   any           yes   no     none      -       -\n"
            "3   public   127.0.0.1/32  yes   no     none      -       -\n"
            "7   ops      any           yes   yes    authpriv  sha256  aes192\n"
            "8   monitor  any           yes   no     auth      md5     -\n");
}

TEST(SnmpCommunity, AddFillsDefaultsAndReportsTheId) {
  FakeAgent agent;
  Outcome r = agent.run({"community", "add", "name=private", "address=127.0.0.1/32", "write=yes"});
  ASSERT_EQ(r.status, kExitOk) << r.err;
  EXPECT_EQ(r.out, "added community 'private' with id 9\n");
  ASSERT_EQ(agent.changes().size(), 1u);
  const kx::message m = agent.changes().at(0);
  EXPECT_EQ(m.command(), kx::kCmdAddObj);
  EXPECT_EQ(m.getU32(kAddress), 0x7f000001u);
  EXPECT_TRUE(m.getBool(kReadAccess));
  EXPECT_EQ(m.getU32(kSecurity, 9), 0u);
  EXPECT_FALSE(m.has(kx::kObjId)) << "the agent chooses the id";

  FakeAgent v3;
  ASSERT_EQ(v3.run({"community", "add", "name=alice", "security=authpriv", "auth=sha512",
                    "priv=aes256", "auth-password=correct horse", "priv-password=battery!"})
                .status,
            kExitOk);
  const kx::message u = v3.changes().at(0);
  EXPECT_EQ(u.getU32(kSecurity), kSecurityAuthPriv);
  EXPECT_EQ(u.getU32(kAuthMethod), kAuthSha512);
  EXPECT_EQ(u.getU32(kEncryptionProtocol), kPrivAes256);
  EXPECT_EQ(u.getString(kAuthPassword), "correct horse");
  EXPECT_EQ(u.getString(kEncryptionPassword), "battery!");
}

TEST(SnmpCommunity, ShortPasswordsAndBadWordsAreRefused) {
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
      {{"community", "add", "read=yes"}, "a new community needs name="},
      {{"community", "add", "name="}, "a community needs a name"},
      {{"community", "add", "name=a", "address=10.0.0.0/40"}, "bad address '10.0.0.0/40'"},
      {{"community", "add", "name=a", "security=auth"}, "auth-password of at least 8"},
      {{"community", "add", "name=a", "security=auth", "auth-password=1234567"},
       "auth-password of at least 8"},
      {{"community", "add", "name=a", "security=authpriv", "auth-password=12345678"},
       "priv-password of at least 8"},
      {{"community", "add", "name=a", "auth=sha3"}, "auth: unknown auth method"},
      {{"community", "add", "name=a", "priv=aes512"}, "priv: unknown privacy protocol"},
      {{"community", "add", "name=a", "rights=rw"}, "unknown name 'rights'"},
      // The community's own password counts; a new one that is too short
      // does not pass because of it.
      {{"community", "set", "ops", "security=auth"}, "auth-password of at least 8"},
      {{"community", "set", "ops", "write=perhaps"}, "write: unknown answer"},
      {{"community", "set", "nobody", "write=yes"}, "no community is named 'nobody'"},
      {{"community", "set", "ops"}, "give the community's name or id"},
      {{"community", "remove", "99"}, "no community is named '99' or has that id"},
      {{"community", "remove"}, "which community?"},
      {{"community", "rename", "ops"}, "unknown community subcommand 'rename'"},
      {{"frobnicate"}, "unknown subcommand 'frobnicate'"},
  };
  for (const auto& [args, message] : cases) {
    FakeAgent agent;
    Outcome r = agent.run(args);
    EXPECT_EQ(r.status, kExitUsage) << message;
    EXPECT_NE(r.err.find(message), std::string::npos) << r.err;
    EXPECT_TRUE(agent.changes().empty()) << message;
  }
}

TEST(SnmpCommunity, SetAndRemoveByNameOrId) {
  FakeAgent agent;
  agent.communities[2].setString(kAuthPassword, "long enough");
  Outcome r = agent.run({"community", "set", "ops", "security=auth", "address=any"});
  ASSERT_EQ(r.status, kExitOk) << r.err;
  const kx::message set = agent.changes().at(0);
  EXPECT_EQ(set.command(), kx::kCmdSetObj);
  EXPECT_EQ(set.getU32(kx::kObjId), 7u);
  EXPECT_EQ(set.getU32(kSecurity), kSecurityAuth);
  EXPECT_EQ(set.getU32(kAddressMask, 1), 0u);
  // Only what was named changes.
  EXPECT_FALSE(set.has(kReadAccess));
  EXPECT_FALSE(set.has(kAuthPassword));

  // A malformed word is refused before the list is even read.
  FakeAgent untouched;
  EXPECT_EQ(untouched.run({"community", "set", "ops", "address=10.1"}).status, kExitUsage);
  EXPECT_TRUE(untouched.bus.sent.empty());

  // A community named like another's id is found by its name first.
  FakeAgent numbered;
  numbered.communities.push_back(community(11, "3"));
  ASSERT_EQ(numbered.run({"community", "remove", "3"}).status, kExitOk);
  EXPECT_EQ(numbered.changes().at(0).command(), kx::kCmdRemoveObj);
  EXPECT_EQ(numbered.changes().at(0).getU32(kx::kObjId), 11u);
  ASSERT_EQ(numbered.run({"community", "remove", "7"}).status, kExitOk);
  EXPECT_EQ(numbered.changes().at(1).getU32(kx::kObjId), 7u);
}

TEST(SnmpTraps, SendTrapRequests) {
  FakeAgent agent;
  ASSERT_EQ(agent.run({"send-trap"}).status, kExitOk);
  ASSERT_EQ(agent.run({"send-trap", "oid=1.3.6.1.2.1.1.5.0", "type=string", "value=x"}).status,
            kExitOk);
  ASSERT_EQ(agent.run({"send-trap", "oid=1.3.6.1.2.1.1.5.0", "type=null"}).status, kExitOk);
  std::vector<kx::message> traps = agent.changes();
  ASSERT_EQ(traps.size(), 3u);
  for (const kx::message& t : traps) {
    EXPECT_EQ(t.dstPath(), kSettingsPath);
    EXPECT_EQ(t.command(), kCmdSendTrap);
  }
  EXPECT_FALSE(traps[0].has(kTrapOid));
  EXPECT_EQ(traps[1].getString(kTrapOid), "1.3.6.1.2.1.1.5.0");
  EXPECT_EQ(traps[1].getU32(kTrapType), 4u);
  EXPECT_EQ(traps[1].getString(kTrapValue), "x");
  EXPECT_EQ(traps[2].getU32(kTrapType), 5u);
  EXPECT_FALSE(traps[2].has(kTrapValue));

  for (const std::vector<std::string>& bad :
       {std::vector<std::string>{"send-trap", "oid=1.3.6"},
        {"send-trap", "type=integer", "value=1"},
        {"send-trap", "value=1"},
        {"send-trap", "oid=1.3.6", "type=integer"},
        {"send-trap", "oid=1.3.x", "type=null"},
        {"send-trap", "oid=1.3.6", "type=float", "value=1"}}) {
    FakeAgent fresh;
    EXPECT_EQ(fresh.run(bad).status, kExitUsage) << bad.back();
    EXPECT_TRUE(fresh.bus.sent.empty());
  }
}

}  // namespace
}  // namespace kxctl
