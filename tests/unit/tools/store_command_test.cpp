#include "tools/store_command.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "fake_bus.h"

namespace kxctl {
namespace {

class StoreCommandTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char tmpl[] = "/tmp/kxctl_store_XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    root_ = tmpl;
  }
  void TearDown() override { std::filesystem::remove_all(root_); }

  Outcome kxctl(std::vector<std::string> args) {
    args.insert(args.begin(), {"--root", root_});
    return runKxctl(bus_, args);
  }

  std::string root_;
  FakeBus bus_;
};

TEST_F(StoreCommandTest, DumpListsIdsInNumericOrder) {
  for (const char* id : {"10", "2", "0x0"}) {
    ASSERT_EQ(kxctl({"store", "put", "/sarn/store/snmp-communities", id, "0x20000005=c"}).status,
              kExitOk);
  }
  Outcome r = kxctl({"store", "dump", "/sarn/store/snmp-communities"});
  ASSERT_EQ(r.status, kExitOk) << r.err;
  size_t p0 = r.out.find("\"0\":"), p2 = r.out.find("\"2\":"), p10 = r.out.find("\"10\":");
  ASSERT_NE(p10, std::string::npos) << r.out;
  EXPECT_LT(p0, p2);
  EXPECT_LT(p2, p10);
  EXPECT_EQ(nlohmann::json::parse(r.out).size(), 3u);
}

TEST_F(StoreCommandTest, AMissingStoreIsAnErrorAndIsNotCreated) {
  for (const char* sub : {"dump", "rm"}) {
    std::vector<std::string> args{"store", sub, "/sarn/store/none"};
    if (std::string(sub) == "rm") args.push_back("1");
    Outcome r = kxctl(args);
    EXPECT_EQ(r.status, kExitError) << sub;
    EXPECT_NE(r.err.find("no store at " + root_), std::string::npos) << r.err;
  }
  struct stat st;
  EXPECT_NE(stat((root_ + "/sarn/store/none").c_str(), &st), 0);
}

TEST_F(StoreCommandTest, CommandLineMistakesWriteNothing) {
  const std::vector<std::vector<std::string>> cases = {
      {"store"},
      {"store", "list", "/sarn/store/snmpd"},
      {"store", "dump"},
      {"store", "dump", "/sarn/store/snmpd", "0"},
      {"store", "put", "/sarn/store/snmpd", "0"},
      {"store", "put", "/sarn/store/snmpd", "zero", "0x20000002=a"},
      {"store", "put", "/sarn/store/snmpd", "0", "0x0800000e=x"},
      {"store", "rm", "/sarn/store/snmpd"},
  };
  for (const auto& args : cases) {
    Outcome r = kxctl(args);
    EXPECT_EQ(r.status, kExitUsage) << args.size() << " " << r.err;
    EXPECT_NE(r.err.find("Try 'kxctl store --help'."), std::string::npos) << r.err;
  }
  struct stat st;
  EXPECT_NE(stat((root_ + "/sarn/store/snmpd").c_str(), &st), 0);
}

TEST(StorePath, MustBeAbsoluteAndStayBelowTheRoot) {
  std::string err;
  EXPECT_TRUE(checkStorePath("/sarn/store/snmpd", err));
  EXPECT_TRUE(checkStorePath("/sarn/store/a..b", err));
  EXPECT_FALSE(checkStorePath("", err));
  EXPECT_FALSE(checkStorePath("relative/store", err));
  EXPECT_FALSE(checkStorePath("/..", err));
  EXPECT_FALSE(checkStorePath("/sarn/../x", err));
  EXPECT_FALSE(checkStorePath("/sarn/store/..", err));
}

}  // namespace
}  // namespace kxctl
