// kxctl::snmp::AgentLink: the reads kxctl's snmp commands make of the agent
// before they change anything: its settings, its communities and its trap
// generators.
//
// Every read returns false with the error reply in error when the agent
// refuses or does not answer; the caller prints it (Session::errorReply).
#ifndef TOOLS_SNMP_AGENT_LINK_H_
#define TOOLS_SNMP_AGENT_LINK_H_

#include <cstdint>
#include <vector>

#include "kx/message.h"
#include "tools/bus_client.h"

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

}  // namespace snmp
}  // namespace kxctl

#endif  // TOOLS_SNMP_AGENT_LINK_H_
