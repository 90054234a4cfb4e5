#include "kx/message_json.h"

#include <gtest/gtest.h>

#include <string>

namespace kx {
namespace {

using nlohmann::json;

message fromJson(const std::string& text, std::string* errOut = nullptr) {
  message m;
  std::string err;
  const bool ok = messageFromJson(json::parse(text), m, err);
  if (errOut) *errOut = err;
  EXPECT_EQ(ok, err.empty()) << err;
  return m;
}

TEST(MessageJson, ParsesEveryValueForm) {
  const message m = fromJson(R"({
      "0x08fe0001": 1, "0x08010001": "192.0.2.1", "0x20010006": "ether1",
      "0x300003e9": "4c:5e:0c:00:00:01", "0x300003ea": "4C5E0c", "0x300003eb": "",
      "0x0001000e": true, "0x10000002": 18446744073709551615,
      "0x28000003": { "0x08000001": 4294967295 },
      "0x88000013": [0, 1, "10.0.0.1"], "0x90000004": [], "0xa0000005": ["a", "b"],
      "0xb0000006": ["01:02", ""], "0xa8fe0002": [ {}, { "0x0000000e": false } ] })");
  EXPECT_EQ(m.size(), 14u);
  EXPECT_EQ(m.getRaw(raw_id(0x3e9)), (message::raw{0x4c, 0x5e, 0x0c, 0, 0, 1}));
  EXPECT_EQ(m.getRaw(raw_id(0x3ea)), (message::raw{0x4c, 0x5e, 0x0c}));
  EXPECT_TRUE(m.has(raw_id(0x3eb)));
  EXPECT_EQ(m.getU32Array(u32_array_id(0x13)), (std::vector<uint32_t>{0, 1, 0x0A000001}));
  EXPECT_EQ(m.getRawArray(raw_array_id(6)), (std::vector<message::raw>{{1, 2}, {}}));
  ASSERT_EQ(m.getMessageArray(kObjects).size(), 2u);
  EXPECT_TRUE(m.getMessageArray(kObjects)[1].has(bool_id(0xe)));
}

TEST(MessageJson, ErrorsNameTheKeyAndTheProblem) {
  const std::string u32 = "expected a u32 (number or dotted quad), got ";
  const std::vector<std::pair<std::string, std::string>> cases = {
      {R"({"0x08010001": "abc"})", "0x08010001: " + u32 + "\"abc\""},
      {R"({"0x08010001": 4294967296})", "0x08010001: " + u32 + "4294967296"},
      {R"({"0x08010001": 1.5})", "0x08010001: " + u32 + "1.5"},
      {R"({"0x10000001": "5"})", "0x10000001: expected a u64 (number), got \"5\""},
      {R"({"0x00000001": 1})", "0x00000001: expected a bool (true or false), got 1"},
      {R"({"0x20000001": 7})", "0x20000001: expected a string, got 7"},
      {R"({"0x30000001": "4c:5"})",
       "0x30000001: expected raw bytes (hex, colons allowed), got \"4c:5\""},
      {R"({"0x30000001": ":4c"})",
       "0x30000001: expected raw bytes (hex, colons allowed), got \":4c\""},
      {R"({"0x88000001": [1, "x"]})", "0x88000001: element 1: " + u32 + "\"x\""},
      {R"({"0x88000001": 5})",
       "0x88000001: expected an array of a u32 (number or dotted quad), got 5"},
      {R"({"0x28000001": {"0x28000002": {"0x08000003": true}}})",
       "0x28000001 > 0x28000002 > 0x08000003: " + u32 + "true"},
      {R"({"fe0001": 1})", "\"fe0001\": not a typed key (like \"0x08fe0001\")"},
      {R"({"0x40000001": 1})", "\"0x40000001\": not a typed key (like \"0x08fe0001\")"},
      {R"([])", "expected a message (object), got []"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.first);
    message m;
    std::string err;
    EXPECT_FALSE(messageFromJson(json::parse(c.first), m, err));
    EXPECT_EQ(err, c.second);
  }
}

// An object with `levels` messages nested below it.
std::string nestedJson(int levels) {
  std::string open, close;
  for (int i = 0; i < levels; ++i) {
    open += "{\"0x28000001\":";
    close += "}";
  }
  return open + "{}" + close;
}

TEST(MessageJson, NestingIsLimitedLikeTheWireFormat) {
  std::string err;
  const std::string bytes = fromJson(nestedJson(kMaxNesting), &err).encode();
  EXPECT_EQ(err, "");
  message back;
  EXPECT_TRUE(message::decode(bytes.data(), bytes.size(), back));
  fromJson(nestedJson(kMaxNesting + 1), &err);
  EXPECT_NE(err.find("messages nested deeper than 32"), std::string::npos) << err;
  // A hostile file: refused early, no deep recursion.
  fromJson(nestedJson(20000), &err);
  EXPECT_NE(err, "");
}

TEST(MessageJson, KeysParseInHexOrDecimal) {
  uint32_t key = 0;
  EXPECT_TRUE(parseKey("0XA8FE0002", key));
  EXPECT_EQ(key, 0xa8fe0002u);
  EXPECT_TRUE(parseKey("150994945", key));  // 0x09000001: a u32 key
  EXPECT_EQ(key, 0x09000001u);
  for (const char* bad : {"", "0x", "0x108fe0001", "-1", "4294967296", "0x0800000g", " 1",
                          "0x38000001", "0x80000001"})
    EXPECT_FALSE(parseKey(bad, key)) << bad;
  EXPECT_EQ(keyText(1), "0x00000001");
}

TEST(MessageJson, TextFormsAsTypedOnACommandLine) {
  message m;
  std::string err;
  EXPECT_TRUE(setFieldFromText(m, u32_id(1), "15", err));
  EXPECT_TRUE(setFieldFromText(m, u32_id(2), "192.0.2.1", err));
  EXPECT_TRUE(setFieldFromText(m, string_id(5), "42", err));
  EXPECT_TRUE(setFieldFromText(m, u32_array_id(0x13), "[0,1]", err));
  EXPECT_TRUE(setFieldFromText(m, message_id(7), R"({"0x08000001": 2})", err));
  EXPECT_EQ(m.getU32(u32_id(2)), 0xC0000201u);
  EXPECT_EQ(m.getString(string_id(5)), "42");
  EXPECT_EQ(m.getU32Array(u32_array_id(0x13)), (std::vector<uint32_t>{0, 1}));
  EXPECT_EQ(m.getMessage(message_id(7)).getU32(u32_id(1)), 2u);

  EXPECT_FALSE(setFieldFromText(m, u32_id(1), "abc", err));
  EXPECT_EQ(err, "expected a u32 (number or dotted quad), got \"abc\"");
  EXPECT_FALSE(setFieldFromText(m, u32_id(1), "-3", err));
  EXPECT_FALSE(setFieldFromText(m, bool_id(3), "maybe", err));
  EXPECT_FALSE(setFieldFromText(m, u32_array_id(0x13), "[0,", err));
  EXPECT_EQ(err, "expected JSON (an array), got \"[0,\"");
  EXPECT_EQ(m.getU32(u32_id(1)), 15u);  // failures leave the field alone
}

// The parsers that kx, kxsim and kxctl share take the whole text or nothing
// and leave their output alone on failure.
TEST(TextForms, QuadsNumbersAndHexTakeTheWholeTextOrNothing) {
  const std::pair<const char*, int64_t> quads[] = {{"192.0.2.1", 0xC0000201},
                                                   {"0.0.0.0", 0},
                                                   {"255.255.255.255", 0xffffffff},
                                                   {" 10.0.0.1", -1},
                                                   {"010.0.0.1", -1},
                                                   {"10.0.0.1 ", -1},
                                                   {"1.2.3", -1},
                                                   {"1.2.3.4.5", -1},
                                                   {"1.2.3.256", -1},
                                                   {"1..2.3", -1},
                                                   {"", -1},
                                                   {"1.2.3.4/24", -1},
                                                   {"-1.2.3.4", -1},
                                                   {"1234.1.1.1", -1}};
  for (const auto& [text, want] : quads) {
    uint32_t v = 7;
    EXPECT_EQ(parseDottedQuad(text, v), want >= 0) << text;
    EXPECT_EQ(v, want >= 0 ? static_cast<uint32_t>(want) : 7u) << text;
    if (want >= 0) {
      EXPECT_EQ(dottedQuadText(v), text);
    }
  }
  const std::pair<const char*, int64_t> numbers[] = {{"15", 15},
                                                     {"0xfe0004", 0xfe0004},
                                                     {"0XFFFFFFFF", 0xffffffff},
                                                     {"4294967295", 0xffffffff},
                                                     {"", -1},
                                                     {"0x", -1},
                                                     {"-1", -1},
                                                     {"+1", -1},
                                                     {" 1", -1},
                                                     {"1 ", -1},
                                                     {"12a", -1},
                                                     {"0x1g", -1},
                                                     {"4294967296", -2},
                                                     {"0x100000000", -2},
                                                     {"99999999999999999999999", -2}};
  for (const auto& [text, want] : numbers) {
    uint64_t v = 7;
    bool tooLarge = false;
    EXPECT_EQ(parseNumber(text, 0xffffffff, v, &tooLarge), want >= 0) << text;
    EXPECT_EQ(v, want >= 0 ? static_cast<uint64_t>(want) : 7u) << text;
    EXPECT_EQ(tooLarge, want == -2) << text;
  }
  message::raw bytes{9};
  for (const char* bad : {"4c:5", ":4c", "4c:", "4c::5e", "4", "4g", "4c 5e"})
    EXPECT_FALSE(parseHex(bad, bytes)) << bad;
  EXPECT_EQ(bytes, message::raw{9});
  EXPECT_TRUE(parseHex("4C:5e0c", bytes));
  EXPECT_EQ(hexText(bytes), "4c:5e:0c");
}

}  // namespace
}  // namespace kx
