// What stands in front of a service: faults; the record and
// history services; the journal; which process serves which service.
#include "sim/endpoint.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <fstream>

#include "fake_clock.h"
#include "sim/scenario.h"
#include "sim/service.h"

namespace sim {
namespace {

kx::message request(uint32_t cmd) {
  kx::message m;
  m.setCommand(cmd);
  m.setDstPath({24, 1});
  return m;
}

Scenario parse(const char* text) {
  Scenario s;
  std::string err;
  EXPECT_TRUE(parseScenario(nlohmann::json::parse(text), s, err)) << err;
  return s;
}

TEST(Endpoint, FaultsApplyToTheirCommandsOnly) {
  FakeClock clock;
  Scenario s = parse(R"({"services": {"24,1": {"record": {"0x2000000c": "edge-1"},
      "fault": [{"error": ["0xfe0006", "refused"], "commands": ["set"]},
                {"delay_ms": 8000, "commands": ["0xfe000d"]},
                {"silent": true, "commands": [7]}]}}})");
  auto ep = buildEndpoint(s.services[0], clock);

  kx::message set = request(kx::kCmdSet);
  set.setString(0x2000000c, "other");
  Endpoint::Outcome refused = ep->handle(set);
  EXPECT_EQ(kx::getErrorCode(refused.reply), kx::kErrRefused);
  EXPECT_EQ(kx::getError(refused.reply), "refused");

  // The refused set did not reach the record; the get is late but right.
  Endpoint::Outcome late = ep->handle(request(kx::kCmdGet));
  EXPECT_EQ(late.delayMs, 8000u);
  EXPECT_FALSE(late.silent);
  EXPECT_EQ(late.reply.getString(0x2000000c), "edge-1");

  EXPECT_TRUE(ep->handle(request(7)).silent);
  Endpoint::Outcome plain = ep->handle(request(8));
  EXPECT_FALSE(plain.silent);
  EXPECT_EQ(plain.delayMs, 0u);
}

TEST(Responder, JournalsFirstThenHoldsTheAnswer) {
  FakeClock clock;
  Scenario s = parse(R"({"services": {"24,1": {"record": {"0x2000000c": "edge-1"},
      "fault": [{"delay_ms": 60, "commands": ["get"]}, {"silent": true, "commands": [9]}]}}})");
  auto ep = buildEndpoint(s.services[0], clock);
  std::string file = ::testing::TempDir() + "sim_responder_test.log";
  std::remove(file.c_str());
  Journal journal;
  std::string err;
  ASSERT_TRUE(journal.open(file, err)) << err;
  volatile std::sig_atomic_t stop = 0;
  Responder responder(*ep, journal, stop);

  auto t0 = std::chrono::steady_clock::now();
  EXPECT_EQ(responder.respond(request(kx::kCmdGet)).getString(0x2000000c), "edge-1");
  EXPECT_GE(std::chrono::steady_clock::now() - t0, std::chrono::milliseconds(60));

  // A stop request releases a withheld answer at once.
  stop = 1;
  t0 = std::chrono::steady_clock::now();
  EXPECT_TRUE(responder.respond(request(9)).empty());
  EXPECT_LT(std::chrono::steady_clock::now() - t0, std::chrono::seconds(1));

  std::ifstream in(file);
  std::string line;
  int lines = 0;
  while (std::getline(in, line)) ++lines;
  EXPECT_EQ(lines, 2);
  std::remove(file.c_str());
}

TEST(RecordService, SetMergesObjectFieldsAndReportsTheChange) {
  FakeClock clock;
  kx::message rec;
  rec.setString(0x2000000c, "edge-1");
  RecordService svc(ObjectTemplate(rec), clock);
  int changes = 0;
  svc.onChange([&](uint32_t id, const kx::message&) { changes += id == 0; });
  kx::message set = request(kx::kCmdSet);
  set.setString(0x2000000c, "edge-2");
  set.setU32(0x0800000e, 41);
  EXPECT_TRUE(svc.serve(kx::kCmdSet, set).empty());
  kx::message now = svc.serve(kx::kCmdGet, request(kx::kCmdGet));
  EXPECT_EQ(now.getString(0x2000000c), "edge-2");
  EXPECT_EQ(now.getU32(0x0800000e), 41u);
  EXPECT_EQ(now.size(), 2u);  // no path or command copied in
  EXPECT_EQ(changes, 1);
  EXPECT_TRUE(svc.serve(5, request(5)).empty());  // a reboot: no behaviour
}

TEST(HistoryService, KeepsWhatItIsSent) {
  HistoryService svc;
  for (uint32_t i = 0; i < kMaxHistory + 5; ++i) {
    kx::message undo = request(0xfe0020);
    undo.setString(0x20fe0022, "change " + std::to_string(i));
    EXPECT_TRUE(svc.serve(0xfe0020, undo).empty());
  }
  EXPECT_EQ(svc.serve(kx::kCmdCount, request(kx::kCmdCount)).getU32(kx::kCount), kMaxHistory);
  auto entries = svc.serve(kx::kCmdGetAll, request(kx::kCmdGetAll)).getMessageArray(kx::kObjects);
  ASSERT_EQ(entries.size(), kMaxHistory);
  EXPECT_EQ(entries.back().getString(0x20fe0022), "change 1004");
  EXPECT_EQ(entries.back().getU32(kHistoryCommand), 0xfe0020u);
  EXPECT_EQ(entries.back().getU32(kx::kObjId), 1005u);
  EXPECT_EQ(entries.front().getU32(kx::kObjId), 6u);  // oldest dropped
}

TEST(HistoryService, ListsOnlyWhatFitsOneReply) {
  HistoryService svc;
  for (int i = 0; i < 20; ++i) {
    kx::message undo = request(0xfe0020);
    undo.setString(0x20fe0022, std::string(64 * 1024, 'a' + i));
    svc.serve(0xfe0020, undo);
  }
  kx::message reply = svc.serve(kx::kCmdGetAll, request(kx::kCmdGetAll));
  EXPECT_LT(reply.encode().size(), kx::kMaxMessageSize);
  auto entries = reply.getMessageArray(kx::kObjects);
  ASSERT_FALSE(entries.empty());
  EXPECT_LT(entries.size(), 20u);
  EXPECT_EQ(entries.back().getU32(kx::kObjId), 20u);  // the newest are kept
}

TEST(Journal, AnUnopenableFileIsNamedInTheError) {
  Journal bad;
  std::string err;
  EXPECT_FALSE(bad.open("/nonexistent-dir/journal.log", err));
  EXPECT_EQ(err.rfind("/nonexistent-dir/journal.log: ", 0), 0u);
}

TEST(ProcessPlan, HeldAnswersGetTheirOwnProcess) {
  Scenario s = parse(R"({"services": {
      "12,1": {"fault": {"delay_ms": 8000}},
      "12,2": {},
      "13": {"fault": {"silent": true}},
      "20,0": {"fault": {"error": [1, "x"]}},
      "24,1": {}}})");
  ProcessPlan plan = planProcesses(s);
  EXPECT_EQ(plan.main, (std::vector<uint32_t>{20, 24}));
  EXPECT_EQ(plan.others, (std::vector<std::vector<uint32_t>>{{12}, {13}}));
}

}  // namespace
}  // namespace sim
