// Scalar providers over the real bus, with the cache under a controlled clock.
#include <gtest/gtest.h>

#include <string>

#include "bus_fixture.h"
#include "data/get_first_provider.h"
#include "data/get_provider.h"
#include "engine/data.h"

namespace {

constexpr uint32_t kName = kx::string_id(0x10006);
constexpr uint32_t kMtu = kx::u32_id(0x10002);

struct Settings : Data {
  std::string name;
  uint32_t mtu = 0;
  void reverseBuild(kx::message& msg) override {
    msg.setString(kName, name);
    msg.setU32(kMtu, mtu);
  }
};

Data* toSettings(const kx::message& msg) {
  auto* s = new Settings;
  s->name = msg.getString(kName, "unknown");
  s->mtu = msg.getU32(kMtu, 1500);
  return s;
}

// Accepts only list objects whose value is 4.
Data* fourOnly(const kx::message& msg) {
  if (msg.getU32(kx::u32_id(0x10001)) != 4) return nullptr;
  auto* s = new Settings;
  s->mtu = 4;
  return s;
}

class ProviderTest : public BusTest {
 protected:
  void SetUp() override {
    BusTest::SetUp();
    ListService& s = serve(20);
    service = &s;
    service->record.setString(kName, "edge-1");
  }
  ListService* service = nullptr;
};

Settings* asSettings(Data* d) { return static_cast<Settings*>(d); }

}  // namespace

TEST_F(ProviderTest, ReadsWithinIdleLimitShareOneExchange) {
  GetProvider provider(toSettings, {20}, kx::kCmdGet, kx::kCmdSet);
  ASSERT_NE(provider.get(), nullptr);
  EXPECT_EQ(asSettings(provider.get())->name, "edge-1");
  advance(10);
  provider.get();
  EXPECT_EQ(service->getCalls, 1u);

  advance(30);  // the re-check finds the cache idle for 30 > 25 ticks
  EXPECT_FALSE(provider.cacheValid());
  EXPECT_FALSE(provider.timerArmed());
  provider.get();
  EXPECT_EQ(service->getCalls, 2u);
}

TEST_F(ProviderTest, ContinuousReadsStillRefetchAfterAgeLimit) {
  GetProvider provider(toSettings, {20}, kx::kCmdGet, kx::kCmdSet);
  provider.get();
  for (int t = 10; t < 200; t += 10) {
    advance(10);
    provider.get();
  }
  EXPECT_EQ(service->getCalls, 1u);
  for (int t = 200; t <= 250; t += 10) {
    advance(10);
    provider.get();
  }
  EXPECT_EQ(service->getCalls, 2u);
}

TEST_F(ProviderTest, NewLimitsApplyAtNextCheckAndInvalidateDropsAtOnce) {
  GetProvider provider(toSettings, {20}, kx::kCmdGet, kx::kCmdSet);
  provider.get();
  provider.setTimeouts(100, 1000);
  advance(30);
  provider.get();
  EXPECT_EQ(service->getCalls, 1u);

  provider.invalidateData();
  EXPECT_FALSE(looper_->hasTimer(static_cast<CacheUpdateTimeout*>(&provider),
                                 &CacheUpdateTimeout::invalidateDataTimer));
  provider.get();
  EXPECT_EQ(service->getCalls, 2u);
}

TEST_F(ProviderTest, FailingServiceServesDefaultsAndLogsOncePerRefetch) {
  service->getError = "busy";
  GetProvider provider(toSettings, {20}, kx::kCmdGet, kx::kCmdSet);
  testing::internal::CaptureStderr();
  Data* record = provider.get();
  provider.get();
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "GetProvider::getData error: busy\n");
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(asSettings(record)->name, "unknown");

  advance(30);
  testing::internal::CaptureStderr();
  provider.get();
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "GetProvider::getData error: busy\n");
  EXPECT_EQ(service->getCalls, 2u);
}

TEST_F(ProviderTest, UnreachableServiceStillYieldsDefaultRecord) {
  GetProvider provider(toSettings, {29}, kx::kCmdGet, kx::kCmdSet);
  testing::internal::CaptureStderr();
  Data* record = provider.get();
  std::string log = testing::internal::GetCapturedStderr();
  // The bus may log on its own; exactly one line is ours.
  size_t at = log.find("GetProvider::getData error: ");
  ASSERT_NE(at, std::string::npos) << log;
  EXPECT_TRUE(at == 0 || log[at - 1] == '\n') << log;
  EXPECT_EQ(log.find("GetProvider::getData error: ", at + 1), std::string::npos) << log;
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(asSettings(record)->mtu, 1500u);
}

TEST_F(ProviderTest, SetWritesRecordFieldsBack) {
  GetProvider provider(toSettings, {20}, kx::kCmdGet, kx::kCmdSet);
  Settings* record = asSettings(provider.get());
  record->name = "core-2";
  record->mtu = 9000;
  EXPECT_TRUE(provider.set(record));
  ASSERT_EQ(service->setsSeen.size(), 1u);
  EXPECT_EQ(service->setsSeen[0].command(), kx::kCmdSet);
  EXPECT_EQ(service->setsSeen[0].getString(kName), "core-2");
  EXPECT_EQ(service->setsSeen[0].getU32(kMtu), 9000u);

  service->refuseSet = true;
  record->mtu = 1;
  testing::internal::CaptureStderr();
  EXPECT_FALSE(provider.set(record));
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(asSettings(provider.get())->mtu, 1u) << "the cache keeps what the SET wrote";
}

TEST_F(ProviderTest, GetFirstPagesUntilAnObjectConverts) {
  for (uint32_t i = 1; i <= 5; ++i) service->objects.push_back(listObject(100 + i, i));
  service->pageSize = 2;
  GetFirstProvider provider(fourOnly, {20});
  EXPECT_EQ(provider.getFirstObjId(), 104u);  // reads through the cache first
  EXPECT_EQ(service->startsSeen, (std::vector<uint32_t>{0xffffffff, 1002}));
  ASSERT_NE(provider.get(), nullptr);
  EXPECT_EQ(service->getAllCalls, 2u);
  EXPECT_FALSE(provider.set(provider.get()));

  // Nothing converts after the next refill: null, and the id stays.
  service->objects.erase(service->objects.begin() + 3);
  advance(30);
  EXPECT_EQ(provider.get(), nullptr);
  EXPECT_EQ(service->getAllCalls, 4u);
  EXPECT_EQ(provider.getFirstObjId(), 104u);
}

TEST_F(ProviderTest, GetFirstGivesNullOnErrorAndKeepsInitialId) {
  service->objects.push_back(listObject(7, 4));
  service->failPage = 1;
  GetFirstProvider provider(fourOnly, {20});
  EXPECT_EQ(provider.get(), nullptr);
  EXPECT_EQ(provider.getFirstObjId(), GetFirstProvider::kNoObject);
}
