// The health readings beyond what the example router shows: every power
// source, a negative temperature.  (Which interface makes the bridge, and
// an absent health record, show in the walks of the integration test.)
#include <gtest/gtest.h>

#include <memory>
#include <utility>

#include "kx/message.h"
#include "mibs/bridge_mib.h"

namespace {

std::unique_ptr<HealthData> health(uint32_t key, uint32_t value) {
  kx::message m;
  m.setU32(key, value);
  return std::unique_ptr<HealthData>(static_cast<HealthData*>(HealthData::build(m)));
}

TEST(HealthData, PowerSourceTextsAndTemperatureInTenths) {
  const std::pair<uint32_t, const char*> sources[] = {
      {1, "main"}, {0, "aux"}, {2, "none"}, {3, "n/a"}, {42, "n/a"}};
  for (const auto& [source, text] : sources)
    EXPECT_EQ(health(0x0800000c, source)->powerSource, text) << source;
  EXPECT_EQ(health(0x0800000e, static_cast<uint32_t>(-12))->temperature, -120);
  EXPECT_EQ(health(0x0800000d, 240)->temperature, -2730);
}

}  // namespace
