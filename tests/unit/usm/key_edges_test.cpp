// The key chain's edges that no manager reaches: empty passwords and keys,
// an index with no method, and a MAC field that does not lie inside the
// message.  The answers for real users (every digest method, DES, AES and
// the key extension of AES-192/256) are checked against net-snmp, pysnmp
// and snmptrapd, octet by octet, by tests/integration/test_agent_v3.py and
// test_traps.py.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "usm/hmac_key.h"
#include "usm/key_derivation.h"

namespace {

using Bytes = std::vector<uint8_t>;

TEST(KeyChain, EmptyPasswordsUnknownMethodsAndPadBlocks) {
  EXPECT_TRUE(passwordToAKey("", 1u).empty());
  EXPECT_TRUE(passwordToAKey("maplesyrup", 6u).empty());  // no such method
  // Localising the empty key hashes the engine ID alone: MD5("abc").
  const Bytes md5Abc = {0x90, 0x01, 0x50, 0x98, 0x3c, 0xd2, 0x4f, 0xb0,
                        0xd6, 0x96, 0x3f, 0x7d, 0x28, 0xe1, 0x7f, 0x72};
  EXPECT_EQ(aKeyToBKey(Key(), "abc", 0u), md5Abc);
  Key pads(64, 0x36);
  pads.insert(pads.end(), 64, 0x5c);
  EXPECT_EQ(bKeyToDKey(Key(), 0u), pads);
  // SHA-384 and SHA-512 hash in 128-octet blocks: so are their pads.
  const Key d = bKeyToDKey(Key{0x01}, 5u);
  ASSERT_EQ(d.size(), 256u);
  EXPECT_EQ(d[0], 0x37);
  EXPECT_EQ(d[127], 0x36);
  EXPECT_EQ(d[128], 0x5d);
  EXPECT_EQ(d[255], 0x5c);
}

// A datagram's MAC field is found by the decoder; a field that runs past
// the end digests nothing instead of reading beyond the message.
TEST(KeyChain, AMacFieldOutsideTheMessageDigestsNothing) {
  const Bytes message(300, 0x2a);
  HmacKey key;
  ASSERT_TRUE(key.assign(bKeyToDKey(Key(), 0u), methods[0].digest()));
  uint8_t out[kMaxDigestLength];
  EXPECT_EQ(key.digest(message.data(), message.size(), 299, 2, out), 0u);
  EXPECT_EQ(key.digest(message.data(), message.size(), 301, 0, out), 0u);
  EXPECT_EQ(key.digest(message.data(), message.size(), 299, 1, out), 16u);
}

}  // namespace
