// kxctl::SnmpCommand: the operator's commands for the SNMP agent, with
// readable names instead of typed keys.
//
//   snmp show                           the settings as a table
//   snmp set name=value ...             change settings
//   snmp community list                 the communities (and v3 users)
//   snmp community add name=... [...]   add one
//   snmp community set NAME|ID k=v ...  change one
//   snmp community remove NAME|ID       remove one
//   snmp generators                     the trap generators
//   snmp send-trap [oid= type= value=]  make the agent send a trap
//
// Every word is checked (names looked up in the agent's lists) before
// anything is changed: a bad one exits kExitUsage with nothing sent.
#ifndef TOOLS_SNMP_COMMAND_H_
#define TOOLS_SNMP_COMMAND_H_

#include <cstdint>
#include <string>
#include <vector>

#include "tools/command.h"
#include "tools/session.h"

namespace kxctl {

class SnmpCommand : public Command {
 public:
  std::string name() const override { return "snmp"; }
  std::string synopsis() const override { return "snmp SUBCOMMAND [ARGS ...]"; }
  std::string brief() const override { return "the SNMP agent's settings and communities"; }
  // Every sub-command in short.
  std::string help() const override;
  // The named sub-command's full help; help() when none is named.
  std::string helpFor(const std::vector<std::string>& args) const override;
  int run(Session& session, const std::vector<std::string>& args) override;
};

// The sub-commands of "kxctl snmp", one function each.  args: the words
// after the sub-command's own words.  Each returns an exit status of
// session.h.  Only SnmpCommand calls them.

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

#endif  // TOOLS_SNMP_COMMAND_H_
