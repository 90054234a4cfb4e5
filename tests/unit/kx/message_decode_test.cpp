// Decoding untrusted bytes: everything malformed is refused cleanly.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kx/message.h"

namespace kx {
namespace {

// Little builders for hand-made encodings.
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

message sample() {
  message inner;
  inner.setU32(u32_id(1), 7);
  inner.setRawArray(raw_array_id(2), {{1, 2}, {}});
  message m;
  m.setBool(bool_id(1), true);
  m.setU64(u64_id(2), 99);
  m.setString(string_id(3), "text");
  m.setMessage(message_id(4), inner);
  m.setU32Array(u32_array_id(5), {1, 2, 3});
  m.setStringArray(string_array_id(6), {"x", ""});
  m.setMessageArray(message_array_id(7), {inner, message()});
  m.setU64Array(u64_array_id(8), {5});
  return m;
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
  const std::string bytes = sample().encode();
  ASSERT_TRUE(decodes(bytes));
  for (size_t len = 0; len < bytes.size(); ++len)
    EXPECT_FALSE(decodes(bytes.substr(0, len))) << "prefix of " << len << " bytes";
}

TEST(MessageDecode, TrailingBytesAreRefused) {
  EXPECT_FALSE(decodes(sample().encode() + std::string(1, '\0')));
  EXPECT_FALSE(decodes(message().encode() + "x"));
  EXPECT_FALSE(decodes(std::string()));
}

TEST(MessageDecode, LengthsBeyondTheBufferAreRefused) {
  const std::string key = le32(string_id(1));
  EXPECT_FALSE(decodes(le32(1) + key + le32(5) + "abcd"));
  EXPECT_FALSE(decodes(le32(1) + key + le32(0xffffffff) + "abcd"));
  EXPECT_TRUE(decodes(le32(1) + key + le32(4) + "abcd"));
  // A nested message whose length reaches past the end, or stops short of
  // its contents (leaving bytes that belong to no field).
  const std::string inner = message().encode();
  const std::string mkey = le32(message_id(2));
  EXPECT_TRUE(decodes(le32(1) + mkey + le32(4) + inner));
  EXPECT_FALSE(decodes(le32(1) + mkey + le32(5) + inner));
  EXPECT_FALSE(decodes(le32(1) + mkey + le32(8) + inner + le32(0)));
  EXPECT_FALSE(decodes(le32(1) + mkey + le32(3) + inner));
}

TEST(MessageDecode, CountsThatCannotFitAreRefused) {
  // No memory is reserved for these: the counts exceed what the bytes
  // could hold, so decoding stops at once.
  EXPECT_FALSE(decodes(le32(0xffffffff)));
  EXPECT_FALSE(decodes(le32(0x20000000) + std::string(64, '\0')));
  EXPECT_FALSE(decodes(le32(1) + le32(u32_array_id(1)) + le32(0x40000000) + le32(1)));
  EXPECT_FALSE(decodes(le32(1) + le32(message_array_id(1)) + le32(0xffffffff)));
  EXPECT_FALSE(decodes(le32(1) + le32(string_array_id(1)) + le32(3) + le32(0) + le32(0)));
  EXPECT_TRUE(decodes(le32(1) + le32(string_array_id(1)) + le32(2) + le32(0) + le32(0)));
  // A field count one too high for the fields present.
  EXPECT_FALSE(decodes(le32(2) + le32(bool_id(1)) + std::string(1, '\1')));
}

TEST(MessageDecode, UnknownTypeTagsAreRefused) {
  for (uint32_t tag : {0x38000000u, 0x40000000u, 0x78000000u, 0x80000000u /* bool[] */,
                       0x98000000u, 0xb8000000u, 0xf8000000u}) {
    EXPECT_FALSE(decodes(le32(1) + le32(tag | 1) + le32(0))) << std::hex << tag;
  }
}

TEST(MessageDecode, OnlyZeroAndOneAreBooleans) {
  message m;
  ASSERT_TRUE(decodes(le32(1) + le32(bool_id(1)) + std::string(1, '\1'), &m));
  EXPECT_TRUE(m.getBool(bool_id(1)));
  ASSERT_TRUE(decodes(le32(1) + le32(bool_id(1)) + std::string(1, '\0'), &m));
  EXPECT_TRUE(m.has(bool_id(1)));
  EXPECT_FALSE(decodes(le32(1) + le32(bool_id(1)) + std::string(1, '\2')));
  EXPECT_FALSE(decodes(le32(1) + le32(bool_id(1)) + std::string(1, '\xff')));
}

TEST(MessageDecode, DuplicateKeysAreRefused) {
  EXPECT_FALSE(decodes(le32(2) + le32(u32_id(1)) + le32(1) + le32(u32_id(1)) + le32(2)));
  // Same id with two types is two keys.
  EXPECT_TRUE(decodes(le32(2) + le32(u32_id(1)) + le32(1) + le32(u64_id(1)) + le32(2) + le32(0)));
  // Duplicates inside a nested message, far apart among many fields.
  std::string inner = le32(300);
  for (uint32_t i = 0; i < 300; ++i) inner += le32(u32_id(i == 299 ? 5 : i)) + le32(i);
  EXPECT_FALSE(decodes(le32(1) + le32(message_id(1)) + le32(inner.size()) + inner));
}

TEST(MessageDecode, SizeLimit) {
  // Exactly the limit decodes; one byte more does not.
  const size_t overhead = 4 + 4 + 4;  // count, key, length
  message m;
  m.setRaw(raw_id(1), message::raw(kMaxMessageSize - overhead, 0xab));
  std::string bytes = m.encode();
  ASSERT_EQ(bytes.size(), kMaxMessageSize);
  EXPECT_TRUE(decodes(bytes));
  m.setRaw(raw_id(1), message::raw(kMaxMessageSize - overhead + 1, 0xab));
  bytes = m.encode();
  EXPECT_FALSE(decodes(bytes));
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
  size_t inner = 4;  // innermost: an empty message
  std::vector<size_t> sizes;
  for (int i = 0; i < levels; ++i) {
    sizes.push_back(inner);
    inner += 12;
  }
  for (int i = levels - 1; i >= 0; --i) bytes += le32(1) + le32(message_id(1)) + le32(sizes[i]);
  bytes += le32(0);
  ASSERT_LT(bytes.size(), kMaxMessageSize);
  EXPECT_FALSE(decodes(bytes));
}

TEST(MessageDecode, RandomCorruptionNeverBreaksTheRoundTrip) {
  // Flip bytes of a valid encoding; whatever still decodes must encode and
  // decode to the same message (sanitizers catch any overrun).
  const std::string good = sample().encode();
  uint32_t seed = 12345;
  for (int round = 0; round < 3000; ++round) {
    std::string bytes = good;
    for (int k = 0; k < 3; ++k) {
      seed = seed * 1103515245 + 12345;
      bytes[(seed >> 8) % bytes.size()] = static_cast<char>(seed >> 24);
    }
    message m;
    if (!message::decode(bytes.data(), bytes.size(), m)) continue;
    const std::string again = m.encode();
    message m2;
    ASSERT_TRUE(message::decode(again.data(), again.size(), m2));
    EXPECT_EQ(m, m2);
  }
}

}  // namespace
}  // namespace kx
