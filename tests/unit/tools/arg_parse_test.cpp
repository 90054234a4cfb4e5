#include "tools/arg_parse.h"

#include <gtest/gtest.h>

#include "kx/message.h"

namespace kxctl {
namespace {

TEST(ParseU32, AcceptsDecimalAndHexUpToTheTopValue) {
  std::string err;
  uint32_t v = 0;
  EXPECT_TRUE(parseU32("15", v, err));
  EXPECT_EQ(v, 15u);
  EXPECT_TRUE(parseU32("0xfe0004", v, err));
  EXPECT_EQ(v, 0xfe0004u);
  EXPECT_TRUE(parseU32("0XFFFFFFFF", v, err));
  EXPECT_EQ(v, 0xffffffffu);
  EXPECT_TRUE(parseU32("4294967295", v, err));
  EXPECT_EQ(v, 0xffffffffu);
}

TEST(ParseU32, RefusesJunkAndOverflowWithoutTouchingTheResult) {
  for (const char* bad : {"", "0x", "-1", "+1", " 1", "1 ", "12a", "0x1g", "4294967296",
                          "0x100000000", "99999999999999999999999"}) {
    std::string err;
    uint32_t v = 77;
    EXPECT_FALSE(parseU32(bad, v, err)) << bad;
    EXPECT_EQ(v, 77u) << bad;
    EXPECT_NE(err.find('\''), std::string::npos) << "reason should quote the word: " << err;
  }
}

TEST(ParsePath, ReadsCommaSeparatedElements) {
  std::string err;
  std::vector<uint32_t> path;
  ASSERT_TRUE(parsePath("20,0", path, err));
  EXPECT_EQ(path, (std::vector<uint32_t>{20, 0}));
  ASSERT_TRUE(parsePath("34", path, err));
  EXPECT_EQ(path, (std::vector<uint32_t>{34}));
  ASSERT_TRUE(parsePath("0x22,1", path, err));
  EXPECT_EQ(path, (std::vector<uint32_t>{34, 1}));
  EXPECT_EQ(pathText({20, 0}), "20,0");
}

TEST(ParsePath, RefusesEmptyElementsAndOverlongPaths) {
  for (const char* bad : {"", ",", "20,", ",0", "20,,0", "20 ,0", "a,b", "1,2,3,4,5,6,7,8,9"}) {
    std::string err;
    std::vector<uint32_t> path{5};
    EXPECT_FALSE(parsePath(bad, path, err)) << bad;
    EXPECT_EQ(path, std::vector<uint32_t>{5}) << bad;
    EXPECT_NE(err.find("bad path"), std::string::npos) << err;
  }
  std::string err;
  std::vector<uint32_t> path;
  EXPECT_TRUE(parsePath("1,2,3,4,5,6,7,8", path, err));
}

TEST(ParseFields, ConvertsEachValueByTheKeysType) {
  kx::message m;
  std::string err;
  ASSERT_TRUE(parseFields({"0x20000002=ops desk", "0x0800000e=15", "0x08000010=192.0.2.1",
                           "0x00000001=true", "0x300003e9=4c:5e:0c:00:00:01", "0x88000013=[0,1]",
                           "0x20000003=a=b", "0x20000004=", R"(0x28000020={"0x08000001":5})"},
                          m, err))
      << err;
  EXPECT_EQ(m.getString(0x20000002), "ops desk");
  EXPECT_EQ(m.getU32(0x0800000e), 15u);
  EXPECT_EQ(m.getU32(0x08000010), 0xC0000201u);
  EXPECT_TRUE(m.getBool(0x00000001));
  EXPECT_EQ(m.getRaw(0x300003e9), (kx::message::raw{0x4c, 0x5e, 0x0c, 0x00, 0x00, 0x01}));
  EXPECT_EQ(m.getU32Array(0x88000013), (std::vector<uint32_t>{0, 1}));
  EXPECT_EQ(m.getString(0x20000003), "a=b") << "only the first '=' separates";
  EXPECT_TRUE(m.has(0x20000004));
  EXPECT_EQ(m.getString(0x20000004, "x"), "");
  EXPECT_EQ(m.getMessage(0x28000020).getU32(0x08000001), 5u);
}

struct BadField {
  const char* word;
  const char* reasonPart;
};

TEST(ParseFields, ExplainsEachMistakeAndLeavesTheMessageAlone) {
  const BadField cases[] = {
      {"0x20000002", "key=value"},          {"contact=x", "bad key 'contact'"},
      {"0x08ff0007=5", "reserved"},         {"0x88ff0001=[1]", "reserved"},
      {"0x0800000e=fifteen", "0x0800000e"}, {"0x0800000e=4294967296", "0x0800000e"},
      {"0x08000010=192.0.2", "0x08000010"}, {"0x00000001=maybe", "0x00000001"},
      {"0x300003e9=4c:5", "0x300003e9"},    {"0x88000013=[0,", "JSON"},
      {"0x88000013=[\"a\"]", "0x88000013"},
  };
  for (const BadField& c : cases) {
    kx::message m;
    m.setU32(0x08000001, 9);
    std::string err;
    EXPECT_FALSE(parseFields({"0x20000005=kept", c.word}, m, err)) << c.word;
    EXPECT_NE(err.find(c.reasonPart), std::string::npos) << c.word << " -> " << err;
    EXPECT_EQ(m.size(), 1u) << "a refused list must add nothing: " << c.word;
  }
}

TEST(ParseFields, RefusesAKeyGivenTwice) {
  kx::message m;
  std::string err;
  EXPECT_FALSE(parseFields({"0x20000002=a", "0x20000002=b"}, m, err));
  EXPECT_NE(err.find("twice"), std::string::npos) << err;
  EXPECT_TRUE(m.empty());
}

}  // namespace
}  // namespace kxctl
