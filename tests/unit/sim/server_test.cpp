// A scenario served beside its client on one looper (in-process, as the
// fuzzers run it); kxsim's own processes and sockets serve every
// integration test.
#include "sim/server.h"

#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <string>

#include "fake_clock.h"
#include "kx/looper.h"
#include "tests/unit/support/temp_root.h"

namespace sim {
namespace {

const char kScenario[] = R"({"services": {
  "24,1": {"record": {"0x2000000c": "edge-1"}},
  "20,0": {"page": 3, "events": "0x10004", "commands": {"1": "getall"},
           "list": [{"repeat": {"count": 10, "template": {
               "0x08fe0001": {"seq": 1}, "0x20010006": "ether${i}",
               "0x08010002": 0, "0x08010003": 1280}}},
             {"0x08fe0001": 11, "0x20010006": "pppoe-out1",
              "0x08010002": 128, "0x08010003": 1280}]}}})";

TEST(Server, AnswersRecordsListsAndCommandsWithoutBehaviour) {
  test_support::TempRoot root;
  Scenario scenario;
  std::string err;
  ASSERT_TRUE(parseScenario(nlohmann::json::parse(kScenario), scenario, err)) << err;
  FakeClock clock;
  Journal journal;
  ASSERT_TRUE(journal.open(root.path() + "/journal.log", err)) << err;
  volatile std::sig_atomic_t stop = 0;
  kx::Looper client(0x40007001);
  Server server(scenario, scenario.serviceIds(), clock, journal, stop);
  server.startOn(client);
  auto call = [&](std::vector<uint32_t> path, uint32_t cmd, kx::message msg = kx::message()) {
    msg.setDstPath(path);
    msg.setCommand(cmd);
    return client.exchangeMessage(msg, 3000);
  };

  EXPECT_EQ(call({24, 1}, kx::kCmdGet).getString(0x2000000c), "edge-1");
  // Through an alias of get all, paged by 3 (paging itself: list_service_test).
  const kx::message page = call({20, 0}, 1);
  EXPECT_EQ(page.getMessageArray(kx::kObjects).size(), 3u);
  EXPECT_EQ(page.getU32(kx::kContinue), 4u);
  EXPECT_EQ(call({20, 0}, kx::kCmdCount).getU32(kx::kCount), 11u);
  // A command the record has no behaviour for is answered empty, and
  // journaled like every request.
  kx::message odd = call({24, 1}, 5);
  EXPECT_FALSE(kx::isError(odd));
  EXPECT_TRUE(odd.empty());
  std::ifstream in(root.path() + "/journal.log");
  std::string line, last;
  int lines = 0;
  while (std::getline(in, line)) {
    ++lines;
    last = line;
  }
  EXPECT_EQ(lines, 4);  // get, page, count, the odd command
  nlohmann::json j = nlohmann::json::parse(last);
  EXPECT_EQ(j["0x08ff0007"], 5);
  EXPECT_EQ(j["0x88ff0001"], nlohmann::json::array({24, 1}));
  // Handler 0 of a served service answers too, though the scenario does
  // not list it: a reboot to [24] is answered empty.
  kx::message reboot = call({24}, 5);
  EXPECT_FALSE(kx::isError(reboot)) << kx::getError(reboot);
  EXPECT_TRUE(reboot.empty());
  // A handler that is not there at all is the bus's error.
  EXPECT_TRUE(kx::isError(call({24, 9}, kx::kCmdGet)));
}

}  // namespace
}  // namespace sim
