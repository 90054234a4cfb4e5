// The agent's bus keys (kx/snmp_keys.h) as kxctl's snmp commands use them,
// and what only kxctl needs beside them.
#ifndef TOOLS_SNMP_KEYS_H_
#define TOOLS_SNMP_KEYS_H_

#include <cstddef>
#include <cstdint>
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

}  // namespace snmp
}  // namespace kxctl

#endif  // TOOLS_SNMP_KEYS_H_
