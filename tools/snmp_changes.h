// The operator's name=value words of kxctl's snmp commands turned into the
// agent's bus messages, and the settings back into words.  Pure functions: the lists they consult
// are read from the agent beforehand, so every refusal happens before anything is sent.
//
// Each returns false with a one-line reason in err on the first bad word
// (an unknown name, a malformed value, an unknown or repeated key) and then
// leaves out untouched.
#ifndef TOOLS_SNMP_CHANGES_H_
#define TOOLS_SNMP_CHANGES_H_

#include <string>
#include <vector>

#include "kx/message.h"

namespace kxctl {
namespace snmp {

// What the words of a settings change may name: the communities (for
// trap-community) and the trap generators (for trap-generators).  Either
// may be empty when no word needs it.
struct SettingsContext {
  std::vector<kx::message> communities;
  std::vector<kx::message> generators;
  // Take a generator id that is not in the list: without the agent, the
  // ids its plug-ins will register at start are not known.
  bool unlistedIds = false;
};

// True when the words need the community list or the generator list.
bool needsCommunities(const std::vector<std::string>& words);
bool needsGenerators(const std::vector<std::string>& words);

// The settings words, from one table: enabled, contact, location,
// community, engine-id, time-window, trap-target, trap-version,
// trap-community, trap-generators.
bool settingsChange(const std::vector<std::string>& words, const SettingsContext& context,
                    kx::message& out, std::string& err);
// The same table read the other way, for snmp show: one row of name and
// readable value per setting (engine-id-hex and engine-boots besides),
// communities and generators by name where context lists them.
std::vector<std::vector<std::string>> settingsRows(const kx::message& settings,
                                                   const SettingsContext& context);
// One help line (or more) per settable word: its form and what it sets.
std::string settingsHelp();

// The community among list named text, or else with the id text: a name
// wins over an id, so a community called "7" stays reachable.  Null when
// neither matches.
const kx::message* findCommunity(const std::vector<kx::message>& list, const std::string& text);

// The fields that name=value words for a community give, nothing more:
// name, address (address and mask), read, write, security, auth, privacy,
// auth-password, priv-password.
bool communityFields(const std::vector<std::string>& words, kx::message& out, std::string& err);

// The words of communityFields made into a whole change.  current: the community as it is (null
// when adding, which then requires name and fills read=yes, write=no, any source, no v3 security
// for what is not given).  A v3 user that requires authentication (or privacy) is refused while its
// password for that level is shorter than kMinPasswordLength.
bool communityChange(const std::vector<std::string>& words, const kx::message* current,
                     kx::message& out, std::string& err);

// oid, type, value: the one binding of a trap request.  A value needs a
// type and an OID; a type needs an OID; only type null goes without value.
bool trapRequest(const std::vector<std::string>& words, kx::message& out, std::string& err);

}  // namespace snmp
}  // namespace kxctl

#endif  // TOOLS_SNMP_CHANGES_H_
