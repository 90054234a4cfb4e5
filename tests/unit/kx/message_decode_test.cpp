// Decoding untrusted bytes: everything malformed is refused cleanly.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kx/message.h"

namespace kx {
namespace {

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
      {"trailing byte", sample().encode() + std::string(1, '\0'), false},
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
  for (uint32_t tag : {0x38000000u, 0x40000000u, 0x78000000u, 0x80000000u /* bool[] */,
                       0x98000000u, 0xb8000000u, 0xf8000000u})
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

}  // namespace
}  // namespace kx
