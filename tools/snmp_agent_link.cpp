#include "tools/snmp_agent_link.h"

#include <memory>
#include <set>
#include <string>
#include <utility>

#include "kx/platform.h"
#include "tools/bus_command.h"
#include "tools/snmp_offline_agent.h"
#include "tools/snmp_values.h"

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

namespace {

// What --offline can do: reads, which are harmless beside a running agent,
// and writes, which are not.
const std::set<std::string> kOfflineReads = {"show", "community list"};
const std::set<std::string> kOfflineWrites = {"set", "community add", "community set",
                                              "community remove"};

// The session's bus, noting when the agent's service is not there and
// saying so in the error reply.
class AgentWatch : public BusClient {
 public:
  AgentWatch(BusClient& bus, bool& missing) : bus_(bus), missing_(missing) {}

  kx::message exchange(kx::message& msg) override {
    kx::message reply = bus_.exchange(msg);
    if (kx::isError(reply) && kx::getErrorCode(reply) == kx::kErrNoService) {
      missing_ = true;
      const std::string dir = kx::rootPath(kx::kBusDir);
      reply =
          kx::errorMsg(kx::kErrNoService,
                       "snmpd is not running (nothing serves it in the bus directory " + dir + ")");
    }
    return reply;
  }

 private:
  BusClient& bus_;
  bool& missing_;
};

}  // namespace

int runOnBus(Session& session, SubRun run, const Args& args) {
  bool missing = false;
  Session watched(session.options(), session.out(), session.err(),
                  [&session, &missing](const Options&) -> std::unique_ptr<BusClient> {
                    return std::make_unique<AgentWatch>(session.bus(), missing);
                  });
  const int status = run(watched, args);
  if (missing) {
    session.err() << "kxctl: start snmpd, or add --offline to show or change its settings and "
                     "communities in its stores (a first start: kxctl snmp set --offline "
                     "enabled=yes)"
                  << std::endl;
  }
  return status;
}

int runOffline(Session& session, const std::string& words, SubRun run, const Args& args) {
  const std::string command = "snmp " + words;
  const bool writes = kOfflineWrites.count(words) != 0;
  if (!writes && kOfflineReads.count(words) == 0) {
    return session.usage(command,
                         "--offline works with show, set and community list, add, set "
                         "and remove; this one needs the running agent");
  }
  if (writes && agentRunning()) {
    return session.fail(command, "snmpd is running (in the bus directory " +
                                     kx::rootPath(kx::kBusDir) +
                                     "): drop --offline, so that it applies the change at once");
  }
  Options options = session.options();
  options.offline = true;
  Session offline(options, session.out(), session.err(),
                  [](const Options&) -> std::unique_ptr<BusClient> {
                    return std::make_unique<OfflineAgent>();
                  });
  return run(offline, args);
}

}  // namespace snmp
}  // namespace kxctl
