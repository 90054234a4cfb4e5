// The sub-commands of "kxctl snmp", one function each.  args: the words
// after the sub-command's own words.  Each returns an exit status of
// session.h.  Only SnmpCommand calls them.
#ifndef TOOLS_SNMP_SUBCOMMANDS_H_
#define TOOLS_SNMP_SUBCOMMANDS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "tools/session.h"

namespace kxctl {
namespace snmp {

using Args = std::vector<std::string>;

int show(Session& session, const Args& args);
int set(Session& session, const Args& args);
int generators(Session& session, const Args& args);
int sendTrap(Session& session, const Args& args);
int communityList(Session& session, const Args& args);
int communityAdd(Session& session, const Args& args);
int communitySet(Session& session, const Args& args);
int communityRemove(Session& session, const Args& args);

}  // namespace snmp
}  // namespace kxctl

#endif  // TOOLS_SNMP_SUBCOMMANDS_H_
