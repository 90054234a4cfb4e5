// Known answers of the key chain, the HMAC and the ciphers: published test
// vectors where they exist, otherwise values from independent
// implementations (named with each table).
#include <gtest/gtest.h>
#include <openssl/hmac.h>

#include <string>
#include <vector>

#include "usm/key_derivation.h"
#include "usm/privacy.h"
#include "usm/v3_info.h"

namespace {

using Bytes = std::vector<uint8_t>;

Bytes hex(const std::string& text) {
  Bytes out;
  for (size_t i = 0; i + 1 < text.size(); i += 2) {
    out.push_back(static_cast<uint8_t>(std::stoul(text.substr(i, 2), nullptr, 16)));
  }
  return out;
}

std::string str(const Bytes& b) { return std::string(b.begin(), b.end()); }

// RFC 3414 A.3's engine ID and password.
const std::string kRfcEngine = str(hex("000000000000000000000002"));
const std::string kRfcPassword = "maplesyrup";

// A-key and B-key of "maplesyrup" for the RFC engine.  MD5 and SHA-1: RFC
// 3414 A.3.1 and A.3.2.  SHA-2: the same algorithm run by pysnmp's
// rfc3414.localkey (hashPassphrase, localizeKey) with hashlib's digests.
TEST(KeyChain, PasswordToKeyAndLocalisationPerMethod) {
  const struct {
    uint32_t method;
    const char* aKey;
    const char* bKey;
  } cases[] = {
      {0, "9faf3283884e92834ebc9847d8edd963", "526f5eed9fcce26f8964c2930787d82b"},
      {1, "9fb5cc0381497b3793528939ff788d5d79145211", "6695febc9288e36282235fc7151f128497b38f3f"},
      {2, nullptr, "0bd8827c6e29f8065e08e09237f177e410f69b90e1782be682075674"},
      {3, nullptr, "8982e0e549e866db361a6b625d84cccc11162d453ee8ce3a6445c2d6776f0f8b"},
      {4, nullptr,
       "3b298f16164a11184279d5432bf169e2d2a48307de02b3d3f7e2b4f36eb6f045"
       "5a53689a3937eea07319a633d2ccba78"},
      {5, nullptr,
       "22a5a36cedfcc085807a128d7bc6c2382167ad6c0dbc5fdff856740f3d84c099"
       "ad1ea87a8db096714d9788bd544047c9021e4229ce27e4c0a69250adfcffbb0b"},
  };
  for (const auto& c : cases) {
    const Key a = passwordToAKey(kRfcPassword, c.method);
    if (c.aKey) {
      EXPECT_EQ(a, hex(c.aKey)) << c.method;
    }
    EXPECT_EQ(aKeyToBKey(a, kRfcEngine, c.method), hex(c.bKey)) << c.method;
  }
  EXPECT_TRUE(passwordToAKey(kRfcPassword, 6).empty());  // no such method
}

TEST(KeyChain, EmptyPasswordAndPadBlocks) {
  EXPECT_TRUE(passwordToAKey("", 1u).empty());
  // Localising the empty key hashes the engine ID alone.
  EXPECT_EQ(aKeyToBKey(Key(), "abc", 0u), hex("900150983cd24fb0d6963f7d28e17f72"));
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

// digestMessage against OpenSSL's own HMAC (a separate implementation from
// the pre-fed states), with the authentication parameters taken as zeros.
TEST(KeyChain, DigestMessageIsTheHmacWithTheMacFieldZeroed) {
  const std::string engine = formatEngineID("hmac");
  Bytes message(300);
  for (size_t i = 0; i < message.size(); ++i) message[i] = static_cast<uint8_t>(i * 7);
  const Bytes original = message;
  const size_t position = 100;
  for (uint32_t method = 0; method < kAuthMethodCount; ++method) {
    const evp_md_st* md = methods[method].digest();
    const Key b = aKeyToBKey(passwordToAKey("hmac password", md), engine, md);
    std::vector<uint8_t> digest;
    digestMessage(digest, message.data(), message.size(), bKeyToDKey(b, md), position,
                  methods[method].macLength, method);
    EXPECT_EQ(message, original);

    Bytes zeroed = message;
    std::fill(zeroed.begin() + position, zeroed.begin() + position + methods[method].macLength, 0);
    unsigned char expected[EVP_MAX_MD_SIZE];
    unsigned n = 0;
    HMAC(md, b.data(), static_cast<int>(b.size()), zeroed.data(), zeroed.size(), expected, &n);
    EXPECT_EQ(digest, Bytes(expected, expected + n)) << methods[method].name;
  }
  // A hole outside the message digests nothing.
  HmacKey key;
  ASSERT_TRUE(key.assign(bKeyToDKey(Key(), 0u), methods[0].digest()));
  uint8_t out[kMaxDigestLength];
  EXPECT_EQ(key.digest(message.data(), message.size(), 299, 2, out), 0u);
  EXPECT_EQ(key.digest(message.data(), message.size(), 299, 1, out), 16u);
}

// DES: FIPS 81 appendix C (CBC).  AES-128-CFB: NIST SP 800-38A F.3.13, its
// IV split into boots, time and salt as RFC 3826 builds it.  Each key is
// set up once and used both ways, in place, as a user's key is.
TEST(Ciphers, PublishedVectorsBothWaysInPlace) {
  const struct {
    uint32_t protocol;
    const char* key;
    const char* salt;
    uint32_t boots, time;
    const char* plain;
    const char* cipher;
  } cases[] = {
      {0, "0123456789abcdef1234567890abcdef", "0000000000000000", 0, 0,
       "4e6f77206973207468652074696d6520666f7220616c6c20",
       "e5c7cdde872bf27c43e934008c389c0f683788499a7c05f6"},
      {1, "2b7e151628aed2a6abf7158809cf4f3c", "08090a0b0c0d0e0f", 0x00010203, 0x04050607,
       "6bc1bee22e409f96e93d7e117393172aae2d8a571e03ac9c9eb76fac45af8e51",
       "3b3fd92eb72dad20333449f8e83cfb4ac8a64537a0b3a93fcde3cdad9f1ce58b"},
  };
  for (const auto& c : cases) {
    PrivKey key;
    ASSERT_TRUE(key.assign(hex(c.key), c.protocol));
    const Bytes salt = hex(c.salt);
    Bytes data = hex(c.plain);
    for (int round = 0; round < 2; ++round) {
      ASSERT_TRUE(key.crypt(salt.data(), c.boots, c.time, data.data(), data.size(), true));
      EXPECT_EQ(data, hex(c.cipher)) << c.protocol;
      ASSERT_TRUE(key.crypt(salt.data(), c.boots, c.time, data.data(), data.size(), false));
      EXPECT_EQ(data, hex(c.plain)) << c.protocol;
    }
  }
  Bytes out(24);
  const Bytes des = hex(cases[0].plain);
  ASSERT_TRUE(cryptMessageDES(hex(cases[0].salt).data(), hex(cases[0].key), des.data(), out.data(),
                              des.size(), true));
  EXPECT_EQ(out, hex(cases[0].cipher));
}

// The key extension of net-snmp's -x AES-192 and -x AES-256
// (as draft-blumenthal-aes-usm-04 defines it), cross-checked with pysnmp's
// AesBlumenthal192/256.localizeKey for "maplesyrup" and the RFC engine.
TEST(Ciphers, ShortPrivacyKeysAreExtendedForAes192And256) {
  const struct {
    uint32_t method, protocol;
    const char* key;
  } cases[] = {
      {0, 2, "526f5eed9fcce26f8964c2930787d82bfa24a92467426c2f"},
      {1, 2, "6695febc9288e36282235fc7151f128497b38f3f505e07eb"},
      {0, 3, "526f5eed9fcce26f8964c2930787d82bfa24a92467426c2f4b09192be10dfaec"},
      {1, 3, "6695febc9288e36282235fc7151f128497b38f3f505e07eb9af25568fa1f5dbe"},
      {1, 0, "6695febc9288e36282235fc7151f128497b38f3f"},  // DES: long enough
      {1, 9, "6695febc9288e36282235fc7151f128497b38f3f"},  // unknown: unchanged
  };
  for (const auto& c : cases) {
    const evp_md_st* md = methods[c.method].digest();
    const Key k =
        extendPrivKey(aKeyToBKey(passwordToAKey(kRfcPassword, md), kRfcEngine, md), c.protocol, md);
    const Bytes expected = hex(c.key);
    ASSERT_GE(k.size(), expected.size());
    EXPECT_EQ(Bytes(k.begin(), k.begin() + expected.size()), expected) << c.protocol;
  }
}

}  // namespace
