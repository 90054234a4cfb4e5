#include "tools/app.h"

#include <gtest/gtest.h>

#include "fake_bus.h"

namespace kxctl {
namespace {

TEST(App, OverviewListsEveryCommand) {
  FakeBus bus;
  Outcome r = runKxctl(bus, {"--help"});
  ASSERT_EQ(r.status, kExitOk);
  App app(bus.factory());
  for (const auto& c : app.commands().commands()) {
    size_t at = r.out.find("\n  " + c->synopsis() + " ");
    ASSERT_NE(at, std::string::npos) << c->name();
    size_t end = r.out.find('\n', at + 1);
    EXPECT_EQ(r.out.compare(end - c->brief().size(), c->brief().size(), c->brief()), 0)
        << "the brief ends the command's line: " << c->name();
  }
  for (const char* name : {"call", "get", "set", "getall", "getobj", "setobj", "add", "remove",
                           "count", "watch", "store"}) {
    EXPECT_NE(app.commands().find(name), nullptr) << name;
  }
}

TEST(App, CommandHelpDescribesThatCommandAndSendsNothing) {
  FakeBus bus;
  App app(bus.factory());
  for (const auto& c : app.commands().commands()) {
    for (const std::vector<std::string>& args :
         {std::vector<std::string>{c->name(), "--help"}, {c->name(), "20,0", "-h"}}) {
      Outcome r = runKxctl(bus, args);
      EXPECT_EQ(r.status, kExitOk) << c->name();
      EXPECT_EQ(r.out, c->help());
      EXPECT_EQ(r.out.rfind("Usage: kxctl ", 0), 0u) << c->name();
      EXPECT_NE(r.out.find(c->name()), std::string::npos);
    }
  }
  EXPECT_EQ(bus.made, 0);
}

TEST(App, GlobalOptionMistakesExitTwoWithAHint) {
  const std::vector<std::vector<std::string>> cases = {
      {},
      {"--root"},
      {"--root="},
      {"--timeout", "0", "get", "34"},
      {"--timeout", "abc", "get", "34"},
      {"--timeout=3600001", "get", "34"},
      {"--bogus", "get", "34"},
      {"frobnicate"},
  };
  for (const auto& args : cases) {
    FakeBus bus;
    Outcome r = runKxctl(bus, args);
    EXPECT_EQ(r.status, kExitUsage) << r.err;
    EXPECT_EQ(r.err.rfind("kxctl: ", 0), 0u) << r.err;
    EXPECT_NE(r.err.find("Try 'kxctl --help'."), std::string::npos) << r.err;
    EXPECT_EQ(bus.made, 0);
  }
}

TEST(App, TimeoutReachesTheBusFactory) {
  int seen = 0;
  FakeBus bus;
  App app([&](const Options& o) -> std::unique_ptr<BusClient> {
    seen = o.timeoutMs;
    return bus.factory()(o);
  });
  std::ostringstream out, err;
  EXPECT_EQ(app.run({"--timeout=250", "get", "34"}, out, err), kExitOk) << err.str();
  EXPECT_EQ(seen, 250);
  EXPECT_EQ(app.run({"get", "34"}, out, err), kExitOk);
  EXPECT_EQ(seen, kDefaultTimeoutMs);
}

}  // namespace
}  // namespace kxctl
