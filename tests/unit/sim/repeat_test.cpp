// The repeat form: row numbers in strings, sequences of numbers, addresses
// and hardware addresses (wrapping at their width).
#include <gtest/gtest.h>

#include "fake_clock.h"
#include "sim/object_template.h"
#include "sim/scenario.h"

namespace sim {
namespace {

TEST(Repeat, RowsSubstituteRowNumberAndSequences) {
  auto rows = expandRepeat(nlohmann::json::parse(R"({"count": 3, "from": 7, "template": {
      "0x08fe0001": {"seq": 100, "step": 10}, "0x20000001": "ether${i}-${i}",
      "0x08000002": {"seq": "10.0.0.255"}, "0x30000003": {"seq": "02:00:00:00:00:ff"},
      "0xa0000004": ["a${i}"], "0x08000005": 4,
      "0x08000006": {"base": {"seq": 10}, "rate": 1},
      "0x08000007": {"seq": "255.255.255.254"}, "0x30000008": {"seq": "ff:fe"}}})"),
                           {});
  ASSERT_EQ(rows.size(), 3u);
  FakeClock clock;
  clock.elapsed = 2000;
  kx::message first = rows[0].evaluate(clock);
  kx::message second = rows[1].evaluate(clock);
  kx::message third = rows[2].evaluate(clock);
  EXPECT_EQ(first.getU32(kx::kObjId), 100u);
  EXPECT_EQ(third.getU32(kx::kObjId), 120u);
  EXPECT_EQ(first.getString(0x20000001), "ether7-7");
  EXPECT_EQ(third.getString(0x20000001), "ether9-9");
  EXPECT_EQ(second.getU32(0x08000002), 0x0A000100u);  // carries into the next octet
  EXPECT_EQ(second.getRaw(0x30000003), (kx::message::raw{2, 0, 0, 0, 1, 0}));
  EXPECT_EQ(third.getStringArray(0xa0000004), std::vector<std::string>{"a9"});
  EXPECT_EQ(third.getU32(0x08000005), 4u);
  EXPECT_EQ(third.getU32(0x08000006), 14u);  // per-row base, shared rate
  // Sequences wrap at their width instead of growing a byte.
  EXPECT_EQ(third.getU32(0x08000007), 0u);
  EXPECT_EQ(third.getRaw(0x30000008), (kx::message::raw{0, 0}));
}

TEST(Repeat, Errors) {
  JsonPath at = JsonPath().key("list").index(0).key("repeat");
  auto error = [&](const char* text) {
    try {
      expandRepeat(nlohmann::json::parse(text), at);
    } catch (const ScenarioError& e) {
      return std::string(e.what());
    }
    return std::string("no error");
  };
  EXPECT_EQ(error(R"({"template": {}})"), "list[0].repeat: count is missing");
  EXPECT_EQ(error(R"({"count": 1})"), "list[0].repeat: template is missing");
  EXPECT_EQ(error(R"({"count": 100001, "template": {}})"),
            "list[0].repeat.count: expected a count from 0 to 100000");
  EXPECT_EQ(error(R"({"count": 1, "template": {}, "each": 1})"),
            "list[0].repeat.each: unknown field (count, from and template)");
  EXPECT_EQ(error(R"({"count": 1, "template": {"0x08000001": {"seq": "1.2.3"}}})"),
            "list[0].repeat.template.\"0x08000001\".seq: a seq start is a number, a dotted quad "
            "or hex bytes");
  EXPECT_EQ(error(R"({"count": 1, "template": {"0x08000001": {"seq": 1, "step": "x"}}})"),
            "list[0].repeat.template.\"0x08000001\".step: expected a whole number");
}

}  // namespace
}  // namespace sim
