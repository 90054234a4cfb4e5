// kxctl::snmp::OfflineAgent: the SNMP agent's settings and communities
// served from its stores while no agent runs (`kxctl snmp ... --offline`).
//
// It answers the requests kxctl's snmp commands make of the agent the way
// the agent would: [34] get and set record and the generator list; [34, 1]
// get all, set, add and remove object, with the agent's refusals (codes and
// texts).  So the commands run unchanged, and what they write is what the
// agent reads when it next starts:
//
//   - settings: a stored object is read with the defaults the agent applies
//     to absent fields; without one, the defaults of a first start (service
//     off, community "harbor", time window 15).  A set writes every field,
//     as the agent does, so nothing is left to a default later.
//   - communities: an empty store stands for the read-only community
//     "harbor" the agent creates on its first start; the first change
//     writes that community too.  New ids are the lowest free ones.
//   - generators: the built-in ones are known by name (start-trap,
//     interfaces); plug-ins number theirs when the agent starts, so they
//     are given by id, and any id is taken.
//
// Engine boots are shown as stored; the agent adds one when it starts.
#ifndef TOOLS_SNMP_OFFLINE_AGENT_H_
#define TOOLS_SNMP_OFFLINE_AGENT_H_

#include <cstdint>
#include <vector>

#include "kx/message.h"
#include "tools/session.h"

namespace kxctl {
namespace snmp {

class OfflineAgent : public BusClient {
 public:
  // Requests other than the ones above get an error reply (0xfe0007).
  kx::message exchange(kx::message& msg) override;

 private:
  kx::message settings() const;
  kx::message setSettings(const kx::message& change);
  // Every community, ascending by id, each with all of its fields.
  std::vector<kx::message> communities() const;
  kx::message addCommunity(const kx::message& add);
  kx::message setCommunity(const kx::message& change);
  kx::message removeCommunity(uint32_t id);
};

// True when a process serves the agent's bus service (34) below the root.
bool agentRunning();

}  // namespace snmp
}  // namespace kxctl

#endif  // TOOLS_SNMP_OFFLINE_AGENT_H_
