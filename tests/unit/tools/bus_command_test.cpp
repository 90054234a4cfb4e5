#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "fake_bus.h"
#include "tools/session.h"

namespace kxctl {
namespace {

TEST(BusCommand, GetSendsTheRecordCommandAndPrintsTheReplyWithoutTransportFields) {
  FakeBus bus;
  bus.serve = [](const kx::message&) {
    kx::message r;
    r.setU32(kx::kRequestId, 12);
    r.setBool(kx::kReplyFlag, true);
    r.setString(0x20000002, "noc");
    r.setU32(0x0800000e, 15);
    return r;
  };
  Outcome r = runKxctl(bus, {"get", "34"});
  ASSERT_EQ(r.status, kExitOk) << r.err;
  ASSERT_EQ(bus.sent.size(), 1u);
  EXPECT_EQ(bus.sent[0].dstPath(), std::vector<uint32_t>{34});
  EXPECT_EQ(bus.sent[0].command(), kx::kCmdGet);
  EXPECT_EQ(nlohmann::json::parse(r.out),
            nlohmann::json::parse(R"({"0x20000002": "noc", "0x0800000e": 15})"));
  EXPECT_EQ(r.err, "");
}

TEST(BusCommand, EachCommandSendsItsCodeIdAndFields) {
  struct Case {
    std::vector<std::string> args;
    uint32_t code;
    bool hasId;
    uint32_t id;
  };
  const Case cases[] = {
      {{"call", "20,0", "0xfe0004", "0x08fe0016=5"}, 0xfe0004, false, 0},
      {{"call", "20,0", "100"}, 100, false, 0},
      {{"set", "34", "0x00000001=true"}, kx::kCmdSet, false, 0},
      {{"getobj", "20,0", "3"}, kx::kCmdGetObj, true, 3},
      {{"setobj", "34,1", "0x2", "0x20000005=ops"}, kx::kCmdSetObj, true, 2},
      {{"add", "34,1", "0x20000005=ops"}, kx::kCmdAddObj, false, 0},
      {{"add", "34,1"}, kx::kCmdAddObj, false, 0},
      {{"remove", "34,1", "4"}, kx::kCmdRemoveObj, true, 4},
      {{"count", "20,0"}, kx::kCmdCount, false, 0},
  };
  for (const Case& c : cases) {
    FakeBus bus;
    Outcome r = runKxctl(bus, c.args);
    ASSERT_EQ(r.status, kExitOk) << c.args[0] << ": " << r.err;
    ASSERT_EQ(bus.sent.size(), 1u) << c.args[0];
    const kx::message& m = bus.sent[0];
    EXPECT_EQ(m.command(), c.code) << c.args[0];
    EXPECT_EQ(m.has(kx::kObjId), c.hasId) << c.args[0];
    if (c.hasId) {
      EXPECT_EQ(m.getU32(kx::kObjId), c.id) << c.args[0];
    }
    EXPECT_EQ(r.out, "{}\n") << c.args[0];
  }
}

TEST(BusCommand, PositionalIdWinsOverAnIdAmongTheFields) {
  FakeBus bus;
  Outcome r = runKxctl(bus, {"setobj", "34,1", "2", "0x08fe0001=9", "0x20000005=x"});
  ASSERT_EQ(r.status, kExitOk) << r.err;
  EXPECT_EQ(bus.sent.at(0).getU32(kx::kObjId), 2u);
}

TEST(BusCommand, UsageMistakesExitTwoWithAHintAndSendNothing) {
  const std::vector<std::vector<std::string>> cases = {
      {"get"},
      {"get", "34", "extra"},
      {"get", "34,"},
      {"set", "34"},
      {"getobj", "20,0"},
      {"getobj", "20,0", "x"},
      {"setobj", "20,0", "1"},
      {"remove", "20,0", "1", "0x20000005=a"},
      {"call", "20,0"},
      {"call", "20,0", "0xfe00zz"},
      {"set", "34", "0x20000002"},
      {"set", "34", "0x08ff0007=1"},
      {"count"},
      {"getall"},
      {"getall", "20,0", "21"},
      {"getall", "--page"},
      {"getall", "20,0", "--page", "0"},
      {"getall", "20,0", "--page", "x"},
      {"set", "34", "0x08000010=192.0.2.300"},
  };
  for (const auto& args : cases) {
    FakeBus bus;
    Outcome r = runKxctl(bus, args);
    EXPECT_EQ(r.status, kExitUsage) << args[0] << " " << r.err;
    EXPECT_EQ(bus.made, 0) << "no bus client for a bad command line";
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err.rfind("kxctl: " + args[0] + ": ", 0), 0u) << r.err;
    EXPECT_NE(r.err.find("Try 'kxctl " + args[0] + " --help'."), std::string::npos) << r.err;
  }
}

}  // namespace
}  // namespace kxctl
