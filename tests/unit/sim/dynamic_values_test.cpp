// Values that follow time: counters, clocks, and what a set does to them.
#include <gtest/gtest.h>

#include "fake_clock.h"
#include "sim/object_template.h"

namespace sim {
namespace {

constexpr uint32_t kU32 = 0x08000001;
constexpr uint32_t kU64 = 0x10000002;

ObjectTemplate tmpl(const char* text) { return parseObject(nlohmann::json::parse(text), {}); }

TEST(DynamicValues, CountersGrowWithElapsedTimeAndU32sWrap) {
  FakeClock clock;
  ObjectTemplate t = tmpl(R"({"0x08000001": {"base": 100, "rate": 10},
                              "0x10000002": {"base": 5000000000, "rate": 125000},
                              "0x08000003": {"base": 10, "rate": 0.5},
                              "0x08000004": {"base": 1000, "rate": -3},
                              "0x08000005": {"base": 4294967290, "rate": 1000},
                              "0x10000006": {"base": 4294967290, "rate": 1000}})");
  EXPECT_EQ(t.evaluate(clock).getU32(kU32), 100u);
  clock.elapsed = 2500;
  kx::message m = t.evaluate(clock);
  EXPECT_EQ(m.getU32(kU32), 125u);
  EXPECT_EQ(m.getU64(kU64), 5000312500ull);
  EXPECT_EQ(m.getU32(0x08000003), 11u);  // half a unit per second, whole units only
  EXPECT_EQ(m.getU32(0x08000004), 993u);
  EXPECT_EQ(m.getU32(0x08000005), 2494u);          // a u32 wraps,
  EXPECT_EQ(m.getU64(0x10000006), 4294969790ull);  // a u64 grows on
  // A fast counter running for a year does not overflow on the way.
  clock.elapsed = 365ull * 24 * 3600 * 1000;
  ObjectTemplate fast = tmpl(R"({"0x10000002": {"rate": 1000000000000}})");
  EXPECT_EQ(fast.evaluate(clock).getU64(kU64), 365ull * 24 * 3600 * 1000000000000ull);
  ObjectTemplate clocks = tmpl(R"({"0x08000001": {"clock": "uptime"},
                                   "0x10000002": {"clock": "epoch"}})");
  clock.up = 12345;
  clock.now = 1700000000;
  EXPECT_EQ(clocks.evaluate(clock).getU32(kU32), 12345u);
  EXPECT_EQ(clocks.evaluate(clock).getU64(kU64), 1700000000u);
}

TEST(DynamicValues, NestedValuesFollowTimeAndMergedFieldsStop) {
  FakeClock clock;
  ObjectTemplate t = tmpl(R"({"0x08000001": {"rate": 10}, "0x08000005": {"rate": 10},
                              "0x28000002": {"0x08000003": {"rate": 1}},
                              "0x28000006": {"0x08000002": {"rate": 2}, "0x20000003": "x"}})");
  kx::message set;
  set.setU32(kU32, 7);
  kx::message inner;
  inner.setU32(0x08000004, 1);
  set.setMessage(0x28000002, inner);
  t.merge(set);
  clock.elapsed = 10000;
  kx::message m = t.evaluate(clock);
  EXPECT_EQ(m.getU32(kU32), 7u);
  EXPECT_EQ(m.getU32(0x08000005), 100u);  // untouched: still counting
  EXPECT_EQ(m.getMessage(0x28000002), inner);
  EXPECT_EQ(m.getMessage(0x28000006).getU32(0x08000002), 20u);  // not merged: still counting
  EXPECT_EQ(m.getMessage(0x28000006).getString(0x20000003), "x");
  EXPECT_TRUE(t.hasDynamic());
}

}  // namespace
}  // namespace sim
