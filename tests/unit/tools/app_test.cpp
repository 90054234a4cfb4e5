#include "tools/app.h"

#include <gtest/gtest.h>

#include "fake_bus.h"

namespace kxctl {
namespace {

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

}  // namespace
}  // namespace kxctl
