// Scheduled changes: applied at their time, repeated, announced.
#include <gtest/gtest.h>

#include "fake_clock.h"
#include "kx/runner.h"
#include "sim/change.h"
#include "sim/list_service.h"
#include "sim/scenario.h"

namespace sim {
namespace {

TEST(ChangeSchedule, FlapsALinkOnTime) {
  Scenario s;
  std::string err;
  ASSERT_TRUE(parseScenario(nlohmann::json::parse(R"({"services": {"20,0": {
      "list": [{"0x08fe0001": 1, "0x08010003": 1280}],
      "changes": [{"after_ms": 1000, "every_ms": 2000, "set": {"0x08fe0001": 1, "0x08010003": 0}},
                  {"after_ms": 2000, "every_ms": 2000,
                   "set": {"0x08fe0001": 1, "0x08010003": 1280}}]}}})"),
                            s, err))
      << err;
  FakeClock clock;
  ListService list(s.services[0].objects, clock, {});
  std::vector<uint32_t> states;
  list.onChange([&](uint32_t id, const kx::message&) {
    states.push_back(list.object(id).getU32(0x08010003));
  });

  uint64_t now = 0;
  kx::ThinRunner runner;
  runner.setClock([&]() { return now; });
  ChangeSchedule schedule(list, kx::kCmdSetObj, s.services[0].changes);
  schedule.start(runner);

  auto advanceTo = [&](uint64_t ms) {
    now = ms;
    runner.runOnce(0);
  };
  advanceTo(999);
  EXPECT_TRUE(states.empty());
  advanceTo(1000);
  EXPECT_EQ(states, (std::vector<uint32_t>{0}));
  advanceTo(2000);
  advanceTo(3000);
  advanceTo(4000);
  EXPECT_EQ(states, (std::vector<uint32_t>{0, 1280, 0, 1280}));
  EXPECT_EQ(schedule.applied(), 4u);
  EXPECT_EQ(list.object(1).getU32(0x08010003), 1280u);
}

}  // namespace
}  // namespace sim
