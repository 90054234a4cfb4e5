// kxctl::snmp::AgentLink: the reads kxctl's snmp commands make of the agent
// before they change anything: its settings, its communities and its trap
// generators.
//
// Every read returns false with the error reply in error when the agent
// refuses or does not answer; the caller prints it (Session::errorReply).
//
// The link runs over the session's bus, or with --offline over the agent's
// stores (runOnBus, runOffline).
#ifndef TOOLS_SNMP_AGENT_LINK_H_
#define TOOLS_SNMP_AGENT_LINK_H_

#include <cstdint>
#include <string>
#include <vector>

#include "kx/message.h"
#include "tools/session.h"
#include "tools/snmp_command.h"

namespace kxctl {
namespace snmp {

class AgentLink {
 public:
  // bus is not owned and must outlive the link.
  explicit AgentLink(BusClient& bus) : bus_(bus) {}

  // The settings record of [34].
  bool settings(kx::message& out, kx::message& error);
  // Every community of [34, 1], in the agent's order (paged).
  bool communities(std::vector<kx::message>& out, kx::message& error);
  // The trap generators the agent offers: {0x08fe0001 id, 0x20fe0010 name}.
  bool generators(std::vector<kx::message>& out, kx::message& error);
  // Sends msg with command code to path; the reply, or the error reply.
  kx::message send(const std::vector<uint32_t>& path, uint32_t code, kx::message msg);

 private:
  BusClient& bus_;
};

// How a "kxctl snmp" sub-command reaches the agent: over the bus, saying
// what to do when no agent answers, or with --offline through the agent's
// stores (OfflineAgent).

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

#endif  // TOOLS_SNMP_AGENT_LINK_H_
