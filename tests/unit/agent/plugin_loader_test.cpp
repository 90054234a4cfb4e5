// The plug-in search: which files below the directory are loaded, what a
// file that cannot be loaded says, and the limits of the walk.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "agent/snmp_looper.h"
#include "tests/unit/support/temp_root.h"

namespace {

namespace fs = std::filesystem;

// The test plug-ins are built next to this executable.
const fs::path kPlugins = fs::read_symlink("/proc/self/exe").parent_path() / "agent_plugins";
const fs::path kWithEntry = kPlugins / "with_autorun.so";

int occurrences(const std::string& text, const std::string& what) {
  int n = 0;
  for (size_t pos = text.find(what); pos != std::string::npos; pos = text.find(what, pos + 1)) ++n;
  return n;
}

class PluginLoaderTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(fs::exists(kWithEntry)) << kWithEntry << " missing: build the agent library";
  }
  // Each copy is a distinct file, so the loader maps it afresh.
  static void place(const fs::path& plugin, const fs::path& at) {
    fs::create_directories(at.parent_path());
    fs::copy_file(plugin, at, fs::copy_options::overwrite_existing);
  }
  // A directory under the root whose path is exactly len characters.
  std::string dirOfLength(size_t len) {
    std::string dir = root.path() + "/";
    EXPECT_LT(dir.size() + 1, len);
    dir += std::string(len - dir.size(), 'd');
    fs::create_directories(dir);
    return dir;
  }
  // What loading the plug-ins below dir writes on standard error.
  static std::string load(const std::string& dir) {
    testing::internal::CaptureStderr();
    loadPlugins(dir);
    return testing::internal::GetCapturedStderr();
  }

  test_support::TempRoot root;
};

TEST_F(PluginLoaderTest, LoadsEverySoFileBelowTheDirectoryAndSaysWhyOneFails) {
  const std::string dir = root.path() + "/lib";
  place(kWithEntry, dir + "/vendor/deeper/x.so");
  place(kPlugins / "without_autorun.so", dir + "/vendor/noentry.so");
  std::ofstream(dir + "/broken.so") << "not an ELF object\n";
  // Dot names, hidden directories, names that only look like plug-ins and a
  // directory named like one are passed over.
  for (const char* skipped : {".hidden.so", ".cache/inside.so", "a.s", "module.so.1", "x.so.off"})
    place(kWithEntry, dir + "/" + skipped);
  fs::create_directories(dir + "/dir.so");

  const std::string log = load(dir);
  EXPECT_EQ(occurrences(log, "plugin loaded: "), 2) << log;
  EXPECT_EQ(occurrences(log, "plugin loaded: " + dir + "/vendor/deeper/x.so\n"), 1) << log;
  EXPECT_EQ(occurrences(log, "test plugin autorun ran\n"), 1) << log;
  EXPECT_EQ(occurrences(log, "plugin loaded: " + dir + "/vendor/noentry.so\nplugin " + dir +
                                 "/vendor/noentry.so has no symbol autorun\n"),
            1)
      << log;
  EXPECT_EQ(occurrences(log, "failed dlopen: " + dir + "/broken.so:\n"), 1) << log;
}

TEST_F(PluginLoaderTest, PathOf128CharactersIsSearchedAnd129IsRefused) {
  const std::string ok = dirOfLength(kMaxPluginPathLength);
  place(kWithEntry, ok + "/y.so");
  const std::string tooLong = dirOfLength(kMaxPluginPathLength + 1);
  place(kWithEntry, tooLong + "/z.so");

  const std::string log = load(ok) + load(tooLong);
  EXPECT_EQ(occurrences(log, "plugin loaded: " + ok + "/y.so\n"), 1) << log;
  EXPECT_EQ(log.find("z.so"), std::string::npos) << log;
  EXPECT_EQ(occurrences(log,
                        "Refusing to search for snmp plugins in following directory, because "
                        "it's path is longer than 128 characters (recursive symlink?):\n" +
                            tooLong + "\n"),
            1)
      << log;
}

TEST_F(PluginLoaderTest, SymlinkLoopEndsAtTheLengthLimitAndAMissingDirectoryIsSilent) {
  const std::string dir = root.path() + "/loop";
  fs::create_directories(dir);
  fs::create_directory_symlink(dir, dir + "/again");
  place(kWithEntry, dir + "/w.so");

  const std::string log = load(dir);
  // Loaded once by its own path; the loop's deeper copies map to the same
  // file and are already loaded, but the walk must end with the refusal.
  EXPECT_GE(occurrences(log, "plugin loaded: " + dir + "/w.so\n"), 1) << log;
  EXPECT_GE(occurrences(log, "Refusing to search for snmp plugins"), 1) << log;
  EXPECT_EQ(load(root.path() + "/nothing/here"), "");
}

}  // namespace
