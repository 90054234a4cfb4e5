#include "tools/snmp_values.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

namespace kxctl {
namespace snmp {
namespace {

uint32_t ip(const char* text) {
  in_addr a;
  EXPECT_EQ(inet_pton(AF_INET, text, &a), 1) << text;
  return a.s_addr;
}

TEST(SnmpValues, Ipv4AcceptsOnlyFourOctets) {
  uint32_t a = 0;
  std::string err;
  ASSERT_TRUE(parseIpv4("192.0.2.1", a, err));
  EXPECT_EQ(a, ip("192.0.2.1"));
  EXPECT_EQ(ipv4Text(a), "192.0.2.1");
  ASSERT_TRUE(parseIpv4("255.255.255.255", a, err));
  EXPECT_EQ(ipv4Text(a), "255.255.255.255");
  for (const char* bad : {"", "1.2.3", "1.2.3.4.5", "1.2.3.256", "1..2.3", "1.2.3.4 ", "a.b.c.d",
                          "-1.2.3.4", "1.2.3.4/24", "01234567890.1.1.1"}) {
    uint32_t before = 0x12345678;
    a = before;
    EXPECT_FALSE(parseIpv4(bad, a, err)) << bad;
    EXPECT_EQ(a, before) << "untouched on failure: " << bad;
    EXPECT_NE(err.find(bad), std::string::npos) << err;
  }
}

TEST(SnmpValues, NetworksInEveryFormAndBackAsText) {
  struct Case {
    const char* text;
    const char* address;
    const char* mask;
    const char* shown;
  };
  const Case cases[] = {
      {"192.0.2.0/24", "192.0.2.0", "255.255.255.0", "192.0.2.0/24"},
      {"127.0.0.1", "127.0.0.1", "255.255.255.255", "127.0.0.1/32"},
      {"10.0.0.0/255.0.0.0", "10.0.0.0", "255.0.0.0", "10.0.0.0/8"},
      {"any", "0.0.0.0", "0.0.0.0", "any"},
      {"0.0.0.0/0", "0.0.0.0", "0.0.0.0", "any"},
      {"198.51.100.7/32", "198.51.100.7", "255.255.255.255", "198.51.100.7/32"},
  };
  for (const Case& c : cases) {
    Network net;
    std::string err;
    ASSERT_TRUE(parseNetwork(c.text, net, err)) << c.text << ": " << err;
    EXPECT_EQ(net.address, ip(c.address)) << c.text;
    EXPECT_EQ(net.mask, ip(c.mask)) << c.text;
    EXPECT_EQ(networkText(net), c.shown);
  }
  // A mask whose ones are not contiguous (as a store might hold) still
  // prints, in full.
  EXPECT_EQ(networkText({ip("10.0.0.0"), ip("255.0.255.0")}), "10.0.0.0/255.0.255.0");

  for (const char* bad : {"192.0.2.0/33", "192.0.2.0/", "192.0.2.0/2x", "/24", "192.0.2/24",
                          "10.0.0.0/255.0.255.0", "anything", ""}) {
    Network net;
    std::string err;
    EXPECT_FALSE(parseNetwork(bad, net, err)) << bad;
    EXPECT_NE(err.find("bad address"), std::string::npos) << err;
  }
}

TEST(SnmpValues, TrapVersionsMapOntoTheStoredNumbers) {
  const std::pair<const char*, uint32_t> cases[] = {{"1", 0},  {"2c", 1},  {"3", 3},
                                                    {"v1", 0}, {"V2C", 1}, {"v3", 3}};
  for (const auto& [text, stored] : cases) {
    uint32_t v = 99;
    std::string err;
    ASSERT_TRUE(parseTrapVersion(text, v, err)) << text;
    EXPECT_EQ(v, stored) << text;
  }
  EXPECT_EQ(trapVersionText(0), "1");
  EXPECT_EQ(trapVersionText(1), "2c");
  EXPECT_EQ(trapVersionText(3), "3");
  EXPECT_EQ(trapVersionText(2), "unknown (2)");
  uint32_t v;
  std::string err;
  EXPECT_FALSE(parseTrapVersion("2", v, err));
  EXPECT_NE(err.find("1, 2c or 3"), std::string::npos);
}

TEST(SnmpValues, NamedChoicesBothWays) {
  uint32_t v;
  std::string err;
  ASSERT_TRUE(parseSecurity("authpriv", v, err));
  EXPECT_EQ(v, 2u);
  ASSERT_TRUE(parseSecurity("auth", v, err));
  EXPECT_EQ(v, 1u);
  EXPECT_FALSE(parseSecurity("priv", v, err));
  EXPECT_EQ(securityText(0), "none");
  EXPECT_EQ(securityText(7), "unknown (7)");
  ASSERT_TRUE(parseAuthMethod("SHA1", v, err));
  EXPECT_EQ(v, 1u);
  EXPECT_EQ(authMethodText(0), "md5");
  EXPECT_FALSE(parseAuthMethod("sha256", v, err));
  EXPECT_FALSE(parsePrivacy("aes", v, err));

  bool on = false;
  ASSERT_TRUE(parseYesNo("yes", on, err));
  EXPECT_TRUE(on);
  ASSERT_TRUE(parseYesNo("false", on, err));
  EXPECT_FALSE(on);
  EXPECT_FALSE(parseYesNo("1", on, err));

  ASSERT_TRUE(parseValueType("string", v, err));
  EXPECT_EQ(v, 4u);
  ASSERT_TRUE(parseValueType("timeticks", v, err));
  EXPECT_EQ(v, 0x43u);
  ASSERT_TRUE(parseValueType("0x41", v, err));
  EXPECT_EQ(v, 0x41u);
  EXPECT_FALSE(parseValueType("256", v, err));
  EXPECT_FALSE(parseValueType("bits", v, err));
}

TEST(SnmpValues, OidText) {
  std::string err;
  EXPECT_TRUE(checkOidText("1.3.6.1.2.1.1.5.0", err));
  EXPECT_TRUE(checkOidText(".1.3.6.1", err));
  EXPECT_TRUE(checkOidText("1.3.4294967295", err));
  for (const char* bad : {"", "1", "1.3.", "1..3", "1.3.4294967296", "iso.3", "1.3.6 "}) {
    EXPECT_FALSE(checkOidText(bad, err)) << bad;
  }
}

TEST(SnmpValues, TableColumnsLineUp) {
  EXPECT_EQ(tableText({{"ID", "NAME", "X"}, {"12", "a", "yes"}, {"3", "public", "no"}}),
            "ID  NAME    X\n"
            "12  a       yes\n"
            "3   public  no\n");
}

}  // namespace
}  // namespace snmp
}  // namespace kxctl
