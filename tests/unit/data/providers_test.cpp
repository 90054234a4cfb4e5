// Scalar providers over the real bus, the cache under a controlled clock.
#include "data/providers.h"

#include <gtest/gtest.h>

#include <string>

#include "engine/data.h"
#include "tests/unit/data/agent_bus.h"

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

// The module's defaults fill in what the message lacks.
Data* toSettings(const kx::message& msg) {
  auto* s = new Settings;
  s->name = msg.getString(kName, "unknown");
  s->mtu = msg.getU32(kMtu, 1500);
  return s;
}

// Accepts only list objects whose value is 4.
Data* fourOnly(const kx::message& msg) {
  return msg.getU32(kx::u32_id(0x10001)) == 4 ? new Settings : nullptr;
}

Settings* settings(Data* d) { return static_cast<Settings*>(d); }

class ProviderTest : public AgentBusTest {
 protected:
  void SetUp() override {
    AgentBusTest::SetUp();
    service = &serve(20);
    service->record.setString(kName, "edge-1");
  }
  ListService* service = nullptr;
  GetProvider provider{toSettings, {20}, kx::kCmdGet, kx::kCmdSet};
};

}  // namespace

TEST_F(ProviderTest, NewLimitsApplyAtNextCheckAndInvalidateDropsAtOnce) {
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
  for (int refetch = 0; refetch < 2; ++refetch) {
    testing::internal::CaptureStderr();
    Data* record = provider.get();
    provider.get();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "GetProvider::getData error: busy\n");
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(settings(record)->name, "unknown");
    advance(30);
  }
  EXPECT_EQ(service->getCalls, 2u);

  GetProvider nowhere(toSettings, {29}, kx::kCmdGet, kx::kCmdSet);
  testing::internal::CaptureStderr();
  ASSERT_NE(nowhere.get(), nullptr);
  EXPECT_EQ(settings(nowhere.get())->mtu, 1500u);
  std::string log = testing::internal::GetCapturedStderr();  // the bus may log too
  EXPECT_NE(log.find("GetProvider::getData error: "), std::string::npos) << log;
}

TEST_F(ProviderTest, SetWritesRecordFieldsBack) {
  Settings* record = settings(provider.get());
  record->mtu = 9000;
  EXPECT_TRUE(provider.set(record));
  ASSERT_EQ(service->sets.size(), 1u);
  EXPECT_EQ(service->sets[0].command(), kx::kCmdSet);
  EXPECT_EQ(service->sets[0].getString(kName), "edge-1");
  EXPECT_EQ(service->sets[0].getU32(kMtu), 9000u);

  service->refuseSet = true;
  record->mtu = 1;
  testing::internal::CaptureStderr();
  EXPECT_FALSE(provider.set(record));
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(settings(provider.get())->mtu, 1u) << "the cache keeps what the SET wrote";
}

TEST_F(ProviderTest, GetFirstPagesUntilAnObjectConverts) {
  for (uint32_t i = 1; i <= 5; ++i) service->objects.push_back(listObject(100 + i, i));
  service->pageSize = 2;
  GetFirstProvider first(fourOnly, {20});
  EXPECT_EQ(first.getFirstObjId(), 104u);  // reads through the cache
  ASSERT_NE(first.get(), nullptr);
  EXPECT_EQ(service->starts, (std::vector<uint32_t>{0xffffffff, 1002}));
  EXPECT_FALSE(first.set(first.get()));

  // Nothing converts at the next refill: null, and the id stays.
  service->objects.erase(service->objects.begin() + 3);
  advance(30);
  EXPECT_EQ(first.get(), nullptr);
  EXPECT_EQ(service->starts.size(), 4u);
  EXPECT_EQ(first.getFirstObjId(), 104u);

  GetFirstProvider failing(fourOnly, {20});
  service->failPage = 1;
  EXPECT_EQ(failing.get(), nullptr);
  EXPECT_EQ(failing.getFirstObjId(), GetFirstProvider::kNoObject);
}
