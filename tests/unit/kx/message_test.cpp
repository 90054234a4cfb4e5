#include "kx/message.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace kx {
namespace {

// A message with one field of every type, nested messages included.
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
  m.setRaw(raw_id(7), message::raw{0x00, 0xff, 0x10});
  m.setRaw(raw_id(8), nullptr, 0);
  m.setMessage(message_id(9), inner);
  m.setMessage(message_id(10), message());
  m.setU32Array(u32_array_id(11), {1, 2, 0xffffffff});
  m.setU32Array(u32_array_id(12), {});
  m.setU64Array(u64_array_id(13), {0, ~0ULL});
  m.setStringArray(string_array_id(14), {"a", "", "ccc"});
  m.setRawArray(raw_array_id(15), {{1}, {}, {2, 3}});
  m.setMessageArray(message_array_id(16), {inner, message(), inner});
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

// The wire value has the first octet most significant; the agent's form
// has the first octet first in memory.
TEST(Message, Be32ConvertsBetweenWireAndNetworkOrder) {
  in_addr a{};
  ASSERT_EQ(inet_pton(AF_INET, "192.0.2.1", &a), 1);
  message m;
  m.setBe32(be32_id(5), a.s_addr);
  EXPECT_EQ(m.getU32(u32_id(5)), 0xC0000201u);
  m.setU32(u32_id(6), 0xC0000201);
  const uint32_t agent = m.getBe32(be32_id(6));
  EXPECT_EQ(std::memcmp(&agent, &a.s_addr, 4), 0);
  EXPECT_EQ(m.getBe32(be32_id(7), 0x1234), 0x1234u);
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
      "\x01\x00\x00\x08" "\x44\x33\x22\x11"
      "\x02\x00\x00\x20" "\x02\x00\x00\x00" "ab"
      "\x03\x00\x00\x00" "\x01",
      4 + 8 + 10 + 5);
  EXPECT_EQ(m.encode(), expect);
  std::string appended = "xy";
  m.encode(appended);
  EXPECT_EQ(appended, "xy" + expect);
}

}  // namespace
}  // namespace kx
