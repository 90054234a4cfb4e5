// kxctl snmp --offline on the agent's stores: the agent's defaults and
// refusals, what is written for it to start with, and the refusal to write
// beside a running agent; without --offline and no agent, what kxctl says.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "kx/store.h"
#include "tests/unit/tools/fake_bus.h"
#include "tools/snmp_keys.h"

namespace kxctl {
namespace {

using namespace snmp;

class SnmpOffline : public ::testing::Test {
 protected:
  void SetUp() override {
    char tmpl[] = "/tmp/kxctl_offline_XXXXXX";
    ASSERT_NE(::mkdtemp(tmpl), nullptr);
    root = tmpl;
  }
  void TearDown() override { std::filesystem::remove_all(root); }

  Outcome run(std::vector<std::string> args) {
    args.insert(args.begin(), {"--root", root, "snmp"});
    return runKxctl(bus, args);
  }

  std::string root;
  FakeBus bus;  // offline commands must never reach it
};

TEST_F(SnmpOffline, CommandsWorkOnTheStoresAsTheAgentWould) {
  struct Step {
    std::vector<std::string> args;
    int status;
    std::string shows;  // in the output (standard output, then error)
  };
  const Step steps[] = {
      // A first start's defaults, before anything is stored.
      {{"show", "--offline"}, kExitOk, "time-window      15\n"},
      {{"community", "list", "--offline"}, kExitOk, "0   harbor  any      yes   no"},
      {{"set", "--offline", "enabled=yes", "contact=noc",
        "trap-generators=start-trap,interfaces,1"},
       kExitOk,
       ""},
      {{"community", "add", "--offline", "name=ops", "write=yes"},
       kExitOk,
       "added community 'ops' with id 1\n"},
      {{"community", "add", "--offline", "name=ops"},
       kExitError,
       "error 0xfe0006: community with such name already exists\n"},
      {{"community", "set", "--offline", "ops", "name=harbor"},
       kExitError,
       "community with such name already exists"},
      {{"set", "--offline", "trap-community=ops"}, kExitOk, ""},
      {{"community", "remove", "--offline", "harbor"}, kExitOk, ""},
      {{"show", "--offline"}, kExitOk, "trap-community   ops\n"},
      {{"generators", "--offline"}, kExitUsage, "needs the running agent"},
  };
  for (const Step& step : steps) {
    const Outcome r = run(step.args);
    EXPECT_EQ(r.status, step.status) << step.args[0] << "\n" << r.out << r.err;
    EXPECT_NE((r.out + r.err).find(step.shows), std::string::npos) << r.out << r.err;
  }
  EXPECT_EQ(bus.made, 0);

  // Every setting is written, so the agent leaves none to its own default.
  kx::message settings;
  ASSERT_TRUE(kx::Store("/sarn/store/snmpd", 5).load(0, settings));
  EXPECT_TRUE(settings.getBool(kEnabled));
  EXPECT_EQ(settings.getString(kCommunity), "harbor");
  EXPECT_EQ(settings.getU32(kTimeWindow), 15u);
  EXPECT_EQ(settings.getU32(kTrapCommunity), 1u);
  EXPECT_EQ(settings.getU32Array(kTrapGenerators),
            (std::vector<uint32_t>{kStartupGenerator, kInterfacesGenerator, 1}));
  // The first change wrote "harbor" too; its removal took it out again.
  const auto communities = kx::Store("/sarn/store/snmp-communities", 5).loadAll();
  ASSERT_EQ(communities.size(), 1u);
  EXPECT_EQ(communities[0].second.getString(kName), "ops");
  EXPECT_TRUE(communities[0].second.getBool(kWriteAccess));
}

}  // namespace
}  // namespace kxctl
