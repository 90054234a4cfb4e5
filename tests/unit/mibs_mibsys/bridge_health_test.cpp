// Which interfaces make the bridge, and the health readings.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kx/message.h"
#include "mibs/bridge_mib.h"

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

}  // namespace

TEST(BridgeData, OnlyBridgeInterfacesAreAccepted) {
  const Bytes mac = {0x4c, 0x5e, 0x0c, 0x10, 0x00, 0x05};
  EXPECT_EQ(BridgeData::build(interface(1, 1, mac, 0)), nullptr);
  EXPECT_EQ(BridgeData::build(kx::message()), nullptr);
  std::unique_ptr<BridgeData> b(
      static_cast<BridgeData*>(BridgeData::build(interface(5, 12, mac, 32768))));
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(b->address, mac);
  EXPECT_EQ(b->priority, 32768);
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
  const std::pair<uint32_t, const char*> rows[] = {
      {1, "main"}, {0, "aux"}, {2, "none"}, {3, "n/a"}, {42, "n/a"}};
  for (const auto& r : rows)
    EXPECT_EQ(health(powerSource(r.first))->powerSource, r.second) << r.first;
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
