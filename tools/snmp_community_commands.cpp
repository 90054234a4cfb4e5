// snmp community list, add, set and remove.
#include "tools/snmp_agent_link.h"
#include "tools/snmp_changes.h"
#include "tools/snmp_keys.h"
#include "tools/snmp_subcommands.h"
#include "tools/snmp_values.h"

namespace kxctl {
namespace snmp {

namespace {

std::vector<std::string> row(const kx::message& c) {
  uint32_t level = c.getU32(kSecurity);
  Network net{c.getBe32(kAddress), c.getBe32(kAddressMask)};
  return {std::to_string(c.getU32(kx::kObjId)),
          c.getString(kName),
          networkText(net),
          yesNo(c.getBool(kReadAccess)),
          yesNo(c.getBool(kWriteAccess)),
          securityText(level),
          level >= kSecurityAuth ? authMethodText(c.getU32(kAuthMethod)) : "-",
          level >= kSecurityAuthPriv ? privacyText(c.getU32(kEncryptionProtocol)) : "-"};
}

// Finds the community args[0] names; on failure returns the exit status in
// status (the error printed), else kExitOk.
const kx::message* target(Session& session, const char* command, const Args& args,
                          std::vector<kx::message>& list, int& status) {
  status = kExitOk;
  if (args.empty()) {
    status = session.usage(command, "which community? give its name or id");
    return nullptr;
  }
  AgentLink agent(session.bus());
  kx::message error;
  if (!agent.communities(list, error)) {
    status = session.errorReply(error);
    return nullptr;
  }
  const kx::message* c = findCommunity(list, args[0]);
  if (!c) {
    status = session.usage(command, "no community is named '" + args[0] +
                                        "' or has that id (see 'kxctl snmp community list')");
  }
  return c;
}

}  // namespace

int communityList(Session& session, const Args& args) {
  if (!args.empty()) {
    return session.usage("snmp community list", "unexpected argument '" + args[0] + "'");
  }
  AgentLink agent(session.bus());
  std::vector<kx::message> list;
  kx::message error;
  if (!agent.communities(list, error)) return session.errorReply(error);
  std::vector<std::vector<std::string>> rows = {
      {"ID", "NAME", "ADDRESS", "READ", "WRITE", "SECURITY", "AUTH", "PRIVACY"}};
  for (const kx::message& c : list) rows.push_back(row(c));
  session.out() << tableText(rows) << std::flush;
  return kExitOk;
}

int communityAdd(Session& session, const Args& args) {
  kx::message add;
  std::string err;
  if (!communityChange(args, nullptr, add, err)) return session.usage("snmp community add", err);
  AgentLink agent(session.bus());
  kx::message reply = agent.send(kCommunitiesPath, kx::kCmdAddObj, add);
  if (kx::isError(reply)) return session.errorReply(reply);
  session.out() << "added community '" << add.getString(kName) << "' with id "
                << reply.getU32(kx::kObjId) << std::endl;
  return kExitOk;
}

int communitySet(Session& session, const Args& args) {
  const char* command = "snmp community set";
  if (args.size() < 2) {
    return session.usage(command, "give the community's name or id and name=value words");
  }
  // A malformed word is refused before the list is even read; what depends
  // on the community (its passwords) is checked once it is known.
  kx::message scratch;
  std::string err;
  Args words(args.begin() + 1, args.end());
  if (!communityFields(words, scratch, err)) return session.usage(command, err);
  std::vector<kx::message> list;
  int status;
  const kx::message* c = target(session, command, args, list, status);
  if (!c) return status;
  kx::message change;
  if (!communityChange(words, c, change, err)) return session.usage(command, err);
  uint32_t id = c->getU32(kx::kObjId);
  change.setU32(kx::kObjId, id);
  AgentLink agent(session.bus());
  kx::message reply = agent.send(kCommunitiesPath, kx::kCmdSetObj, change);
  if (kx::isError(reply)) return session.errorReply(reply);
  return kExitOk;
}

int communityRemove(Session& session, const Args& args) {
  const char* command = "snmp community remove";
  if (args.size() > 1) return session.usage(command, "unexpected argument '" + args[1] + "'");
  std::vector<kx::message> list;
  int status;
  const kx::message* c = target(session, command, args, list, status);
  if (!c) return status;
  kx::message remove;
  remove.setU32(kx::kObjId, c->getU32(kx::kObjId));
  AgentLink agent(session.bus());
  kx::message reply = agent.send(kCommunitiesPath, kx::kCmdRemoveObj, remove);
  if (kx::isError(reply)) return session.errorReply(reply);
  return kExitOk;
}

}  // namespace snmp
}  // namespace kxctl
