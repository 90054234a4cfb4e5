// Allocator, root paths and clocks.
#include "kx/platform.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>

#include "kx/store.h"
#include "tests/unit/support/temp_root.h"

namespace kx {
namespace {

TEST(Allocator, HandsOutTheLowestFreeIdAndHonoursReservations) {
  Allocator a(1, 100);
  EXPECT_EQ(a.alloc(), 1u);
  EXPECT_EQ(a.alloc(), 2u);
  EXPECT_TRUE(a.reserve(3));
  EXPECT_TRUE(a.reserve(5));
  EXPECT_FALSE(a.reserve(5));
  EXPECT_FALSE(a.reserve(0));    // below the range
  EXPECT_FALSE(a.reserve(101));  // above it
  EXPECT_EQ(a.alloc(), 4u);
  EXPECT_EQ(a.alloc(), 6u);
  a.free(2);
  a.free(5);
  a.free(50);  // never taken: no effect
  EXPECT_FALSE(a.taken(50));
  EXPECT_EQ(a.alloc(), 2u);
  EXPECT_EQ(a.alloc(), 5u);
  EXPECT_EQ(a.alloc(), 7u);
}

TEST(Allocator, RangeEndsAndExhaustion) {
  Allocator top(0xfffffffc, 0xfffffffe);
  EXPECT_EQ(top.alloc(), 0xfffffffcu);
  EXPECT_EQ(top.alloc(), 0xfffffffdu);
  EXPECT_EQ(top.alloc(), 0xfffffffeu);
  EXPECT_EQ(top.alloc(), Allocator::kNone);
  top.free(0xfffffffd);
  EXPECT_EQ(top.alloc(), 0xfffffffdu);
  EXPECT_EQ(top.alloc(), Allocator::kNone);
  // kNone itself is never an id, even when the range claims it.
  Allocator wide(0xfffffffe, 0xffffffff);
  EXPECT_EQ(wide.alloc(), 0xfffffffeu);
  EXPECT_EQ(wide.alloc(), Allocator::kNone);
  EXPECT_FALSE(wide.reserve(0xffffffff));
  Allocator empty(8, 7);
  EXPECT_EQ(empty.alloc(), Allocator::kNone);
}

TEST(Paths, RootComesFromSetRootThenEnvironmentThenSlash) {
  ::unsetenv("SARN_ROOT");
  setRoot("");
  EXPECT_EQ(rootPath("/sarn/store/snmpd"), "/sarn/store/snmpd");
  ::setenv("SARN_ROOT", "/tmp/env-root", 1);
  EXPECT_EQ(rootPath("/sarn/run/bus"), "/tmp/env-root/sarn/run/bus");
  setRoot("/opt/r/");
  EXPECT_EQ(rootPath("/sarn/store/snmpd"), "/opt/r/sarn/store/snmpd");
  EXPECT_EQ(rootPath("sarn/lib"), "/opt/r/sarn/lib");
  EXPECT_EQ(rootPath("/"), "/opt/r");
  setRoot("rel");
  EXPECT_EQ(rootPath("//a"), "rel/a");
  setRoot("");
  ::unsetenv("SARN_ROOT");
}

TEST(Paths, MakeDirsCreatesParents) {
  test_support::TempRoot tmp;
  const std::string base = tmp.path();
  const std::string deep = base + "/a/b/c";
  EXPECT_TRUE(makeDirs(deep));
  EXPECT_TRUE(std::filesystem::is_directory(deep));
  EXPECT_TRUE(makeDirs(deep));  // already there
  EXPECT_TRUE(makeDirs(base + "/a/x/"));
  // A file in the way is not a directory.
  const std::string file = base + "/a/file";
  std::ofstream{file};
  EXPECT_FALSE(makeDirs(file));
  EXPECT_FALSE(makeDirs(file + "/below"));
  EXPECT_FALSE(makeDirs(""));
}

TEST(Clock, UptimeAndJiffiesAgree) {
  const uint32_t j1 = getJiffies();
  const uint32_t up = getUptime();
  ::usleep(30000);
  const uint32_t j2 = getJiffies();
  EXPECT_GE(j2 - j1, 3u);
  EXPECT_LT(j2 - j1, 100u);
  // Jiffies are hundredths of the same clock as the uptime.
  EXPECT_LE(up, j2 / 100 + 1);
  EXPECT_GE(up + 1, j1 / 100);
  timespec ts{};
  ASSERT_EQ(::clock_gettime(CLOCK_BOOTTIME, &ts), 0);
  EXPECT_NEAR(static_cast<double>(getUptime()), static_cast<double>(ts.tv_sec), 1.0);
}

}  // namespace
}  // namespace kx
