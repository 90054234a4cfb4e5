#include "tools/arg_parse.h"

#include <gtest/gtest.h>

#include "kx/message.h"

namespace kxctl {
namespace {

// One row per word: the value read, or refused with the result untouched
// and a reason that quotes the word.
TEST(ParseU32, DecimalAndHexUpToTheTopValueJunkRefused) {
  const std::pair<const char*, int64_t> cases[] = {
      {"15", 15},          {"0xfe0004", 0xfe0004},  {"0XFFFFFFFF", 0xffffffff},
      {"4294967295", 0xffffffff}, {"", -1},        {"0x", -1},
      {"-1", -1},          {"+1", -1},              {" 1", -1},
      {"1 ", -1},          {"12a", -1},             {"0x1g", -1},
      {"4294967296", -1},  {"0x100000000", -1},     {"99999999999999999999999", -1}};
  for (const auto& [word, want] : cases) {
    SCOPED_TRACE(word);
    std::string err;
    uint32_t v = 77;
    EXPECT_EQ(parseU32(word, v, err), want >= 0);
    EXPECT_EQ(v, want >= 0 ? static_cast<uint32_t>(want) : 77u);
    if (want < 0) {
      EXPECT_NE(err.find('\''), std::string::npos) << err;
    }
  }
}

TEST(ParsePath, CommaSeparatedUpToEightElements) {
  const std::pair<const char*, std::vector<uint32_t>> cases[] = {
      {"20,0", {20, 0}},  {"0x22,1", {34, 1}}, {"1,2,3,4,5,6,7,8", {1, 2, 3, 4, 5, 6, 7, 8}},
      {"", {}},           {",", {}},           {"20,", {}},
      {",0", {}},         {"20,,0", {}},       {"20 ,0", {}},
      {"a,b", {}},        {"1,2,3,4,5,6,7,8,9", {}}};
  for (const auto& [text, want] : cases) {
    SCOPED_TRACE(text);
    std::string err;
    std::vector<uint32_t> path{5};
    EXPECT_EQ(parsePath(text, path, err), !want.empty());
    EXPECT_EQ(path, want.empty() ? std::vector<uint32_t>{5} : want);
    if (want.empty()) {
      EXPECT_NE(err.find("bad path"), std::string::npos) << err;
    }
  }
  EXPECT_EQ(pathText({20, 0}), "20,0");
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
      {"0x88000013=[\"a\"]", "0x88000013"}, {"0x20000005=again", "twice"},
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

}  // namespace
}  // namespace kxctl
