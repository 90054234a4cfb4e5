// How a "kxctl snmp" sub-command reaches the agent: over the bus, saying
// what to do when no agent answers, or with --offline through the agent's
// stores (OfflineAgent).
#ifndef TOOLS_SNMP_SESSIONS_H_
#define TOOLS_SNMP_SESSIONS_H_

#include <string>

#include "tools/session.h"
#include "tools/snmp_subcommands.h"

namespace kxctl {
namespace snmp {

// The word that makes a sub-command work on the stores.
constexpr const char* kOfflineFlag = "--offline";

using SubRun = int (*)(Session&, const Args&);

// Runs the sub-command over session's bus.  When the agent's service is
// not on the bus the error line says that snmpd is not running and names
// the bus directory looked in, and one more line suggests --offline.
int runOnBus(Session& session, SubRun run, const Args& args);

// Runs the sub-command named words ("show", "community add") on the
// stores.  Refused with exit status 2 for a sub-command that needs the
// agent (generators, send-trap), and with 1 for one that writes while the
// agent runs: it would not see the change and would overwrite it.
int runOffline(Session& session, const std::string& words, SubRun run, const Args& args);

}  // namespace snmp
}  // namespace kxctl

#endif  // TOOLS_SNMP_SESSIONS_H_
