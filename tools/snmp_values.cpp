#include "tools/snmp_values.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cctype>
#include <iterator>

#include "kx/message_text.h"
#include "tools/arg_parse.h"

namespace kxctl {
namespace snmp {

namespace {

// Host-order mask to prefix length; -1 when the ones are not contiguous.
int prefixLength(uint32_t hostMask) {
  int len = 0;
  while (len < 32 && (hostMask & (0x80000000u >> len))) ++len;
  uint32_t expected = len == 0 ? 0 : ~0u << (32 - len);
  return hostMask == expected ? len : -1;
}

struct Name {
  const char* text;
  uint32_t value;
};

bool parseName(const std::string& text, const Name* names, size_t n, const char* what,
               const char* choices, uint32_t& value, std::string& err) {
  std::string lower = text;
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  for (size_t i = 0; i < n; ++i) {
    if (lower == names[i].text) {
      value = names[i].value;
      return true;
    }
  }
  err = "unknown " + std::string(what) + " '" + text + "': expected " + choices;
  return false;
}

std::string unknownText(uint32_t v) { return "unknown (" + std::to_string(v) + ")"; }

}  // namespace

bool parseYesNo(const std::string& text, bool& value, std::string& err) {
  static const Name names[] = {{"yes", 1}, {"true", 1},  {"on", 1},
                               {"no", 0},  {"false", 0}, {"off", 0}};
  uint32_t v;
  if (!parseName(text, names, std::size(names), "answer", "yes or no", v, err)) return false;
  value = v != 0;
  return true;
}

std::string yesNo(bool value) { return value ? "yes" : "no"; }

bool parseIpv4(const std::string& text, uint32_t& address, std::string& err) {
  uint32_t host;
  if (!kx::parseDottedQuad(text, host)) {
    err = "'" + text + "' is not an IPv4 address like 192.0.2.1";
    return false;
  }
  address = htonl(host);
  return true;
}

std::string ipv4Text(uint32_t address) { return kx::dottedQuadText(ntohl(address)); }

bool parseNetwork(const std::string& text, Network& net, std::string& err) {
  if (text == "any") {
    net = Network();
    return true;
  }
  const std::string bad = "bad address '" + text + "': expected any, 192.0.2.1 or 192.0.2.0/24";
  size_t slash = text.find('/');
  Network n;
  std::string why;
  if (!parseIpv4(text.substr(0, slash), n.address, why)) {
    err = bad;
    return false;
  }
  if (slash == std::string::npos) {
    n.mask = 0xffffffff;
  } else {
    std::string m = text.substr(slash + 1);
    uint64_t len;
    if (m.find('.') != std::string::npos) {
      if (!parseIpv4(m, n.mask, why) || prefixLength(ntohl(n.mask)) < 0) {
        err = bad + " (the mask's ones must come first)";
        return false;
      }
    } else if (kx::parseDecimal(m, 32, len)) {
      n.mask = len == 0 ? 0 : htonl(~0u << (32 - len));
    } else {
      err = bad;
      return false;
    }
  }
  net = n;
  return true;
}

std::string networkText(const Network& net) {
  if (net.mask == 0) return "any";
  int len = prefixLength(ntohl(net.mask));
  if (len < 0) return ipv4Text(net.address) + "/" + ipv4Text(net.mask);
  return ipv4Text(net.address) + "/" + std::to_string(len);
}

bool parseTrapVersion(const std::string& text, uint32_t& stored, std::string& err) {
  static const Name names[] = {{"1", kTrapV1},    {"v1", kTrapV1}, {"2c", kTrapV2c},
                               {"v2c", kTrapV2c}, {"3", kTrapV3},  {"v3", kTrapV3}};
  return parseName(text, names, std::size(names), "trap version", "1, 2c or 3", stored, err);
}

std::string trapVersionText(uint32_t stored) {
  switch (stored) {
    case kTrapV1:
      return "1";
    case kTrapV2c:
      return "2c";
    case kTrapV3:
      return "3";
  }
  return unknownText(stored);
}

bool parseSecurity(const std::string& text, uint32_t& level, std::string& err) {
  static const Name names[] = {{"none", 0}, {"auth", 1}, {"authpriv", 2}};
  return parseName(text, names, std::size(names), "security level", "none, auth or authpriv", level,
                   err);
}

std::string securityText(uint32_t level) {
  static const char* const names[] = {"none", "auth", "authpriv"};
  return level < std::size(names) ? names[level] : unknownText(level);
}

bool parseAuthMethod(const std::string& text, uint32_t& method, std::string& err) {
  static const Name names[] = {{"md5", kAuthMd5},       {"sha", kAuthSha1},
                               {"sha1", kAuthSha1},     {"sha224", kAuthSha224},
                               {"sha256", kAuthSha256}, {"sha384", kAuthSha384},
                               {"sha512", kAuthSha512}};
  return parseName(text, names, std::size(names), "auth method",
                   "md5, sha, sha224, sha256, sha384 or sha512", method, err);
}

std::string authMethodText(uint32_t method) {
  static const char* const names[] = {"md5", "sha", "sha224", "sha256", "sha384", "sha512"};
  return method < std::size(names) ? names[method] : unknownText(method);
}

bool parsePrivacy(const std::string& text, uint32_t& protocol, std::string& err) {
  static const Name names[] = {{"des", kPrivDes},
                               {"aes", kPrivAes128},
                               {"aes128", kPrivAes128},
                               {"aes192", kPrivAes192},
                               {"aes256", kPrivAes256}};
  return parseName(text, names, std::size(names), "privacy protocol", "des, aes, aes192 or aes256",
                   protocol, err);
}

std::string privacyText(uint32_t protocol) {
  static const char* const names[] = {"des", "aes", "aes192", "aes256"};
  return protocol < std::size(names) ? names[protocol] : unknownText(protocol);
}

std::string generatorIdText(uint32_t id) {
  // Generator ids at or above this are special values.
  constexpr uint32_t kFirstSpecialGenerator = 0x10000;
  if (id < kFirstSpecialGenerator) return std::to_string(id);
  return kx::keyText(id);
}

std::string engineIdHex(const std::string& text) {
  static const char digits[] = "0123456789abcdef";
  std::string hex = kEngineIdPrefixHex;
  for (unsigned char c : text) {
    hex += digits[c >> 4];
    hex += digits[c & 0xf];
  }
  return hex;
}

bool parseValueType(const std::string& text, uint32_t& tag, std::string& err) {
  // The types the agent can put into a trap binding; Gauge32 and
  // Counter64 it leaves without a value, so they have no name here.
  static const Name names[] = {{"integer", 0x02},      {"int", 0x02},      {"string", 0x04},
                               {"octet-string", 0x04}, {"null", 0x05},     {"oid", 0x06},
                               {"ipaddress", 0x40},    {"counter", 0x41},  {"counter32", 0x41},
                               {"timeticks", 0x43},    {"unsigned", 0x47}, {"uinteger32", 0x47}};
  std::string why;
  if (!text.empty() && text[0] >= '0' && text[0] <= '9' && parseU32(text, tag, why)) {
    if (tag <= 0xff) return true;
  }
  return parseName(text, names, std::size(names), "value type",
                   "integer, string, null, oid, ipaddress, counter, timeticks, unsigned or "
                   "a tag number below 256",
                   tag, err);
}

bool checkOidText(const std::string& text, std::string& err) {
  std::string body = !text.empty() && text[0] == '.' ? text.substr(1) : text;
  size_t arcs = 0;
  size_t start = 0;
  while (true) {
    size_t dot = body.find('.', start);
    uint64_t arc;
    if (!kx::parseDecimal(
            body.substr(start, dot == std::string::npos ? std::string::npos : dot - start),
            0xffffffff, arc)) {
      err = "'" + text + "' is not an OID like 1.3.6.1.2.1.1.5.0";
      return false;
    }
    ++arcs;
    if (dot == std::string::npos) break;
    start = dot + 1;
  }
  if (arcs < 2) {
    err = "'" + text + "' is not an OID: it needs at least two numbers";
    return false;
  }
  return true;
}

std::string tableText(const std::vector<std::vector<std::string>>& rows) {
  std::vector<size_t> width;
  for (const auto& row : rows) {
    if (width.size() < row.size()) width.resize(row.size(), 0);
    for (size_t i = 0; i < row.size(); ++i) width[i] = std::max(width[i], row[i].size());
  }
  std::string s;
  for (const auto& row : rows) {
    std::string line;
    for (size_t i = 0; i < row.size(); ++i) {
      line += row[i];
      if (i + 1 < row.size()) line.append(width[i] - row[i].size() + 2, ' ');
    }
    s += line + "\n";
  }
  return s;
}

}  // namespace snmp
}  // namespace kxctl
