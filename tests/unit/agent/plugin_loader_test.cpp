#include "agent/plugin_loader.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "agent_test_util.h"

namespace {

namespace fs = std::filesystem;
using agent_test::StreamCapture;
using agent_test::TempRoot;

// The test plug-ins are built next to this executable.
fs::path pluginBuildDir() { return fs::read_symlink("/proc/self/exe").parent_path() / "agent_plugins"; }

int occurrences(const std::string& text, const std::string& what) {
  int n = 0;
  for (size_t pos = text.find(what); pos != std::string::npos; pos = text.find(what, pos + 1)) ++n;
  return n;
}

class PluginLoaderTest : public ::testing::Test {
 protected:
  void SetUp() override {
    withEntry = pluginBuildDir() / "with_autorun.so";
    ASSERT_TRUE(fs::exists(withEntry)) << withEntry << " missing: build the agent library";
  }

  // Each copy is a distinct file, so the loader maps it afresh.
  void place(const fs::path& plugin, const fs::path& at) {
    fs::create_directories(at.parent_path());
    fs::copy_file(plugin, at, fs::copy_options::overwrite_existing);
  }

  // A directory under the root whose path is exactly len characters.
  std::string dirOfLength(size_t len, const std::string& under) {
    std::string dir = under + "/";
    EXPECT_LT(dir.size() + 1, len);
    dir += std::string(len - dir.size(), 'd');
    fs::create_directories(dir);
    return dir;
  }

  TempRoot root;
  fs::path withEntry;
};

// Broken, entry-less and nested plug-ins are exercised against the running
// daemon; here the skips that one does not reach.
TEST_F(PluginLoaderTest, SkipsHiddenDirectoriesAndNamesThatOnlyLookLikeSo) {
  const std::string dir = root.path() + "/lib";
  place(withEntry, dir + "/x.so");
  place(withEntry, dir + "/a.s");
  place(withEntry, dir + "/module.so.1");
  place(withEntry, dir + "/.cache/inside.so");

  StreamCapture err(2);
  loadPlugins(dir);
  const std::string log = err.text();

  EXPECT_EQ(occurrences(log, "plugin loaded: "), 1) << log;
  EXPECT_EQ(occurrences(log, "plugin loaded: " + dir + "/x.so\n"), 1) << log;
  EXPECT_EQ(occurrences(log, "test plugin autorun ran\n"), 1) << log;
}

TEST_F(PluginLoaderTest, PathOf128CharactersIsSearchedAnd129IsRefused) {
  const std::string ok = dirOfLength(kMaxPluginPathLength, root.path());
  place(withEntry, ok + "/y.so");
  const std::string tooLong = dirOfLength(kMaxPluginPathLength + 1, root.path());
  place(withEntry, tooLong + "/z.so");

  StreamCapture err(2);
  loadPlugins(ok);
  loadPlugins(tooLong);
  const std::string log = err.text();

  EXPECT_EQ(occurrences(log, "plugin loaded: " + ok + "/y.so\n"), 1) << log;
  EXPECT_EQ(log.find("z.so"), std::string::npos) << log;
  EXPECT_EQ(occurrences(log,
                        "Refusing to search for snmp plugins in following directory, because "
                        "it's path is longer than 128 characters (recursive symlink?):\n" +
                            tooLong + "\n"),
            1)
      << log;
}

TEST_F(PluginLoaderTest, SymlinkLoopEndsAtTheLengthLimit) {
  const std::string dir = root.path() + "/loop";
  fs::create_directories(dir);
  fs::create_directory_symlink(dir, dir + "/again");
  place(withEntry, dir + "/w.so");

  StreamCapture err(2);
  loadPlugins(dir);
  const std::string log = err.text();
  // Loaded once by its own path; the loop's deeper copies map to the same
  // file and are already loaded, but the walk must end with the refusal.
  EXPECT_GE(occurrences(log, "plugin loaded: " + dir + "/w.so\n"), 1) << log;
  EXPECT_GE(occurrences(log, "Refusing to search for snmp plugins"), 1) << log;
}

TEST_F(PluginLoaderTest, MissingDirectoryIsSilent) {
  StreamCapture err(2);
  loadPlugins(root.path() + "/nothing/here");
  EXPECT_EQ(err.text(), "");
}

}  // namespace
