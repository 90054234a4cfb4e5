// message::dump() writes its JSON line without the JSON library; these
// cases hold it to the library's own output for the same message, so logs
// and kxctl/kxsim text stay one format.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

#include "kx/message_json.h"

namespace kx {
namespace {

// Keys added in ascending order: then the library's sorted form and
// dump()'s insertion order agree, and the two texts must be equal.
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
  m.setString(string_id(3), "bad\xff\xc0\xaf\xed\xa0\x80 end");             // replaced
  m.setString(string_id(4), std::string("nul\0inside", 10));
  m.setStringArray(string_array_id(5), {"\"quoted\"", "back\\slash", "", "\x7f"});
  expectSameAsLibrary(m);
}

TEST(MessageDumpText, EveryTypeScalarsArraysAndNesting) {
  message leaf;
  leaf.setBool(bool_id(1), false);
  leaf.setString(string_id(2), "tab\there");
  message middle;
  middle.setU32(u32_id(1), 7);
  middle.setMessage(message_id(2), leaf);
  middle.setMessageArray(message_array_id(3), {leaf, message(), leaf});

  message m;
  m.setBool(bool_id(1), true);
  m.setU32(u32_id(2), std::numeric_limits<uint32_t>::max());
  m.setU64(u64_id(3), std::numeric_limits<uint64_t>::max());
  m.setString(string_id(4), "");
  m.setMessage(message_id(5), middle);
  m.setRaw(raw_id(6), message::raw{0x00, 0xab, 0xff});
  m.setRaw(raw_id(7), message::raw{});
  m.setU32Array(u32_array_id(8), {0, 1, 4294967295u});
  m.setU32Array(u32_array_id(9), {});
  m.setU64Array(u64_array_id(10), {0, 18446744073709551615ull});
  m.setStringArray(string_array_id(11), {"a", "b"});
  m.setMessageArray(message_array_id(12), {});
  m.setRawArray(raw_array_id(13), {message::raw{1}, message::raw{}, message::raw{0x4c, 0x5e}});
  expectSameAsLibrary(m);
}

}  // namespace
}  // namespace kx
