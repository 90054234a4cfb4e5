// The agent's bus fields and commands as kxctl's snmp commands use them.
//
// The agent (service 34) keeps its settings as one record at [34] and its
// communities as a list at [34, 1].  kxctl reaches it over the bus only and
// never includes the agent's code, so the keys are written out here.
#ifndef TOOLS_SNMP_KEYS_H_
#define TOOLS_SNMP_KEYS_H_

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kxctl {
namespace snmp {

inline const std::vector<uint32_t> kSettingsPath = {34};
inline const std::vector<uint32_t> kCommunitiesPath = {34, 1};

// Settings record.
constexpr uint32_t kCommunity = 0x20000004;
constexpr uint32_t kContact = 0x20000002;
constexpr uint32_t kLocation = 0x20000003;
constexpr uint32_t kEngineId = 0x2000000a;
constexpr uint32_t kTimeWindow = 0x0800000e;
constexpr uint32_t kTrapTarget = 0x08000010;  // IPv4, first octet most significant
constexpr uint32_t kTrapVersion = 0x08000012;
constexpr uint32_t kTrapCommunity = 0x08000011;
constexpr uint32_t kTrapGenerators = 0x88000013;
constexpr uint32_t kEngineBoots = 0x0800000d;
constexpr uint32_t kEnabled = 0x00000001;

// trapCommunity when traps are off.
constexpr uint32_t kNoCommunity = 0xffffffff;
// Stored trap versions (the number written into the trap message).
constexpr uint32_t kTrapV1 = 0;
constexpr uint32_t kTrapV2c = 1;
constexpr uint32_t kTrapV3 = 3;

// Community (and v3 user) objects.
constexpr uint32_t kName = 0x20000005;
constexpr uint32_t kAddress = 0x08000008;      // IPv4
constexpr uint32_t kAddressMask = 0x08000009;  // IPv4
constexpr uint32_t kReadAccess = 0x00000006;
constexpr uint32_t kWriteAccess = 0x00000007;
constexpr uint32_t kSecurity = 0x0800000f;
constexpr uint32_t kAuthMethod = 0x08000014;
constexpr uint32_t kPrivacy = 0x08000015;
constexpr uint32_t kAuthPassword = 0x2000000b;
constexpr uint32_t kPrivPassword = 0x2000000c;

// Required v3 security levels.
constexpr uint32_t kSecurityNone = 0;
constexpr uint32_t kSecurityAuth = 1;
constexpr uint32_t kSecurityAuthPriv = 2;
// Digest methods and privacy protocols, as the agent numbers them.
constexpr uint32_t kAuthMd5 = 0;
constexpr uint32_t kAuthSha1 = 1;
constexpr uint32_t kAuthSha224 = 2;
constexpr uint32_t kAuthSha256 = 3;
constexpr uint32_t kAuthSha384 = 4;
constexpr uint32_t kAuthSha512 = 5;
constexpr uint32_t kPrivDes = 0;
constexpr uint32_t kPrivAes128 = 1;
constexpr uint32_t kPrivAes192 = 2;
constexpr uint32_t kPrivAes256 = 3;

// The agent's engine ID is its configured text behind these octets
// (enterprise 32473, format 4 = text), in the hex managers take (-e).
constexpr const char* kEngineIdPrefixHex = "80007ed904";
// Engine IDs are at most 32 octets (RFC 3411): 27 for the text.
constexpr size_t kMaxEngineIdText = 27;

// A shorter password makes a key anyone can compute from the engine id, so
// users that need authentication or privacy are refused with one.
constexpr size_t kMinPasswordLength = 8;

// Agent commands beyond the generic ones.
constexpr uint32_t kCmdListGenerators = 100;
constexpr uint32_t kCmdSendTrap = 1;
constexpr uint32_t kGeneratorName = 0x20fe0010;
constexpr uint32_t kStartupGenerator = 0x0abc0001;
// The link traps' generator: the first subscriber, registered by the
// interfaces module before any plug-in.
constexpr uint32_t kInterfacesGenerator = 0;

// Fields of a trap request: one binding's OID text, value type and value
// text.
constexpr uint32_t kTrapOid = 0x200003e9;
constexpr uint32_t kTrapType = 0x080003ea;
constexpr uint32_t kTrapValue = 0x200003eb;

}  // namespace snmp
}  // namespace kxctl

#endif  // TOOLS_SNMP_KEYS_H_
