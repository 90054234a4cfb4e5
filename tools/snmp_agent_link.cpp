#include "tools/snmp_agent_link.h"

#include <utility>

#include "tools/list_pager.h"
#include "tools/snmp_keys.h"

namespace kxctl {
namespace snmp {

kx::message AgentLink::send(const std::vector<uint32_t>& path, uint32_t code, kx::message msg) {
  msg.setDstPath(path);
  msg.setCommand(code);
  return bus_.exchange(msg);
}

bool AgentLink::settings(kx::message& out, kx::message& error) {
  kx::message reply = send(kSettingsPath, kx::kCmdGet, kx::message());
  if (kx::isError(reply)) {
    error = std::move(reply);
    return false;
  }
  out = std::move(reply);
  return true;
}

bool AgentLink::communities(std::vector<kx::message>& out, kx::message& error) {
  ListPager pager(bus_, kCommunitiesPath, 0);
  std::vector<kx::message> list;
  if (!pager.fetch(list, error)) return false;
  out = std::move(list);
  return true;
}

bool AgentLink::generators(std::vector<kx::message>& out, kx::message& error) {
  kx::message reply = send(kSettingsPath, kCmdListGenerators, kx::message());
  if (kx::isError(reply)) {
    error = std::move(reply);
    return false;
  }
  out = reply.getMessageArray(kx::kObjects);
  return true;
}

}  // namespace snmp
}  // namespace kxctl
