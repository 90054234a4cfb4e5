#include "agent/snmp_looper.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <memory>
#include <utility>
#include <vector>

#include "agent/community_keep.h"
#include "agent_test_util.h"
#include "kx/store.h"
#include "tests/unit/support/temp_root.h"

namespace {

using agent_test::freePort;

class SnmpLooperTest : public ::testing::Test {
 protected:
  kx::Store settingsStore() const { return kx::Store(snmp::kSettingsStore, 5); }

  // A looper as the daemon starts it, with its service on a free port.
  std::unique_ptr<SnmpLooper> startLooper() {
    auto loop = std::make_unique<SnmpLooper>();
    loop->servicePort = port;
    loop->init();
    return loop;
  }

  kx::message stored() const {
    kx::message m;
    settingsStore().load(snmp::kSettingsObject, m);
    return m;
  }

  test_support::TempRoot root;
  uint16_t port = freePort();
};

TEST_F(SnmpLooperTest, ConstructionCreatesAndRegistersTheCommunityKeeper) {
  auto loop = std::make_unique<SnmpLooper>();
  EXPECT_EQ(snmpLooper, loop.get());
  ASSERT_NE(communityKeep, nullptr);
  EXPECT_EQ(loop->findHandler(34, 1), dynamic_cast<kx::Handler*>(communityKeep));
  EXPECT_EQ(communityKeep->items.size(), 1u);
  EXPECT_EQ(loop->params(), std::vector<unsigned>(13, 0));
  EXPECT_EQ(loop->serviceId(), 34u);

  loop.reset();
  EXPECT_EQ(snmpLooper, nullptr);
  EXPECT_EQ(communityKeep, nullptr);
}

TEST_F(SnmpLooperTest, WithoutStoredSettingsDefaultsStayAndNothingIsWritten) {
  testing::internal::CaptureStdout();
  auto loop = startLooper();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_FALSE(settingsStore().has(snmp::kSettingsObject));

  EXPECT_EQ(loop->engineBoots, 0u);
  EXPECT_EQ(loop->timeWindow, 15u);
  EXPECT_EQ(loop->community, "harbor");
  EXPECT_EQ(loop->trapCommunity, 0xffffffffu);
  EXPECT_FALSE(loop->enabled);
  EXPECT_FALSE(loop->enableSetting);
  EXPECT_EQ(loop->policies(), (std::vector<std::pair<uint32_t, uint32_t>>{{1, 128}, {100, 704}}));

  const kx::message cfg = loop->getObject(1234);
  const std::vector<uint32_t> order = {0x20000004, 0x20000002, 0x20000003, 0x2000000a,
                                       0x0800000e, 0x08000010, 0x08000012, 0x08000011,
                                       0x88000013, 0x0800000d, 0x00000001};
  ASSERT_EQ(cfg.size(), order.size());
  for (size_t i = 0; i < order.size(); ++i) EXPECT_EQ(cfg.keyAt(i), order[i]) << i;
  EXPECT_EQ(cfg.getU32(snmp::kTimeWindow), 15u);
}

TEST_F(SnmpLooperTest, EveryInitBumpsAndPersistsEngineBoots) {
  kx::message seed;
  seed.setU32(snmp::kEngineBoots, 7);
  seed.setString(snmp::kContact, "noc@example.net");
  seed.setU32(snmp::kTrapTarget, 0xC0000201);
  settingsStore().save(snmp::kSettingsObject, seed);

  {
    testing::internal::CaptureStdout();
    auto loop = startLooper();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "engineBoots = 8\n");
    EXPECT_EQ(loop->engineBoots, 8u);
    EXPECT_EQ(loop->contact, "noc@example.net");
    EXPECT_EQ(loop->trapTarget, inet_addr("192.0.2.1"));
    // A stored object without these keys means none, not the defaults.
    EXPECT_EQ(loop->timeWindow, 0u);
    EXPECT_EQ(loop->community, "");
    EXPECT_EQ(loop->trapCommunity, 0xffffffffu);
    EXPECT_EQ(stored(), loop->getConfig());
  }
  auto again = startLooper();
  EXPECT_EQ(again->engineBoots, 9u);
  EXPECT_EQ(stored().getU32(snmp::kEngineBoots), 9u);
  EXPECT_EQ(stored().getU32(snmp::kTrapTarget), 0xC0000201u);

  // A damaged settings object falls back to its previous version, which
  // holds the last count too, whether a start or a set raised it: the
  // count still goes up, and the service comes up as it was.
  kx::message set;
  set.setBool(snmp::kEnabled, true);
  set.setU32(snmp::kEngineBoots, 20);
  again->cmdSet(set);
  again.reset();
  for (uint32_t last : {20u, 21u}) {
    {
      std::fstream f(settingsStore().dir() + "/0", std::ios::in | std::ios::out | std::ios::binary);
      f.seekp(-1, std::ios::end);
      f.put('\xff');
    }
    testing::internal::CaptureStderr();
    auto fallen = startLooper();
    EXPECT_NE(testing::internal::GetCapturedStderr().find("its previous generation is used"),
              std::string::npos);
    EXPECT_EQ(fallen->engineBoots, last + 1);
    EXPECT_TRUE(fallen->enabled);
    EXPECT_EQ(fallen->contact, "noc@example.net");
  }
}

TEST_F(SnmpLooperTest, SetEnabledOnlyOpensTheSocketAndKeepsTheRest) {
  kx::message seed;
  seed.setString(snmp::kLocation, "rack 4");
  seed.setU32(snmp::kTrapCommunity, 3);
  seed.setU32Array(snmp::kTrapGenerators, {0});
  seed.setU32(snmp::kEngineBoots, 1);
  settingsStore().save(snmp::kSettingsObject, seed);
  auto loop = startLooper();
  const kx::message before = stored();
  ASSERT_FALSE(loop->enabled);

  kx::message set;
  set.setBool(snmp::kEnabled, true);
  set.setCommand(kx::kCmdSet);
  EXPECT_FALSE(kx::isError(loop->handle(set)));

  EXPECT_TRUE(loop->enabled);
  kx::message expected = before;
  expected.setBool(snmp::kEnabled, true);
  EXPECT_EQ(stored(), expected);
  EXPECT_EQ(loop->location, "rack 4");

  // Enabling again keeps the same socket; disabling closes it once.  (That
  // the port opens and closes shows in the operator's integration test.)
  const int sock = loop->sock;
  loop->enable();
  EXPECT_EQ(loop->sock, sock);
  set.setBool(snmp::kEnabled, false);
  loop->handle(set);
  EXPECT_FALSE(loop->enabled);
  loop->disable();
  EXPECT_FALSE(loop->enabled);
  EXPECT_FALSE(stored().getBool(snmp::kEnabled, true));
}

TEST_F(SnmpLooperTest, SetAppliesFieldsAndDropsRepeatedGenerators) {
  auto loop = startLooper();
  kx::message set;
  set.setU32Array(kx::kSrcPath, {12, 3});
  set.setString(snmp::kContact, "ops");
  set.setU32(snmp::kTimeWindow, 150);
  set.setU32(snmp::kTrapTarget, 0x0A000002);
  set.setU32(snmp::kTrapVersion, 1);
  // No subscriber is registered here: every id, 0 included, stays listed
  // without one being called.
  set.setU32Array(snmp::kTrapGenerators, {2, 2, 0x0abc0001, 0});
  set.setU32(snmp::kEngineBoots, 41);
  set.setString(snmp::kEngineId, "edge-1");

  testing::internal::CaptureStderr();
  EXPECT_TRUE(loop->cmdSet(set).empty());
  EXPECT_NE(testing::internal::GetCapturedStderr().find("cmd_set from 12\n"), std::string::npos);

  EXPECT_EQ(loop->trapGenerators, (std::vector<uint32_t>{2, 0x0abc0001, 0}));
  EXPECT_EQ(loop->trapTarget, inet_addr("10.0.0.2"));
  EXPECT_EQ(loop->engineBoots, 41u);
  EXPECT_EQ(loop->community, "harbor");

  const kx::message saved = stored();
  EXPECT_EQ(saved, loop->getConfig());
  EXPECT_EQ(saved.getU32Array(snmp::kTrapGenerators), (std::vector<uint32_t>{2, 0x0abc0001, 0}));
  EXPECT_EQ(saved.getU32(snmp::kTrapTarget), 0x0A000002u);
  EXPECT_EQ(saved.getString(snmp::kEngineId), "edge-1");
}

TEST_F(SnmpLooperTest, GetNamesTheSenderOrCallsTheRequestBogonymous) {
  auto loop = startLooper();
  // No source path, an empty one, and a real sender.
  const struct {
    bool hasSource;
    std::vector<uint32_t> source;
    const char* line;
  } cases[] = {{false, {}, "bogonymous cmd_get request\n"},
               {true, {}, "bogonymous cmd_get request\n"},
               {true, {20, 1}, "cmd_get from 20\n"}};
  for (const auto& c : cases) {
    kx::message req;
    if (c.hasSource) req.setU32Array(kx::kSrcPath, c.source);
    testing::internal::CaptureStderr();
    EXPECT_EQ(loop->cmdGet(req), loop->getConfig());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), c.line);
  }
}

TEST_F(SnmpLooperTest, BusyPortLeavesTheServiceDisabledButWanted) {
  // A socket bound without SO_REUSEADDR keeps the port from the agent.
  const int blocker = agent_test::bindUdp(port);
  ASSERT_GE(blocker, 0);

  auto loop = startLooper();
  kx::message set;
  set.setBool(snmp::kEnabled, true);
  testing::internal::CaptureStderr();
  loop->cmdSet(set);
  // The specified line, then the address, the port and the reason.
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "cannot create service connection\nsnmpd: cannot open UDP 0.0.0.0 port " +
                std::to_string(port) +
                ": Address already in use (another program holds it: stop it, or "
                "choose another --port)\n");
  EXPECT_FALSE(loop->enabled);
  EXPECT_TRUE(loop->enableSetting);
  EXPECT_TRUE(stored().getBool(snmp::kEnabled));
  ::close(blocker);
}

}  // namespace
