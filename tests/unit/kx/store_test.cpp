#include "kx/store.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "kx/platform.h"
#include "kx/store_file.h"
#include "tests/unit/support/temp_root.h"

namespace kx {
namespace {

class StoreTest : public ::testing::Test {
 protected:
  static std::vector<std::string> files(const std::string& dir) {
    std::vector<std::string> out;
    for (const auto& e : std::filesystem::directory_iterator(dir))
      out.push_back(e.path().filename());
    std::sort(out.begin(), out.end());
    return out;
  }
  static void writeFile(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
  }
  static bool exists(const std::string& path) { return std::filesystem::exists(path); }

  test_support::TempRoot root_;
};

message object(uint32_t n) {
  message m;
  m.setU32(kObjId, n);
  m.setString(string_id(2), "object " + std::to_string(n));
  m.setMessageArray(message_array_id(3), {m, m});
  return m;
}

TEST_F(StoreTest, SaveLoadReplaceRemove) {
  Store s("/sarn/store/x", 5);
  EXPECT_EQ(s.dir(), root_.path() + "/sarn/store/x");
  message out;
  EXPECT_FALSE(s.load(0, out));
  ASSERT_TRUE(s.save(0, object(1)));
  ASSERT_TRUE(s.save(0, object(2)));
  ASSERT_TRUE(s.save(0xffffffff, message()));
  // A second store on the same directory sees the same objects.
  Store again("/sarn/store/x", 5);
  ASSERT_TRUE(again.load(0, out));
  EXPECT_EQ(out, object(2));
  ASSERT_TRUE(again.load(0xffffffff, out));
  EXPECT_TRUE(out.empty());
  EXPECT_TRUE(s.remove(0));
  EXPECT_FALSE(s.remove(0));
  EXPECT_FALSE(again.has(0));
  // Only the object files remain: no temporary files are left behind.
  EXPECT_EQ(files(s.dir()), std::vector<std::string>{"4294967295"});
  // Objects are private to the owner: they may hold passwords.
  struct stat st;
  ASSERT_EQ(::stat((s.dir() + "/4294967295").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0600u);
}

TEST_F(StoreTest, IdsAscendNumericallyAndIgnoreOtherFiles) {
  Store s("/sarn/store/x", 5);
  for (uint32_t id : {100u, 2u, 10u, 0u, 4000000000u}) ASSERT_TRUE(s.save(id, object(id)));
  for (const char* other : {"07", "abc", "3.damaged", ".5.123.tmp", "12x", "99999999999"})
    writeFile(s.dir() + "/" + other, "junk");
  EXPECT_EQ(s.ids(), (std::vector<uint32_t>{0, 2, 10, 100, 4000000000u}));
  const auto all = s.loadAll();
  ASSERT_EQ(all.size(), 5u);
  EXPECT_EQ(all[3].second, object(100));
}

TEST_F(StoreTest, DamagedObjectsAreReportedOnceAndSetAside) {
  Store s("/sarn/store/x", 5);
  ASSERT_TRUE(s.save(1, object(1)));
  const std::string good = StoreFile::encode(object(7), 5);
  auto flip = [&](size_t at) {
    std::string bad = good;
    bad[at] ^= 1;
    return bad;
  };
  // A payload that passes the checksum but is no message.
  std::string undecodable = good.substr(0, StoreFile::kHeaderSize) + "\x01\x00\x00\x00";
  undecodable[12] = 4;
  undecodable[13] = undecodable[14] = undecodable[15] = 0;
  const uint32_t crc = StoreFile::crc32("\x01\x00\x00\x00", 4);
  for (int i = 0; i < 4; ++i) undecodable[16 + i] = static_cast<char>(crc >> (8 * i));
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"truncated", good.substr(0, good.size() - 1)},
      {"header only", good.substr(0, 10)},
      {"empty", ""},
      {"checksum", flip(good.size() - 1)},
      {"magic", flip(0)},
      {"length", flip(12)},
      {"undecodable", undecodable},
      {"oversized", good + std::string(StoreFile::kMaxFileSize, 'x')},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.first);
    writeFile(s.dir() + "/7", c.second);
    message out;
    ::testing::internal::CaptureStderr();
    EXPECT_FALSE(s.load(7, out));
    EXPECT_FALSE(s.load(7, out));  // already set aside: silent
    const std::string err = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(err.rfind("kx: store " + s.dir() + ": object 7 is damaged (", 0), 0u) << err;
    EXPECT_NE(err.find("), set aside as 7.damaged\n"), std::string::npos) << err;
    EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << err;
    EXPECT_TRUE(out.empty());
    EXPECT_FALSE(exists(s.dir() + "/7"));
    EXPECT_TRUE(exists(s.dir() + "/7.damaged"));
  }
  // The others load as before, and the id can be written afresh.
  ::testing::internal::CaptureStderr();
  writeFile(s.dir() + "/7", "garbage");
  const auto all = s.loadAll();
  ::testing::internal::GetCapturedStderr();
  ASSERT_EQ(all.size(), 1u);
  EXPECT_EQ(all[0].first, 1u);
  ASSERT_TRUE(s.save(7, object(7)));
  message out;
  EXPECT_TRUE(s.load(7, out));
}

TEST_F(StoreTest, ADamagedObjectFallsBackToItsPreviousVersion) {
  Store s("/sarn/store/x", 5);
  const std::string path = s.dir() + "/7";
  auto damage = [](const std::string& file) {
    std::fstream f(file, std::ios::in | std::ios::out | std::ios::binary);
    f.seekp(StoreFile::kHeaderSize + 2);
    f.put('\xff');
  };
  auto loadQuietly = [&](message& out, std::string& err) {
    ::testing::internal::CaptureStderr();
    const bool ok = s.load(7, out);
    err = ::testing::internal::GetCapturedStderr();
    return ok;
  };
  for (uint32_t n : {1, 2, 3}) ASSERT_TRUE(s.save(7, object(n)));
  // A damaged version is never kept as the previous one.
  damage(path);
  ASSERT_TRUE(s.save(7, object(4)));
  damage(path);
  message out;
  std::string err;
  ASSERT_TRUE(loadQuietly(out, err));
  EXPECT_EQ(out, object(2));
  EXPECT_EQ(err, "kx: store " + s.dir() +
                     ": object 7 is damaged (checksum mismatch), set aside as 7.damaged; its "
                     "previous generation is used\n");
  // Put back in place: it loads silently, and is still there for a second
  // fault.
  ASSERT_TRUE(loadQuietly(out, err));
  EXPECT_EQ(err, "");
  damage(path);
  ASSERT_TRUE(loadQuietly(out, err));
  EXPECT_EQ(out, object(2));
  // Both versions damaged: set aside as before.
  damage(path);
  damage(path + ".prev");
  EXPECT_FALSE(loadQuietly(out, err));
  EXPECT_NE(err.find("object 7 is damaged (checksum mismatch), set aside as 7.damaged\n"),
            std::string::npos);
  EXPECT_FALSE(s.has(7));
  // Written afresh, an object has no previous version, not even a stale one.
  ASSERT_TRUE(s.save(7, object(5)));
  damage(path);
  EXPECT_FALSE(loadQuietly(out, err));
}

TEST_F(StoreTest, AFailedWriteNamesTheObjectTheFileAndTheReason) {
  Store s("/sarn/store/x", 5);
  ASSERT_TRUE(s.save(3, object(1)));
  rlimit saved{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &saved), 0);
  const int lowestFree = dup(0);
  ::close(lowestFree);
  rlimit tight = saved;
  tight.rlim_cur = lowestFree;  // no descriptor left
  ::testing::internal::CaptureStderr();
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &tight), 0);
  const bool ok = s.save(3, object(2));
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &saved), 0);
  EXPECT_FALSE(ok);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "kx: store " + s.dir() + ": object 3 not saved: cannot create " + s.dir() + "/.3." +
                std::to_string(::getpid()) + ".tmp: Too many open files\n");
  message out;
  ASSERT_TRUE(s.load(3, out));
  EXPECT_EQ(out, object(1));
}

TEST_F(StoreTest, LeftoverTemporaryFilesOfDeadWritersAreRemoved) {
  Store s("/sarn/store/x", 5);
  ASSERT_TRUE(s.save(5, object(5)));
  const pid_t dead = ::fork();
  if (dead == 0) ::_exit(0);
  ASSERT_GT(dead, 0);
  ::waitpid(dead, nullptr, 0);
  const std::string stale = s.dir() + "/.5." + std::to_string(dead) + ".tmp";
  const std::string live = s.dir() + "/.5." + std::to_string(::getppid()) + ".tmp";
  writeFile(stale, "half written");
  writeFile(live, "being written");
  Store reopened("/sarn/store/x", 5);
  EXPECT_FALSE(exists(stale));
  EXPECT_TRUE(exists(live));  // its writer still runs
  message out;
  ASSERT_TRUE(reopened.load(5, out));
  EXPECT_EQ(out, object(5));
  EXPECT_EQ(reopened.ids(), std::vector<uint32_t>{5});
}

TEST(StoreFile, LayoutAndChecksum) {
  // The standard CRC-32 check value.
  EXPECT_EQ(StoreFile::crc32("123456789", 9), 0xCBF43926u);
  const std::string bytes = StoreFile::encode(object(3), 0x01020304);
  EXPECT_EQ(bytes.substr(0, 12), std::string("kxso\x01\x00\x00\x00\x04\x03\x02\x01", 12));
  EXPECT_EQ(bytes.substr(StoreFile::kHeaderSize), object(3).encode());
  message out;
  unsigned version = 0;
  std::string why;
  ASSERT_TRUE(StoreFile::decode(bytes.data(), bytes.size(), out, version, why));
  EXPECT_EQ(out, object(3));
  EXPECT_EQ(version, 0x01020304u);
  std::string future = bytes;
  future[4] = 2;
  EXPECT_FALSE(StoreFile::decode(future.data(), future.size(), out, version, why));
  EXPECT_EQ(why, "unknown format version 2");
}

// Each object's fields all carry the same sequence number, so a torn or
// mixed write is detectable.  Sizes vary with the number, so a file that
// kept an old length would show too.
message crashObject(uint32_t id, uint32_t seq) {
  message m;
  m.setU32(kObjId, id);
  for (uint32_t f = 1; f <= 8; ++f) m.setU32(u32_id(f), seq);
  m.setString(string_id(9), std::string(100 + seq % 97, static_cast<char>('a' + seq % 26)));
  m.setU32Array(u32_array_id(10), std::vector<uint32_t>(seq % 300, seq));
  return m;
}

// Returns the sequence number of a consistent object, or -1.
long checkCrashObject(uint32_t id, const message& m) {
  const uint32_t seq = m.getU32(u32_id(1));
  return m == crashObject(id, seq) ? static_cast<long>(seq) : -1;
}

TEST_F(StoreTest, KilledWriterLeavesOldOrNewObjects) {
  constexpr uint32_t kObjects = 4;
  constexpr int kRounds = 30;
  std::mt19937 rng(20260501);
  std::vector<long> last(kObjects, 0);
  {
    Store s("/sarn/store/crash", 1);
    for (uint32_t id = 0; id < kObjects; ++id) ASSERT_TRUE(s.save(id, crashObject(id, 0)));
  }
  uint32_t seqBase = 1;
  int torn = 0;
  for (int round = 0; round < kRounds; ++round) {
    int ready[2];
    ASSERT_EQ(::pipe(ready), 0);
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      ::close(ready[0]);
      Store s("/sarn/store/crash", 1);
      for (uint32_t seq = seqBase;; ++seq) {
        for (uint32_t id = 0; id < kObjects; ++id) s.save(id, crashObject(id, seq));
        if (seq == seqBase) (void)!::write(ready[1], "r", 1);
      }
    }
    ::close(ready[1]);
    // Most rounds let the writer finish one pass first, so that a busy
    // machine cannot starve it; every third round kills it at once.
    if (round % 3 != 0) {
      pollfd p{ready[0], POLLIN, 0};
      EXPECT_EQ(::poll(&p, 1, 10000), 1) << "the writer made no progress";
    }
    ::usleep(std::uniform_int_distribution<int>(0, 10000)(rng));
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    ::close(ready[0]);
    Store s("/sarn/store/crash", 1);
    ASSERT_EQ(s.ids().size(), kObjects);
    for (uint32_t id = 0; id < kObjects; ++id) {
      message m;
      if (!s.load(id, m)) {
        ++torn;
        continue;
      }
      const long seq = checkCrashObject(id, m);
      if (seq < 0) {
        ++torn;
        continue;
      }
      EXPECT_GE(seq, last[id]) << "object " << id << " went back in time";
      last[id] = seq;
      seqBase = std::max<uint32_t>(seqBase, static_cast<uint32_t>(seq) + 1);
    }
    // The dead writer's temporary file is gone once the store is reopened.
    for (const std::string& f : files(s.dir())) EXPECT_NE(f[0], '.') << f;
  }
  EXPECT_EQ(torn, 0);
  // The writer got somewhere: this test is not vacuous.
  EXPECT_GT(seqBase, 1u);
}

}  // namespace
}  // namespace kx
