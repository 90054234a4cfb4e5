// The bridge and its forwarding entries (filtered by the served bridge over
// a real bus), and the health readings.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "data/get_first_provider.h"
#include "kx/message.h"
#include "mib_bus.h"
#include "mibs/bridge_records.h"
#include "mibs/health_records.h"

namespace {

using Bytes = std::vector<unsigned char>;

kx::message interface(uint32_t id, uint32_t kind, const Bytes& mac, uint32_t priority) {
  kx::message m;
  m.setU32(kx::kObjId, id);
  m.setU32(0x08010001, kind);
  m.setRaw(0x300003e9, mac);
  m.setU32(0x08000002, priority);
  return m;
}

kx::message host(uint32_t bridge, uint32_t port, const Bytes& mac, bool local) {
  kx::message m;
  m.setU32(0x08000005, bridge);
  m.setU32(0x08000001, port);
  m.setRaw(0x30000002, mac);
  if (local) m.setBool(0x00000004, true);
  return m;
}

class BridgeTest : public MibBusTest {
 protected:
  void SetUp() override {
    MibBusTest::SetUp();
    interfaces = &serve(20, 0);
    provider = std::make_unique<GetFirstProvider>(BridgeData::build,
                                                  std::vector<unsigned>{20, 0});
    bridgeProvider = provider.get();
  }
  void TearDown() override {
    bridgeProvider = nullptr;
    provider.reset();
    MibBusTest::TearDown();
  }
  // Converts the hosts; the test owns the records.
  std::vector<std::unique_ptr<FdbEntryData>> entries(const std::vector<kx::message>& hosts) {
    std::vector<Data*> out;
    for (const kx::message& h : hosts) FdbEntryData::build(h, &out);
    std::vector<std::unique_ptr<FdbEntryData>> owned;
    for (Data* d : out) owned.emplace_back(static_cast<FdbEntryData*>(d));
    return owned;
  }
  FakeService* interfaces = nullptr;
  std::unique_ptr<GetFirstProvider> provider;
};

}  // namespace

TEST(BridgeData, OnlyBridgeInterfacesAreAccepted) {
  const Bytes mac = {0x4c, 0x5e, 0x0c, 0x10, 0x00, 0x05};
  EXPECT_EQ(BridgeData::build(interface(1, 1, mac, 0)), nullptr);
  EXPECT_EQ(BridgeData::build(kx::message()), nullptr);
  std::unique_ptr<BridgeData> b(static_cast<BridgeData*>(BridgeData::build(interface(5, 12, mac,
                                                                                    32768))));
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(b->address, mac);
  EXPECT_EQ(b->priority, 32768);
}

TEST_F(BridgeTest, EntriesOfOtherBridgesAreDroppedAndStatusFollowsTheLocalFlag) {
  interfaces->objects = {interface(1, 1, {1, 2, 3, 4, 5, 6}, 0),
                         interface(5, 12, {0x4c, 0x5e, 0x0c, 0x10, 0x00, 0x05}, 32768),
                         interface(14, 12, {0x4c, 0x5e, 0x0c, 0x10, 0x00, 0x0e}, 36864)};
  auto kept = entries({host(5, 1, {0, 0x1b, 0x21, 0x3a, 0x4f, 0x10}, false),
                       host(14, 9, {2, 0x42, 0xac, 0x11, 0, 2}, false),
                       host(5, 5, {0x4c, 0x5e, 0x0c, 0x10, 0x00, 0x05}, true)});
  ASSERT_EQ(kept.size(), 2u);
  EXPECT_EQ(kept[0]->port, 1);
  EXPECT_EQ(kept[0]->address, (Bytes{0, 0x1b, 0x21, 0x3a, 0x4f, 0x10}));
  EXPECT_EQ(kept[0]->status, FdbEntryData::kLearned);
  EXPECT_EQ(kept[1]->port, 5);
  EXPECT_EQ(kept[1]->status, FdbEntryData::kSelf);
  // One fetch of the interfaces serves every entry while the cache lives.
  EXPECT_EQ(interfaces->withCommand(kx::kCmdGetAll).size(), 1u);
}

TEST_F(BridgeTest, WithoutABridgeEveryEntryIsDropped) {
  interfaces->objects = {interface(1, 1, {1, 2, 3, 4, 5, 6}, 0)};
  EXPECT_TRUE(entries({host(5, 1, {1, 1, 1, 1, 1, 1}, false), host(0, 2, {}, false)}).empty());
  bridgeProvider = nullptr;
  interfaces->objects = {interface(5, 12, {1, 2, 3, 4, 5, 6}, 0)};
  EXPECT_TRUE(entries({host(5, 1, {1, 1, 1, 1, 1, 1}, false)}).empty());
}

namespace {

std::unique_ptr<HealthData> health(const kx::message& msg) {
  return std::unique_ptr<HealthData>(static_cast<HealthData*>(HealthData::build(msg)));
}

kx::message powerSource(uint32_t source) {
  kx::message m;
  m.setU32(0x0800000c, source);
  return m;
}

}  // namespace

TEST(HealthData, PowerSourceTexts) {
  EXPECT_EQ(health(powerSource(1))->powerSource, "main");
  EXPECT_EQ(health(powerSource(0))->powerSource, "aux");
  EXPECT_EQ(health(powerSource(2))->powerSource, "none");
  EXPECT_EQ(health(powerSource(3))->powerSource, "n/a");
  EXPECT_EQ(health(powerSource(42))->powerSource, "n/a");
  EXPECT_EQ(health(kx::message())->powerSource, "n/a");
}

TEST(HealthData, TemperatureInTenthsWithMinusTwoSeventyThreeWhenAbsent) {
  kx::message m;
  m.setU32(0x0800000d, 240);
  m.setU32(0x0800000e, 41);
  auto h = health(m);
  EXPECT_EQ(h->value, 240);
  EXPECT_EQ(h->temperature, 410);

  m.setU32(0x0800000e, static_cast<uint32_t>(-12));
  EXPECT_EQ(health(m)->temperature, -120);

  h = health(kx::message());
  EXPECT_EQ(h->temperature, -2730);
  EXPECT_EQ(h->value, 0);
}
