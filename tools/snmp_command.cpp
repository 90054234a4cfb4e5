#include "tools/snmp_command.h"

#include <algorithm>
#include <cstdio>
#include <memory>

#include "tools/command.h"
#include "tools/snmp_agent_link.h"
#include "tools/snmp_changes.h"
#include "tools/snmp_values.h"

namespace kxctl {

namespace {

struct Sub {
  const char* words;     // "community add"
  const char* synopsis;  // after "snmp "
  const char* brief;
  const char* details;  // the rest of its help
  int (*run)(Session&, const snmp::Args&);
};

const Sub kSubs[] = {
    {"show", "show", "the agent's settings as a table",
     "Prints every setting of the agent: enabled, contact, location, community,\n"
     "engine-id, time-window, trap-target, trap-version, trap-community (by name),\n"
     "trap-generators (by name) and engine-boots.\n",
     snmp::show},
    {"set", "set name=value ...", "change settings; applied at once",
     "Changes the settings named; the others keep their values.  The agent applies\n"
     "and stores the change at once (enabled=no closes the SNMP port, yes opens it).\n"
     "\n"
     "{settings}"
     "\n"
     "Example: kxctl snmp set trap-target=192.0.2.1 trap-version=2c trap-community=public\n",
     snmp::set},
    {"community list", "community list", "the communities and v3 users",
     "Prints one row per community: id, name, the sources it accepts (address),\n"
     "read and write rights, the v3 security it requires and its auth and privacy\n"
     "methods.\n",
     snmp::communityList},
    {"community add", "community add name=NAME [name=value ...]", "add a community or v3 user",
     "Adds a community.  Without further words it is read-only, from any source,\n"
     "without v3 security.\n"
     "\n"
     "  name=NAME                 the community string, or the v3 user name\n"
     "  address=any|A.B.C.D[/LEN|/MASK]\n"
     "                            the sources accepted (one host without /LEN)\n"
     "  read=yes|no  write=yes|no the rights of v1/v2c requests\n"
     "  security=none|auth|authpriv\n"
     "                            the v3 security required; a community with auth\n"
     "                            or authpriv serves v3 only\n"
     "  auth=md5|sha|sha224|sha256|sha384|sha512\n"
     "                            the v3 digest method\n"
     "  priv=des|aes|aes192|aes256\n"
     "                            the v3 privacy protocol (aes: AES-128)\n"
     "  auth-password=TEXT        at least 8 characters when security is auth or\n"
     "  priv-password=TEXT        authpriv (the privacy one for authpriv)\n"
     "\n"
     "Example: kxctl snmp community add name=ops address=192.0.2.0/24 write=yes\n",
     snmp::communityAdd},
    {"community set", "community set NAME|ID name=value ...", "change a community",
     "Changes the named community (by name, else by id); the words are those of\n"
     "'kxctl snmp community add', and what is not given keeps its value.\n",
     snmp::communitySet},
    {"community remove", "community remove NAME|ID", "remove a community",
     "Removes the named community (by name, else by id).\n", snmp::communityRemove},
    {"generators", "generators", "the trap generators and which are on",
     "Prints the trap generators the agent offers (start-trap: the start-up trap;\n"
     "the others raise traps from router events) and whether each is enabled.\n",
     snmp::generators},
    {"send-trap", "send-trap [oid=OID type=TYPE value=TEXT]", "make the agent send a trap",
     "Asks the agent to send its enterprise trap to the trap target, with one\n"
     "binding when oid= is given.\n"
     "\n"
     "  oid=1.3.6.1.2.1.1.5.0     the binding's name\n"
     "  type=TYPE                 integer, string, null, oid, ipaddress, counter,\n"
     "                            timeticks, unsigned, or a BER tag number\n"
     "  value=TEXT                the value as text (not needed for null)\n",
     snmp::sendTrap},
};

constexpr const char kFooter[] =
    "\n"
    "Nothing is sent when a word is wrong (an unknown name, a malformed address, an\n"
    "unknown setting): exit status 2.  The agent's refusals print as\n"
    "\"error 0x......: text\" on standard error, exit status 1.\n"
    "\n"
    "--offline (show, set, community list|add|set|remove): read and change the\n"
    "agent's stores while it is stopped; it takes them over when it starts.  A\n"
    "first start: kxctl snmp set --offline enabled=yes\n";

// Where a details text lists the settings words.
const std::string kSettingsMark = "{settings}";

std::string usageLine(const Sub& s) {
  return std::string("Usage: kxctl [--root DIR] [--timeout MS] snmp ") + s.synopsis + "\n";
}

// The sub-command whose words start args, and how many words it took.
const Sub* findSub(const std::vector<std::string>& args, size_t& used) {
  for (const Sub& s : kSubs) {
    std::string words = s.words;
    size_t space = words.find(' ');
    if (space == std::string::npos) {
      if (!args.empty() && args[0] == words) {
        used = 1;
        return &s;
      }
    } else if (args.size() >= 2 && args[0] == words.substr(0, space) &&
               args[1] == words.substr(space + 1)) {
      used = 2;
      return &s;
    }
  }
  return nullptr;
}

}  // namespace

std::string SnmpCommand::help() const {
  std::string s =
      "Usage: kxctl [--root DIR] [--timeout MS] snmp SUBCOMMAND [ARGS ...] [--offline]\n\n"
      "Shows and changes the SNMP agent's settings and communities (bus\n"
      "service 34) with readable names.\n\nSubcommands:\n";
  for (const Sub& sub : kSubs) {
    std::string line = std::string("  ") + sub.synopsis;
    line.resize(std::max<size_t>(line.size() + 2, 46), ' ');
    s += line + sub.brief + "\n";
  }
  s += "\n'kxctl snmp SUBCOMMAND --help' describes one.\n";
  return s + kFooter;
}

std::string SnmpCommand::helpFor(const std::vector<std::string>& args) const {
  size_t used;
  const Sub* sub = findSub(args, used);
  if (!sub) return help();
  std::string details = sub->details;
  // The settings words come from their table (snmp_changes.h).
  const size_t at = details.find(kSettingsMark);
  if (at != std::string::npos) details.replace(at, kSettingsMark.size(), snmp::settingsHelp());
  return usageLine(*sub) + "\n" + details + kFooter;
}

int SnmpCommand::run(Session& session, const std::vector<std::string>& words) {
  std::vector<std::string> args;
  bool offline = false;
  for (const std::string& w : words) {
    if (w == snmp::kOfflineFlag) {
      offline = true;
    } else {
      args.push_back(w);
    }
  }
  if (args.empty()) return session.usage("snmp", "missing subcommand");
  size_t used = 0;
  const Sub* sub = findSub(args, used);
  if (!sub) {
    if (args[0] == "community") {
      return session.usage("snmp", args.size() < 2
                                       ? "community needs list, add, set or remove"
                                       : "unknown community subcommand '" + args[1] + "'");
    }
    return session.usage("snmp", "unknown subcommand '" + args[0] + "'");
  }
  const snmp::Args rest(args.begin() + used, args.end());
  if (offline) return snmp::runOffline(session, sub->words, sub->run, rest);
  return snmp::runOnBus(session, sub->run, rest);
}

void addSnmpCommand(CommandTable& table) { table.add(std::make_unique<SnmpCommand>()); }

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
