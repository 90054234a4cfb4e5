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

TEST(SnmpValues, NamedChoicesMapOntoTheStoredNumbers) {
  using Parse = bool (*)(const std::string&, uint32_t&, std::string&);
  const struct {
    Parse parse;
    const char* word;
    int stored;  // -1: refused
  } cases[] = {
      {parseTrapVersion, "1", 0},     {parseTrapVersion, "V2C", 1},
      {parseTrapVersion, "v3", 3},    {parseTrapVersion, "2", -1},
      {parseSecurity, "authpriv", 2}, {parseSecurity, "auth", 1},
      {parseSecurity, "priv", -1},    {parseAuthMethod, "SHA1", 1},
      {parseAuthMethod, "sha384", 4}, {parsePrivacy, "aes", 1},
      {parsePrivacy, "AES256", 3},    {parsePrivacy, "3des", -1},
      {parseValueType, "string", 4},  {parseValueType, "timeticks", 0x43},
      {parseValueType, "0x41", 0x41}, {parseValueType, "256", -1},
      {parseValueType, "bits", -1},   {parseValueType, "unsigned", 0x47},
      {parseValueType, "gauge", -1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.word);
    uint32_t v = 99;
    std::string err;
    EXPECT_EQ(c.parse(c.word, v, err), c.stored >= 0);
    if (c.stored >= 0) {
      EXPECT_EQ(v, static_cast<uint32_t>(c.stored));
    }
  }
  EXPECT_EQ(trapVersionText(1), "2c");
  EXPECT_EQ(trapVersionText(2), "unknown (2)");
  EXPECT_EQ(securityText(7), "unknown (7)");
  bool on = true;
  std::string err;
  EXPECT_TRUE(parseYesNo("false", on, err) && !on);
  EXPECT_FALSE(parseYesNo("1", on, err));
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

}  // namespace
}  // namespace snmp
}  // namespace kxctl
