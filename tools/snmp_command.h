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

#include <string>
#include <vector>

#include "tools/command.h"

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

}  // namespace kxctl

#endif  // TOOLS_SNMP_COMMAND_H_
