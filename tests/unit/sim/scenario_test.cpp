// Well-formed scenarios: what the parser builds, and the shipped examples.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "fake_clock.h"
#include "sim/scenario.h"

namespace sim {
namespace {

Scenario parse(const std::string& text) {
  Scenario s;
  std::string err;
  EXPECT_TRUE(parseScenario(nlohmann::json::parse(text), s, err)) << err;
  return s;
}

TEST(Scenario, ServiceOptionsAndPaths) {
  Scenario s = parse(R"({"description": "d", "services": {
      "65": {"record": {"0x20000001": "v"}},
      "20,0": {"page": 20, "events": "0x10004", "count": false,
               "commands": {"1": "getall", "0x7": "empty"},
               "list": [{"0x08fe0001": 3}]},
      "2": {"history": true},
      "1": {"note": "start-up notices"}}})");
  ASSERT_EQ(s.services.size(), 4u);
  EXPECT_EQ(s.description, "d");
  EXPECT_EQ(s.serviceIds(), (std::vector<uint32_t>{1, 2, 20, 65}));
  for (const auto& svc : s.services) {
    if (svc.pathText == "65") {
      EXPECT_EQ(svc.path, (std::vector<uint32_t>{65, 0}));
      EXPECT_EQ(svc.kind, ServiceDesc::Kind::kRecord);
      EXPECT_EQ(svc.record.fixed().getString(0x20000001), "v");
    } else if (svc.pathText == "20,0") {
      EXPECT_EQ(svc.kind, ServiceDesc::Kind::kList);
      EXPECT_EQ(svc.page, 20u);
      EXPECT_EQ(svc.events, 0x10004u);
      EXPECT_FALSE(svc.count);
      EXPECT_EQ(svc.aliases.at(1), kx::kCmdGetAll);
      EXPECT_EQ(svc.aliases.at(7), 0u);
      ASSERT_EQ(svc.objects.size(), 1u);
    } else if (svc.pathText == "2") {
      EXPECT_EQ(svc.kind, ServiceDesc::Kind::kHistory);
    } else {
      EXPECT_EQ(svc.kind, ServiceDesc::Kind::kEmpty);
      EXPECT_EQ(svc.page, kDefaultPage);
      EXPECT_TRUE(svc.count);
    }
  }
}

TEST(Scenario, ValuesOfEveryForm) {
  Scenario s = parse(R"({"services": {"1": {"record": {
      "0x00000001": true, "0x08000002": "192.0.2.1", "0x08000003": 7,
      "0x10000004": 18446744073709551615, "0x20000005": "text",
      "0x30000006": "4c:5e:0c:00:00:01", "0x88000007": ["10.0.0.1", 2],
      "0xa0000008": ["a", "b"], "0x28000009": {"0x0800000a": 1},
      "0xa800000b": [{"0x0800000c": 2}], "0x0800000d": {"base": 5, "rate": 1}}}}})");
  FakeClock clock;
  clock.elapsed = 3000;
  kx::message m = s.services[0].record.evaluate(clock);
  EXPECT_TRUE(m.getBool(0x00000001));
  EXPECT_EQ(m.getU32(0x08000002), 0xC0000201u);
  EXPECT_EQ(m.getU64(0x10000004), 0xffffffffffffffffull);
  EXPECT_EQ(m.getString(0x20000005), "text");
  EXPECT_EQ(m.getRaw(0x30000006), (kx::message::raw{0x4c, 0x5e, 0x0c, 0, 0, 1}));
  EXPECT_EQ(m.getU32Array(0x88000007), (std::vector<uint32_t>{0x0A000001, 2}));
  EXPECT_EQ(m.getStringArray(0xa0000008), (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(m.getMessage(0x28000009).getU32(0x0800000a), 1u);
  ASSERT_EQ(m.getMessageArray(0xa800000b).size(), 1u);
  EXPECT_EQ(m.getU32(0x0800000d), 8u);
}

TEST(Scenario, ExamplesLoad) {
  // The source tree: from the environment under CTest, else from this file.
  const char* src = std::getenv("SARN_SOURCE");
  std::string root = src ? src : std::string(__FILE__);
  if (!src) root = root.substr(0, root.rfind("/tests/unit/sim/"));
  for (const char* name : {"/examples/router.json", "/examples/scale.json"}) {
    Scenario s;
    std::string err;
    EXPECT_TRUE(loadScenario(root + name, s, err)) << err;
    EXPECT_FALSE(s.services.empty()) << name;
  }
}

}  // namespace
}  // namespace sim
