// OID text parsing, ordering, prefix operations and index decoding.
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <sstream>
#include <string>

#include "asn1/oid.h"

namespace {

std::string streamed(const OID& oid) {
  std::ostringstream os;
  os << oid;
  return os.str();
}

TEST(OidParse, LeadingDotIsOptional) {
  const OID plain("1.3.6.1.2.1");
  const OID dotted(".1.3.6.1.2.1");
  EXPECT_EQ(plain, (OID{1, 3, 6, 1, 2, 1}));
  EXPECT_EQ(plain, dotted);
  EXPECT_EQ(dotted.str(), ".1.3.6.1.2.1");
  EXPECT_EQ(streamed(dotted), "1.3.6.1.2.1");
  EXPECT_EQ(OID().str(), "");
  EXPECT_EQ(streamed(OID()), "");
}

TEST(OidParse, StrayDotsAreSeparatorsOnly) {
  EXPECT_EQ(OID("1..2"), (OID{1, 2}));
  EXPECT_EQ(OID("1.3."), (OID{1, 3}));
  EXPECT_TRUE(OID("").empty());
  EXPECT_TRUE(OID(static_cast<const char*>(nullptr)).empty());
  // A lone dot still starts an arc that has no digits.
  EXPECT_EQ(OID("."), (OID{0}));
}

TEST(OidParse, NonDigitEndsTheArcAndIsConsumed) {
  EXPECT_EQ(OID("1.x.2"), (OID{1, 0, 2}));
  EXPECT_EQ(OID("abc"), (OID{0, 0, 0}));
  EXPECT_EQ(OID("12a3"), (OID{12, 3}));
  EXPECT_EQ(OID("1 .2"), (OID{1, 2}));
}

TEST(OidParse, ArcsWrapSilentlyModulo2To32) {
  EXPECT_EQ(OID("1.4294967295"), (OID{1, 4294967295u}));
  EXPECT_EQ(OID("1.4294967296"), (OID{1, 0}));
  EXPECT_EQ(OID("1.4294967297.7"), (OID{1, 1, 7}));
}

TEST(OidParse, ZeroOidIsTheSingleArcZero) { EXPECT_EQ(ZERO_OID, OID{0}); }

TEST(OidAppend, ArcsAndOidsAppendInOrder) {
  OID a("1.3");
  a += 6u;
  a += OID("1.2");
  EXPECT_EQ(a, OID("1.3.6.1.2"));
  a += a;  // appending itself sees the arcs as they were
  EXPECT_EQ(a, OID("1.3.6.1.2.1.3.6.1.2"));
  const OID base("1.3");
  EXPECT_EQ(base + 6u, OID("1.3.6"));
  EXPECT_EQ(base + OID("0"), OID("1.3.0"));
  EXPECT_EQ(base, OID("1.3"));
}

TEST(OidOrder, ShorterPrefixFirstArcsUnsigned) {
  std::map<OID, int, tree_node_comp<OID>> m;
  m[OID("1.3.7")] = 3;
  m[OID("1.3.6.0")] = 2;
  m[OID("1.3.6")] = 1;
  m[OID("1.3.2147483648")] = 5;  // above INT_MAX: must sort as unsigned
  m[OID("1.3.8")] = 4;
  int expected = 1;
  for (const auto& entry : m) EXPECT_EQ(entry.second, expected++);
  tree_node_comp<OID> less;
  EXPECT_FALSE(less(OID("1.3"), OID("1.3")));
  EXPECT_TRUE(less(OID(), OID("0")));
}

TEST(OidCompare, LimitedPrefixAgainstKey) {
  const OID a("1.3.6.1.2");
  EXPECT_EQ(a.compare(OID("1.3.6"), 3), 0);   // starts with the key
  EXPECT_EQ(a.compare(OID("1.3.6"), 5), 1);   // longer than the key
  EXPECT_EQ(a.compare(OID("1.3.6"), 2), -1);  // cut short of the key
  EXPECT_EQ(a.compare(OID("1.3.7"), 5), -1);
  EXPECT_EQ(a.compare(OID("1.3.5.9"), 5), 1);
  // n past the end is limited to the OID's own length.
  EXPECT_EQ(a.compare(OID("1.3.6.1.2"), 99), 0);
  EXPECT_EQ(a.compare(OID("1.3.6.1.2.0"), 99), -1);
  EXPECT_EQ(OID().compare(OID(), 0), 0);
}

TEST(OidCompare, StartsWithAndTail) {
  const OID a("1.3.6.1.2");
  EXPECT_TRUE(a.startsWith(OID("1.3.6")));
  EXPECT_TRUE(a.startsWith(OID()));
  EXPECT_TRUE(a.startsWith(a));
  EXPECT_FALSE(a.startsWith(OID("1.3.7")));
  EXPECT_FALSE(a.startsWith(OID("1.3.6.1.2.0")));
  EXPECT_EQ(a.tail(3), OID("1.2"));
  EXPECT_TRUE(a.tail(5).empty());
  EXPECT_TRUE(a.tail(6).empty());
}

TEST(OidIndex, AsIpKeepsDottedOrderInMemory) {
  unsigned int addr = 0;
  ASSERT_TRUE(OID("10.0.0.1").asIP(&addr));
  unsigned char bytes[4];
  std::memcpy(bytes, &addr, 4);
  EXPECT_EQ(bytes[0], 10);
  EXPECT_EQ(bytes[3], 1);
  EXPECT_EQ(addr, 10u | (1u << 24));
  addr = 77;
  EXPECT_FALSE(OID("10.0.0.256").asIP(&addr));
  EXPECT_FALSE(OID("10.0.0").asIP(&addr));
  EXPECT_FALSE(OID("10.0.0.1.1").asIP(&addr));
  EXPECT_EQ(addr, 77u);
}

TEST(OidIndex, FixedLengthForms) {
  unsigned int u = 9;
  EXPECT_TRUE(OID("42").asUnsigned(&u));
  EXPECT_EQ(u, 42u);
  EXPECT_FALSE(OID("4.2").asUnsigned(&u));
  EXPECT_FALSE(OID().asUnsigned(&u));
  EXPECT_EQ(u, 42u);

  std::string s = "keep";
  EXPECT_TRUE(OID("97.98").asString(2, &s));
  EXPECT_EQ(s, "ab");
  EXPECT_FALSE(OID("97.256").asString(2, &s));
  EXPECT_FALSE(OID("97.98.99").asString(2, &s));
  EXPECT_EQ(s, "ab");

  OID o("9");
  EXPECT_TRUE(OID("1.2").asOID(2, &o));
  EXPECT_EQ(o, OID("1.2"));
  EXPECT_FALSE(OID("1.2.3").asOID(2, &o));
  EXPECT_EQ(o, OID("1.2"));
}

TEST(OidIndex, LengthPrefixedStringIgnoresArcsAfterTheLength) {
  std::string s = "keep";
  EXPECT_TRUE(OID("2.104.105.7.7").asString(&s));
  EXPECT_EQ(s, "hi");
  EXPECT_TRUE(OID("0.5").asString(&s));
  EXPECT_EQ(s, "");
  s = "keep";
  EXPECT_FALSE(OID("2.104").asString(&s));        // length not below count
  EXPECT_FALSE(OID("2.104.300").asString(&s));    // byte out of range
  EXPECT_FALSE(OID().asString(&s));
  EXPECT_EQ(s, "keep");
}

TEST(OidIndex, AsOidSucceedsWithoutOutputOnAnUnusablePrefix) {
  OID out("7.7");
  EXPECT_TRUE(OID().asOID(&out));
  EXPECT_EQ(out, OID("7.7"));
  EXPECT_TRUE(OID("5.1.2").asOID(&out));  // 5 is not below 3 arcs
  EXPECT_EQ(out, OID("7.7"));
  // A usable prefix yields every remaining arc, not only the named count.
  EXPECT_TRUE(OID("1.5.6.7").asOID(&out));
  EXPECT_EQ(out, OID("5.6.7"));
}

TEST(OidIndex, PopStringThenDecode) {
  OID key("3.97.98.99.5");
  OID head;
  ASSERT_TRUE(key.popString(&head));
  EXPECT_EQ(head, OID("3.97.98.99"));
  EXPECT_EQ(key, OID("5"));
  std::string s;
  ASSERT_TRUE(head.asString(&s));
  EXPECT_EQ(s, "abc");

  OID bad("2.97.256.1");
  EXPECT_FALSE(bad.popString(&head));
  EXPECT_EQ(bad, OID("2.97.256.1"));
  EXPECT_FALSE(bad.popString(3, &head));
  EXPECT_TRUE(bad.popString(2, &head));
  EXPECT_EQ(head, OID("2.97"));
  EXPECT_EQ(bad, OID("256.1"));
}

TEST(OidIndex, FailedPopsLeaveBothSidesUnchanged) {
  OID key("5.1.2");
  OID head("9");
  EXPECT_FALSE(key.popOID(&head));
  EXPECT_FALSE(key.popOID(4, &head));
  EXPECT_FALSE(key.popIP(&head));
  EXPECT_EQ(key, OID("5.1.2"));
  EXPECT_EQ(head, OID("9"));

  OID ip("10.0.300.1.8");
  EXPECT_FALSE(ip.popIP(&head));
  EXPECT_EQ(ip, OID("10.0.300.1.8"));

  OID empty;
  EXPECT_FALSE(empty.popUnsigned(&head));
  EXPECT_FALSE(empty.popOID(&head));
  EXPECT_EQ(head, OID("9"));
}

TEST(OidIndex, PopsWalkAMultiPartIndex) {
  // Row index: an address, a length-prefixed OID, a number.
  OID key("192.168.1.1.2.1.3.44");
  OID part;
  unsigned int addr = 0, number = 0;
  ASSERT_TRUE(key.popIP(&part));
  ASSERT_TRUE(part.asIP(&addr));
  EXPECT_EQ(addr, 192u | 168u << 8 | 1u << 16 | 1u << 24);
  ASSERT_TRUE(key.popOID(&part));
  EXPECT_EQ(part, OID("2.1.3"));
  OID value;
  ASSERT_TRUE(part.asOID(&value));
  EXPECT_EQ(value, OID("1.3"));
  ASSERT_TRUE(key.popUnsigned(&part));
  ASSERT_TRUE(part.asUnsigned(&number));
  EXPECT_EQ(number, 44u);
  EXPECT_TRUE(key.empty());
}

}  // namespace
