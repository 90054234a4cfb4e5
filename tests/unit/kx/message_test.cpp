#include "kx/message.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kx/message_json.h"

namespace kx {
namespace {

// A message with one field of every type, nested messages included, its
// keys added in ascending order (see MessageDumpText).
message everyType() {
  message inner;
  inner.setU32(u32_id(1), 7);
  inner.setString(string_id(2), "inner");
  message m;
  m.setBool(bool_id(1), true);
  m.setBool(bool_id(2), false);
  m.setU32(u32_id(3), 0xdeadbeef);
  m.setU64(u64_id(4), 0x0123456789abcdefULL);
  m.setString(string_id(5), std::string("with\0nul", 8));
  m.setString(string_id(6), "");
  m.setMessage(message_id(9), inner);
  m.setMessage(message_id(10), message());
  m.setRaw(raw_id(7), message::raw{0x00, 0xff, 0x10});
  m.setRaw(raw_id(8), nullptr, 0);
  m.setU32Array(u32_array_id(11), {1, 2, 0xffffffff});
  m.setU32Array(u32_array_id(12), {});
  m.setU64Array(u64_array_id(13), {0, ~0ULL});
  m.setStringArray(string_array_id(14), {"a", "", "ccc"});
  m.setMessageArray(message_array_id(16), {inner, message(), inner});
  m.setRawArray(raw_array_id(15), {{1}, {}, {2, 3}});
  return m;
}

message roundTrip(const message& m) {
  const std::string bytes = m.encode();
  message out;
  EXPECT_TRUE(message::decode(bytes.data(), bytes.size(), out));
  return out;
}

TEST(Message, AbsentOrMistypedKeysGiveTheDefault) {
  const message m = everyType();
  EXPECT_EQ(m.getU32(u32_id(99), 42), 42u);
  // Field 3 is a u32; asking for id 3 with another type finds nothing.
  EXPECT_EQ(m.getU64(u64_id(3), 5), 5u);
  EXPECT_FALSE(m.has(string_id(3)));
  EXPECT_TRUE(m.getMessage(message_id(99)).empty());
}

TEST(Message, SetReplacesInPlaceEraseAndMergeKeepOrder) {
  message m;
  m.setU32(u32_id(1), 1);
  m.setString(string_id(2), "two");
  m.setU32(u32_id(3), 3);
  m.setString(string_id(2), "deux");
  ASSERT_EQ(m.size(), 3u);
  EXPECT_EQ(m.keyAt(1), string_id(2));
  EXPECT_EQ(m.getString(string_id(2)), "deux");
  // Same id, other type: a second field.
  m.setU64(u64_id(1), 9);
  EXPECT_EQ(m.size(), 4u);
  EXPECT_EQ(m.getU32(u32_id(1)), 1u);
  m.erase(string_id(2));
  EXPECT_EQ(m.keyAt(1), u32_id(3));
  message b;
  b.setU32(u32_id(3), 30);
  b.setString(string_id(4), "four");
  m.merge(b);
  EXPECT_EQ(m.size(), 4u);
  EXPECT_EQ(m.getU32(u32_id(3)), 30u);
  EXPECT_EQ(m.keyAt(3), string_id(4));
}

TEST(Message, SettingFromAValueInsideTheSameMessage) {
  message m;
  m.setString(string_id(1), std::string(100, 'x'));
  // Adding fields may move the stored ones; the argument is a reference
  // into the message itself.
  for (uint32_t i = 2; i < 40; ++i) m.setString(string_id(i), *m.findString(string_id(1)));
  EXPECT_EQ(m.getString(string_id(39)), std::string(100, 'x'));
  message outer;
  outer.setMessage(message_id(1), everyType());
  outer.setMessage(message_id(2), *outer.findMessage(message_id(1)));
  outer.merge(*outer.findMessage(message_id(2)));
  EXPECT_EQ(outer.getMessage(message_id(2)), everyType());
  EXPECT_EQ(outer.size(), 18u);
}

TEST(Message, MismatchedSetterKeyIsIgnored) {
  message m;
  EXPECT_DEBUG_DEATH(m.setU32(string_id(1), 5), "type tag");
  EXPECT_FALSE(m.has(string_id(1)));
  EXPECT_FALSE(m.has(u32_id(1)));
}

TEST(Message, EqualityIgnoresFieldOrderButNotValues) {
  message a, b;
  a.setU32(u32_id(1), 1);
  a.setString(string_id(2), "x");
  b.setString(string_id(2), "x");
  b.setU32(u32_id(1), 1);
  EXPECT_EQ(a, b);
  b.setBool(bool_id(3), false);
  EXPECT_NE(a, b);
  message c = everyType();
  c.messageArray(message_array_id(16))[1].setU32(u32_id(1), 0);
  EXPECT_NE(c, everyType());
}

TEST(MessageCodec, RoundTripsEveryTypeInOrderAndLargeArrays) {
  const message m = everyType();
  const message out = roundTrip(m);
  EXPECT_EQ(out, m);
  for (size_t i = 0; i < m.size(); ++i) EXPECT_EQ(out.keyAt(i), m.keyAt(i));
  EXPECT_EQ(roundTrip(message()), message());

  message big;
  std::vector<uint32_t> nums(20000);
  for (size_t i = 0; i < nums.size(); ++i) nums[i] = static_cast<uint32_t>(i * 7919);
  big.setU32Array(u32_array_id(1), nums);
  big.setMessageArray(kObjects, std::vector<message>(1000, everyType()));
  big.setString(string_id(2), std::string(100000, 'z'));
  EXPECT_EQ(roundTrip(big), big);
}

TEST(MessageCodec, ExactByteLayout) {
  message m;
  m.setU32(u32_id(1), 0x11223344);
  m.setString(string_id(2), "ab");
  m.setBool(bool_id(3), true);
  const std::string expect(
      "\x03\x00\x00\x00"
      "\x01\x00\x00\x08"
      "\x44\x33\x22\x11"
      "\x02\x00\x00\x20"
      "\x02\x00\x00\x00"
      "ab"
      "\x03\x00\x00\x00"
      "\x01",
      4 + 8 + 10 + 5);
  EXPECT_EQ(m.encode(), expect);
  std::string appended = "xy";
  m.encode(appended);
  EXPECT_EQ(appended, "xy" + expect);
}

// Decoding untrusted bytes: everything malformed is refused cleanly.
std::string le32(uint32_t v) {
  std::string s(4, '\0');
  for (int i = 0; i < 4; ++i) s[i] = static_cast<char>(v >> (8 * i));
  return s;
}

bool decodes(const std::string& bytes, message* out = nullptr) {
  message m;
  m.setU32(u32_id(1), 1);  // must come back empty on failure
  const bool ok = message::decode(bytes.data(), bytes.size(), m);
  if (!ok) {
    EXPECT_TRUE(m.empty());
  }
  if (out) *out = m;
  return ok;
}

// A message nested `levels` deep under key message_id(1).
message nested(int levels) {
  message m;
  m.setU32(u32_id(9), 9);
  for (int i = 0; i < levels; ++i) {
    message outer;
    outer.setMessage(message_id(1), m);
    m = outer;
  }
  return m;
}

TEST(MessageDecode, EveryTruncationIsRefused) {
  const std::string bytes = everyType().encode();
  ASSERT_TRUE(decodes(bytes));
  for (size_t len = 0; len < bytes.size(); ++len)
    EXPECT_FALSE(decodes(bytes.substr(0, len))) << "prefix of " << len << " bytes";
}

TEST(MessageDecode, HandMadeEncodings) {
  const std::string one = le32(1);
  const std::string skey = le32(string_id(1));
  const std::string mkey = le32(message_id(2));
  const std::string empty = message().encode();
  std::string manyFields = le32(300);  // id 5 again, far from the first
  for (uint32_t i = 0; i < 300; ++i) manyFields += le32(u32_id(i == 299 ? 5 : i)) + le32(i);
  struct Case {
    const char* what;
    std::string bytes;
    bool ok;
  };
  const std::vector<Case> cases = {
      {"nothing", "", false},
      {"trailing byte", everyType().encode() + std::string(1, '\0'), false},
      {"string of exact length", one + skey + le32(4) + "abcd", true},
      {"string past the end", one + skey + le32(5) + "abcd", false},
      {"nested of exact length", one + mkey + le32(4) + empty, true},
      {"nested past the end", one + mkey + le32(5) + empty, false},
      {"nested with stray bytes", one + mkey + le32(8) + empty + le32(0), false},
      // Counts the bytes could never hold: refused before reserving memory.
      {"field count 2^32-1", le32(0xffffffff), false},
      {"u32 array count", one + le32(u32_array_id(1)) + le32(0x40000000) + le32(1), false},
      {"message array count", one + le32(message_array_id(1)) + le32(0xffffffff), false},
      {"string array of 3 in 2", one + le32(string_array_id(1)) + le32(3) + le32(0) + le32(0),
       false},
      {"string array of 2", one + le32(string_array_id(1)) + le32(2) + le32(0) + le32(0), true},
      {"field count one too high", le32(2) + le32(bool_id(1)) + std::string(1, '\1'), false},
      {"bool 1", one + le32(bool_id(1)) + std::string(1, '\1'), true},
      {"bool 0", one + le32(bool_id(1)) + std::string(1, '\0'), true},
      {"bool 2", one + le32(bool_id(1)) + std::string(1, '\2'), false},
      {"duplicate key", le32(2) + le32(u32_id(1)) + le32(1) + le32(u32_id(1)) + le32(2), false},
      {"same id, two types",
       le32(2) + le32(u32_id(1)) + le32(1) + le32(u64_id(1)) + le32(2) + le32(0), true},
      {"duplicate deep in a nested message",
       one + le32(message_id(1)) + le32(manyFields.size()) + manyFields, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(decodes(c.bytes), c.ok);
  }
  for (uint32_t tag : {0x38000000u, 0x40000000u, 0x78000000u, 0x80000000u /* bool[] */, 0x98000000u,
                       0xb8000000u, 0xf8000000u})
    EXPECT_FALSE(decodes(one + le32(tag | 1) + le32(0))) << "type tag " << std::hex << tag;
}

TEST(MessageDecode, SizeLimit) {
  // Exactly the limit decodes; one byte more does not.
  const size_t overhead = 4 + 4 + 4;  // count, key, length
  message m;
  m.setRaw(raw_id(1), message::raw(kMaxMessageSize - overhead, 0xab));
  ASSERT_EQ(m.encode().size(), kMaxMessageSize);
  EXPECT_TRUE(decodes(m.encode()));
  m.setRaw(raw_id(1), message::raw(kMaxMessageSize - overhead + 1, 0xab));
  EXPECT_FALSE(decodes(m.encode()));
}

TEST(MessageDecode, NestingDepthIsLimited) {
  message out;
  ASSERT_TRUE(decodes(nested(kMaxNesting).encode(), &out));
  EXPECT_EQ(out, nested(kMaxNesting));
  EXPECT_FALSE(decodes(nested(kMaxNesting + 1).encode()));
  // The same through message arrays.
  message a;
  for (int i = 0; i <= kMaxNesting; ++i) {
    message outer;
    outer.setMessageArray(message_array_id(1), {a});
    a = outer;
  }
  EXPECT_FALSE(decodes(a.encode()));
}

TEST(MessageDecode, NestingBombStopsEarly) {
  // 80,000 levels of "one message field" headers in under 1 MiB: refused
  // without walking (or recursing) through them all.
  const int levels = 80000;
  std::string bytes;
  for (int i = levels - 1; i >= 0; --i)
    bytes += le32(1) + le32(message_id(1)) + le32(4 + 12 * static_cast<uint32_t>(i));
  bytes += le32(0);
  ASSERT_LT(bytes.size(), kMaxMessageSize);
  EXPECT_FALSE(decodes(bytes));
}

// message::dump() writes its JSON line without the JSON library; it must
// give the library's own output for the same message, so logs and
// kxctl/kxsim text stay one format.  With keys added in ascending order the
// library's sorted form and dump()'s insertion order agree.
void expectSameAsLibrary(const message& m) {
  for (size_t i = 1; i < m.size(); ++i) ASSERT_LT(m.keyAt(i - 1), m.keyAt(i));
  EXPECT_EQ(m.dump(), messageToJson(m).dump());
}

std::string everyAsciiByte() {
  std::string s;
  for (int c = 0; c < 0x80; ++c) s.push_back(static_cast<char>(c));
  return s;
}

TEST(MessageDumpText, EscapesStringsLikeTheJsonLibrary) {
  message m;
  m.setString(string_id(1), everyAsciiByte());
  m.setString(string_id(2), "caf\xc3\xa9 \xe2\x82\xac \xf0\x9f\x93\xa1");  // kept as UTF-8
  m.setString(string_id(3), "bad\xff\xc0\xaf\xed\xa0\x80 end");            // replaced
  m.setString(string_id(4), std::string("nul\0inside", 10));
  // Arrays too; an invalid element (a UTF-16 surrogate) must not make the
  // library throw.
  m.setStringArray(string_array_id(5), {"\"quoted\"", "back\\slash", "", "\x7f", "\xed\xa0\x80"});
  expectSameAsLibrary(m);
}

TEST(MessageDumpText, EveryTypeScalarsArraysAndNesting) { expectSameAsLibrary(everyType()); }

}  // namespace
}  // namespace kx
