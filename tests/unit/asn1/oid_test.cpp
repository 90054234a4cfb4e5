// OID text parsing, ordering, prefix operations and index decoding.
#include "asn1/oid.h"

#include <gtest/gtest.h>

#include <map>
#include <sstream>

namespace {

TEST(OidParse, LeadingDotOptionalAndBothTextForms) {
  const OID dotted(".1.3.6.1.2.1");
  EXPECT_EQ(OID("1.3.6.1.2.1"), dotted);
  EXPECT_EQ(dotted, (OID{1, 3, 6, 1, 2, 1}));
  std::ostringstream os;
  os << dotted;
  EXPECT_EQ(os.str(), "1.3.6.1.2.1");
  EXPECT_EQ(dotted.str(), ".1.3.6.1.2.1");
  EXPECT_EQ(ZERO_OID, OID{0});
}

TEST(OidParse, NeverFailsOnStrayDotsNonDigitsOrOverflow) {
  EXPECT_EQ(OID("1..2"), (OID{1, 2}));
  EXPECT_EQ(OID("1.3."), (OID{1, 3}));
  EXPECT_TRUE(OID("").empty());
  EXPECT_EQ(OID("."), (OID{0}));  // a lone dot still opens an arc
  EXPECT_EQ(OID("1.x.2"), (OID{1, 0, 2}));
  EXPECT_EQ(OID("abc"), (OID{0, 0, 0}));
  EXPECT_EQ(OID("12a3"), (OID{12, 3}));              // the non-digit is consumed
  EXPECT_EQ(OID("1.4294967297.7"), (OID{1, 1, 7}));  // wraps modulo 2^32
}

TEST(OidOrder, ShorterPrefixFirstArcsUnsigned) {
  std::map<OID, int, tree_node_comp<OID>> m = {
      {OID("1.3.7"), 3}, {OID("1.3.6.0"), 2}, {OID("1.3.6"), 1}, {OID("1.3.2147483648"), 4}};
  int expected = 1;
  for (const auto& entry : m) EXPECT_EQ(entry.second, expected++);
  EXPECT_FALSE(tree_node_comp<OID>()(OID("1.3"), OID("1.3")));
}

TEST(OidCompare, LimitedPrefixTailAndAppend) {
  const OID a("1.3.6.1.2");
  EXPECT_EQ(a.compare(OID("1.3.6"), 3), 0);   // a starts with the key
  EXPECT_EQ(a.compare(OID("1.3.6"), 5), 1);   // longer than the key
  EXPECT_EQ(a.compare(OID("1.3.6"), 2), -1);  // cut short of the key
  EXPECT_EQ(a.compare(OID("1.3.7"), 5), -1);
  EXPECT_EQ(a.compare(OID("1.3.6.1.2.0"), 99), -1);  // n capped at the size
  EXPECT_TRUE(a.startsWith(OID("1.3.6")));
  EXPECT_FALSE(a.startsWith(OID("1.3.6.1.2.0")));
  EXPECT_EQ(a.tail(3), OID("1.2"));
  EXPECT_TRUE(a.tail(6).empty());
  OID b("1.3");
  b += b;  // appending itself sees the arcs as they were
  EXPECT_EQ(b + 7u, OID("1.3.1.3.7"));
}

TEST(OidIndex, AsOidSucceedsWithoutOutputOnAnUnusablePrefix) {
  OID out("7.7");
  EXPECT_TRUE(OID().asOID(&out));
  EXPECT_TRUE(OID("5.1.2").asOID(&out));
  EXPECT_EQ(out, OID("7.7"));
  EXPECT_TRUE(OID("1.5.6.7").asOID(&out));  // all the rest, not only 1
  EXPECT_EQ(out, OID("5.6.7"));
}

TEST(OidIndex, FailedDecodesLeaveBothSidesUnchanged) {
  OID key("5.1.2"), ip("10.0.300.1.8"), str("2.97.256.1"), empty, head("9");
  std::string s = "keep";
  EXPECT_FALSE(key.popOID(&head) || key.popOID(4, &head) || key.popIP(&head));
  EXPECT_FALSE(ip.popIP(&head) || empty.popUnsigned(&head));
  EXPECT_FALSE(str.popString(&head) || str.popString(3, &head));
  EXPECT_FALSE(str.asString(&s) || OID("2.104").asString(&s));
  EXPECT_EQ(key, OID("5.1.2"));
  EXPECT_EQ(ip, OID("10.0.300.1.8"));
  EXPECT_EQ(str, OID("2.97.256.1"));
  EXPECT_EQ(head, OID("9"));
  EXPECT_EQ(s, "keep");
}

}  // namespace
