// Readable values of kxctl's snmp commands, and the agent's keys
// (kx/snmp_keys.h) and stored forms as those commands use them.
//
// Each parser returns false on malformed input and then leaves a one-line
// reason in err naming the word; outputs are written only on success.
// Addresses are in network order in memory (the form of kx::message's be32
// accessors and of struct in_addr).
#ifndef TOOLS_SNMP_VALUES_H_
#define TOOLS_SNMP_VALUES_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "kx/snmp_keys.h"

namespace kxctl {
namespace snmp {

// The agent's keys, unqualified in kxctl's snmp commands.
using namespace ::snmp;

inline const std::vector<uint32_t> kSettingsPath = {kServiceId};
inline const std::vector<uint32_t> kCommunitiesPath = {kServiceId, ID_COMMUNITIES};

// The agent's engine ID is its configured text behind these octets
// (enterprise 32473, format 4 = text), in the hex managers take (-e).
constexpr const char* kEngineIdPrefixHex = "80007ed904";
// Engine IDs are at most 32 octets (RFC 3411): 27 for the text.
constexpr size_t kMaxEngineIdText = 27;

// A shorter password makes a key anyone can compute from the engine id, so
// users that need authentication or privacy are refused with one.
constexpr size_t kMinPasswordLength = 8;

// yes/no, true/false, on/off.
bool parseYesNo(const std::string& text, bool& value, std::string& err);
std::string yesNo(bool value);

// A dotted quad: four decimal numbers 0-255, nothing else.
bool parseIpv4(const std::string& text, uint32_t& address, std::string& err);
std::string ipv4Text(uint32_t address);

// A source filter: "any", "192.0.2.1" (that host), "192.0.2.0/24" or
// "192.0.2.0/255.255.255.0".  "any" and "/0" give a zero mask, which lets
// every source in.
struct Network {
  uint32_t address = 0;
  uint32_t mask = 0;
};
bool parseNetwork(const std::string& text, Network& net, std::string& err);
// "any" for a zero mask, "a.b.c.d/len" for a prefix mask, otherwise
// "a.b.c.d/m.m.m.m".
std::string networkText(const Network& net);

// Trap versions as typed ("1", "2c", "3") and as stored (0, 1, 3).
bool parseTrapVersion(const std::string& text, uint32_t& stored, std::string& err);
std::string trapVersionText(uint32_t stored);

// Required v3 security: none, auth, authpriv (stored 0, 1, 2).
bool parseSecurity(const std::string& text, uint32_t& level, std::string& err);
std::string securityText(uint32_t level);

// Digest methods md5, sha (or sha1), sha224, sha256, sha384, sha512
// (stored 0 to 5).
bool parseAuthMethod(const std::string& text, uint32_t& method, std::string& err);
std::string authMethodText(uint32_t method);

// Privacy protocols des, aes (or aes128), aes192, aes256 (stored 0 to 3).
bool parsePrivacy(const std::string& text, uint32_t& protocol, std::string& err);
std::string privacyText(uint32_t protocol);

// A trap generator's id as the operator reads it: small indexes in
// decimal, special values (the start-up trap's id) in hex.
std::string generatorIdText(uint32_t id);

// The engine ID the agent forms from its configured text, as hex digits
// (what snmpget -e and snmptrapd's createUser -e take).
std::string engineIdHex(const std::string& text);

// The value type of a trap binding: a name (integer, string, null, oid,
// ipaddress, counter, timeticks, unsigned) or a BER tag number.
bool parseValueType(const std::string& text, uint32_t& tag, std::string& err);

// An OID in dotted decimal ("1.3.6.1.2.1.1.5.0"): at least two arcs, each
// at most 0xffffffff.  A leading dot is allowed.
bool checkOidText(const std::string& text, std::string& err);

// Columns padded to their widest cell, two spaces apart, the last one not
// padded; one line per row.
std::string tableText(const std::vector<std::vector<std::string>>& rows);

}  // namespace snmp
}  // namespace kxctl

#endif  // TOOLS_SNMP_VALUES_H_
