// snmp show, set, generators and send-trap.
#include <algorithm>
#include <cstdio>

#include "tools/snmp_agent_link.h"
#include "tools/snmp_changes.h"
#include "tools/snmp_keys.h"
#include "tools/snmp_subcommands.h"
#include "tools/snmp_values.h"

namespace kxctl {
namespace snmp {

int show(Session& session, const Args& args) {
  if (!args.empty()) return session.usage("snmp show", "unexpected argument '" + args[0] + "'");
  AgentLink agent(session.bus());
  kx::message settings, error;
  if (!agent.settings(settings, error)) return session.errorReply(error);
  // The names are a courtesy: without the lists the ids are shown instead.
  SettingsContext names;
  agent.communities(names.communities, error);
  agent.generators(names.generators, error);
  session.out() << tableText(settingsRows(settings, names)) << std::flush;
  return kExitOk;
}

int set(Session& session, const Args& args) {
  if (args.empty()) return session.usage("snmp set", "nothing to change; give name=value");
  SettingsContext context;
  context.unlistedIds = session.options().offline;
  kx::message change, error;
  std::string err;
  // Refuse what is malformed before asking the agent anything; only words
  // that name a community or a generator need its lists first.
  if (!settingsChange(args, context, change, err) && !needsCommunities(args) &&
      !needsGenerators(args)) {
    return session.usage("snmp set", err);
  }
  AgentLink agent(session.bus());
  if (needsCommunities(args) && !agent.communities(context.communities, error)) {
    return session.errorReply(error);
  }
  if (needsGenerators(args) && !agent.generators(context.generators, error)) {
    return session.errorReply(error);
  }
  if (!settingsChange(args, context, change, err)) return session.usage("snmp set", err);
  kx::message reply = agent.send(kSettingsPath, kx::kCmdSet, change);
  if (kx::isError(reply)) return session.errorReply(reply);
  return kExitOk;
}

int generators(Session& session, const Args& args) {
  if (!args.empty()) {
    return session.usage("snmp generators", "unexpected argument '" + args[0] + "'");
  }
  AgentLink agent(session.bus());
  std::vector<kx::message> gens;
  kx::message settings, error;
  if (!agent.generators(gens, error) || !agent.settings(settings, error)) {
    return session.errorReply(error);
  }
  std::vector<uint32_t> on = settings.getU32Array(kTrapGenerators);
  std::vector<std::vector<std::string>> rows = {{"ID", "NAME", "ENABLED"}};
  for (const kx::message& g : gens) {
    uint32_t id = g.getU32(kx::kObjId);
    rows.push_back({generatorIdText(id), g.getString(kGeneratorName),
                    yesNo(std::find(on.begin(), on.end(), id) != on.end())});
  }
  session.out() << tableText(rows) << std::flush;
  return kExitOk;
}

int sendTrap(Session& session, const Args& args) {
  kx::message request;
  std::string err;
  if (!trapRequest(args, request, err)) return session.usage("snmp send-trap", err);
  AgentLink agent(session.bus());
  kx::message reply = agent.send(kSettingsPath, kCmdSendTrap, request);
  if (kx::isError(reply)) return session.errorReply(reply);
  return kExitOk;
}

}  // namespace snmp
}  // namespace kxctl
