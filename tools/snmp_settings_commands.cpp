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

namespace {

// Generator ids at or above this are special values, shown in hex.
constexpr uint32_t kFirstSpecialGenerator = 0x10000;

std::string communityNameOf(uint32_t id, const std::vector<kx::message>& communities) {
  if (id == kNoCommunity) return "none";
  for (const kx::message& c : communities) {
    if (c.getU32(kx::kObjId) == id) return c.getString(kName);
  }
  return "id " + std::to_string(id) + " (no such community)";
}

std::string generatorNames(const std::vector<uint32_t>& ids,
                           const std::vector<kx::message>& generators) {
  if (ids.empty()) return "none";
  std::string s;
  for (uint32_t id : ids) {
    std::string name = generatorIdText(id);
    for (const kx::message& g : generators) {
      if (g.getU32(kx::kObjId) == id) name = g.getString(kGeneratorName);
    }
    s += (s.empty() ? "" : ",") + name;
  }
  return s;
}

}  // namespace

std::string generatorIdText(uint32_t id) {
  if (id < kFirstSpecialGenerator) return std::to_string(id);
  char text[16];
  std::snprintf(text, sizeof text, "0x%08x", id);
  return text;
}

int show(Session& session, const Args& args) {
  if (!args.empty()) return session.usage("snmp show", "unexpected argument '" + args[0] + "'");
  AgentLink agent(session.bus());
  kx::message settings, error;
  if (!agent.settings(settings, error)) return session.errorReply(error);
  // The names are a courtesy: without the lists the ids are shown instead.
  std::vector<kx::message> communities, gens;
  agent.communities(communities, error);
  agent.generators(gens, error);
  uint32_t target = settings.getBe32(kTrapTarget);
  session.out()
      << tableText({
             {"enabled", yesNo(settings.getBool(kEnabled))},
             {"contact", settings.getString(kContact)},
             {"location", settings.getString(kLocation)},
             {"community", settings.getString(kCommunity)},
             {"engine-id", settings.getString(kEngineId)},
             {"engine-id-hex", engineIdHex(settings.getString(kEngineId))},
             {"time-window", std::to_string(settings.getU32(kTimeWindow))},
             {"trap-target", target == 0 ? "none" : ipv4Text(target)},
             {"trap-version", trapVersionText(settings.getU32(kTrapVersion))},
             {"trap-community",
              communityNameOf(settings.getU32(kTrapCommunity, kNoCommunity), communities)},
             {"trap-generators", generatorNames(settings.getU32Array(kTrapGenerators), gens)},
             {"engine-boots", std::to_string(settings.getU32(kEngineBoots))},
         })
      << std::flush;
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
