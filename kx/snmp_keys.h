// The SNMP agent's service on the bus: where it is, the fields of its
// settings record and of its community list, its commands and the values
// it stores.
//
// The agent serves these keys; its MIB modules read its settings and
// kxctl edits them.  kxctl may include nothing of the agent's, so the keys
// live here beside the bus, in a header that depends on nothing.
#ifndef KX_SNMP_KEYS_H_
#define KX_SNMP_KEYS_H_

#include <cstddef>
#include <cstdint>

namespace snmp {

// The agent is service 34: its settings are the record at [34], its
// communities the list at [34, ID_COMMUNITIES].
constexpr uint32_t kServiceId = 34;
constexpr uint32_t ID_COMMUNITIES = 1;

// Platform paths of the two stores; the settings are object 0.
constexpr const char* kSettingsStore = "/sarn/store/snmpd";
constexpr const char* kCommunityStore = "/sarn/store/snmp-communities";
constexpr uint32_t kSettingsObject = 0;
// The version number the agent writes into the object files of its stores.
constexpr unsigned kStoreVersion = 5;

// Settings record, in the order the agent writes it.
constexpr uint32_t kCommunity = 0x20000004;
constexpr uint32_t kContact = 0x20000002;
constexpr uint32_t kLocation = 0x20000003;
constexpr uint32_t kEngineId = 0x2000000a;  // the text behind the engine ID's prefix
constexpr uint32_t kTimeWindow = 0x0800000e;
constexpr uint32_t kTrapTarget = 0x08000010;  // IPv4, first octet most significant
constexpr uint32_t kTrapVersion = 0x08000012;
constexpr uint32_t kTrapCommunity = 0x08000011;  // a community's id
constexpr uint32_t kTrapGenerators = 0x88000013;
constexpr uint32_t kEngineBoots = 0x0800000d;
constexpr uint32_t kEnabled = 0x00000001;

// What a first start holds: the community setting, which is also the name
// of the one community a first start creates, and the time window.
constexpr const char* kDefaultCommunity = "harbor";
constexpr uint32_t kDefaultTimeWindow = 15;
// trapCommunity when traps are off.
constexpr uint32_t kNoCommunity = 0xffffffff;
// Stored trap versions (the number written into the trap message).
constexpr uint32_t kTrapV1 = 0;
constexpr uint32_t kTrapV2c = 1;
constexpr uint32_t kTrapV3 = 3;

// Community (and v3 user) objects.
constexpr uint32_t kName = 0x20000005;
constexpr uint32_t kAddress = 0x08000008;      // IPv4, first octet most significant
constexpr uint32_t kAddressMask = 0x08000009;  // IPv4, first octet most significant
constexpr uint32_t kReadAccess = 0x00000006;
constexpr uint32_t kWriteAccess = 0x00000007;
constexpr uint32_t kSecurity = 0x0800000f;
constexpr uint32_t kAuthMethod = 0x08000014;
constexpr uint32_t kEncryptionProtocol = 0x08000015;
constexpr uint32_t kAuthPassword = 0x2000000b;
constexpr uint32_t kEncryptionPassword = 0x2000000c;

// Required v3 security levels.
constexpr uint32_t kSecurityNone = 0;
constexpr uint32_t kSecurityAuth = 1;
constexpr uint32_t kSecurityAuthPriv = 2;
// Digest methods and privacy protocols by their stored numbers.
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

// Commands of the agent beyond the generic ones.  Command 1 asks for the
// enterprise trap; command 100 lists the trap generators, each entry an
// object id (0x08fe0001) and a name.
constexpr uint32_t kCmdSendTrap = 1;
constexpr uint32_t kCmdListGenerators = 100;
constexpr uint32_t kGeneratorName = 0x20fe0010;
// The built-in generators, by id and name: the start-up trap, and the link
// traps (the first trap subscriber, registered by the interfaces module
// before any plug-in).
constexpr uint32_t kStartupGenerator = 0x0abc0001;
constexpr const char* kStartupGeneratorName = "start-trap";
constexpr uint32_t kInterfacesGenerator = 0;
constexpr const char* kInterfacesGeneratorName = "interfaces";

// Fields of a trap request (command 1): the one binding's OID as dotted
// text, its value type (a BER tag) and its value as text.
constexpr uint32_t kTrapOid = 0x200003e9;
constexpr uint32_t kTrapType = 0x080003ea;
constexpr uint32_t kTrapValue = 0x200003eb;

}  // namespace snmp

#endif  // KX_SNMP_KEYS_H_
