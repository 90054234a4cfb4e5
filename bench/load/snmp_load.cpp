// Load benchmark: one-binding v2c GET and GETNEXT of a constant scalar, and
// v3 GETs of it by an authNoPriv SHA-1 user and authPriv SHA-1+DES and
// SHA-256+AES-128 users, at windows of 1, 16 and 64 outstanding requests,
// against our snmpd, net-snmp's snmpd (with the same users) and, for v2c,
// a UDP echo server (the ceiling), all on loopback and all measured in this
// run.  Our agent runs twice: once as a v1/v2c agent (the default community
// only), which answers the v2c cells and whose resident memory is read
// after start and after --requests requests, and once with the v3 users,
// which answers the v3 cells.  Prints replies per second, p50/p99 latency
// and each server's CPU time per reply, the stripped size of our agent,
// resident memory, and the ratios with their targets.  v3 requests carry
// the engine ID, boots and time each agent reports to a discovery made
// just before each run, so they stay inside its time window.
//
//   snmp_load [--seconds S] [--rounds N] [--requests N] [--snmpd PATH]
//             [--kxctl PATH] [--netsnmp PATH] [--v2c-only]
//
// Every combination is measured in several short rounds, the three servers
// taking turns within a round.  A ratio is taken within each round, where
// the servers ran moments apart, and the median over the rounds is
// printed; the table shows each combination's median round.  Work from
// elsewhere on a shared machine then moves single rounds, not the result.
//
// Exit status 0 when every run completed with correct replies (targets
// missed or not: the numbers are for reading), 1 when a server could not be
// started or answered wrongly, 2 for a bad option.
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "bench/load/agent_peers.h"
#include "bench/load/bench_options.h"
#include "bench/load/load_cells.h"
#include "bench/load/load_window.h"
#include "bench/load/peer_process.h"
#include "bench/load/snmp_wire.h"

namespace {

using bench::Cell;
using bench::Clock;
using bench::kWindows;
using bench::Round;
using bench::Server;

constexpr const char kSysDescr[] = "1.3.6.1.2.1.1.1.0";
constexpr const char kSysDescrParent[] = "1.3.6.1.2.1.1.1";
constexpr double kDefaultSeconds = 0.3;
constexpr int kDefaultRounds = 5;
constexpr int kMaxRounds = 100;
constexpr uint64_t kDefaultRequests = 1000000;
// net-snmp's memory is read after this many requests (a million would take
// it a minute).
constexpr uint64_t kNetSnmpRequests = 100000;
// The memory top-up never takes longer than this per agent.
constexpr auto kTopUpLimit = std::chrono::seconds(60);
constexpr auto kAskTimeout = std::chrono::milliseconds(3000);

volatile sig_atomic_t stopRequested = 0;
void onStop(int) { stopRequested = 1; }

struct Options {
  double seconds = kDefaultSeconds;
  int rounds = kDefaultRounds;
  uint64_t requests = kDefaultRequests;
  bench::OurAgent ours{SNMPD_PATH, KXCTL_PATH, "", "", ""};
  std::string netsnmp = "/usr/sbin/snmpd";
  bool v2cOnly = false;
};

const char kUsage[] =
    "usage: snmp_load [--seconds S] [--rounds N] [--requests N] [--snmpd PATH]\n"
    "                 [--kxctl PATH] [--netsnmp PATH] [--v2c-only]\n"
    "  --seconds S    measured time of each round (default 0.3; plus 0.2 s warm-up)\n"
    "  --rounds N     rounds per combination; medians are printed (default 5)\n"
    "  --requests N   requests the v1/v2c agent has served when its memory is read\n"
    "                 again (default 1000000)\n"
    "  --snmpd, --kxctl our programs (default: this build's)\n"
    "  --netsnmp PATH net-snmp's agent (default /usr/sbin/snmpd)\n"
    "  --v2c-only     leave the v3 cells out (a quicker run)\n";

// "" when the option is taken, else what is wrong with it.
std::string takeOption(const std::string& arg, const char* v, Options* o) {
  uint64_t n = 0;
  if (arg == "--seconds") {
    char* end = nullptr;
    o->seconds = std::strtod(v, &end);
    if (*end || !(o->seconds > 0 && o->seconds <= 60)) {
      return "wants a number from 0 to 60, not '" + std::string(v) + "'";
    }
  } else if (arg == "--rounds") {
    if (!bench::parseCount(v, 1, kMaxRounds, &n)) {
      return "wants a count from 1 to " + std::to_string(kMaxRounds) + ", not '" + v + "'";
    }
    o->rounds = static_cast<int>(n);
  } else if (arg == "--requests") {
    if (!bench::parseCount(v, 1, UINT64_MAX, &o->requests)) {
      return "wants a positive count, not '" + std::string(v) + "'";
    }
  } else if (arg == "--snmpd") {
    o->ours.snmpd = v;
  } else if (arg == "--kxctl") {
    o->ours.kxctl = v;
  } else if (arg == "--netsnmp") {
    o->netsnmp = v;
  } else {
    return "is not an option";
  }
  return "";
}

const std::vector<bench::Operation> kOperations = {
    {"get", bench::kGetRequest, nullptr},
    {"getnext", bench::kGetNextRequest, nullptr},
    {"v3-sha", bench::kGetRequest, &bench::kV3Users[0]},
    {"v3-sha-des", bench::kGetRequest, &bench::kV3Users[1]},
    {"v3-sha256-aes", bench::kGetRequest, &bench::kV3Users[2]}};

// The traffic of op to s: a v2c template, or v3 requests for the engine
// that s reports now.  Null (with a message) when it can't be made.
std::unique_ptr<bench::Traffic> trafficFor(const Server& s, const bench::Operation& op) {
  if (op.user) {
    bench::EngineState engine;
    if (!bench::discoverEngine(s.port, kAskTimeout, &engine)) {
      std::fprintf(stderr, "snmp_load: %s does not answer a v3 discovery\n", s.name);
      return nullptr;
    }
    return std::make_unique<bench::V3Traffic>(*op.user, engine, s.getOid);
  }
  bench::RequestTemplate request;
  bench::Expectation expect;
  const bool next = op.pduTag == bench::kGetNextRequest;
  if (!request.build(op.pduTag, bench::kCommunity, next ? s.nextOid : s.getOid) ||
      !bench::encodeOid(s.echoes && next ? s.nextOid : s.getOid, &expect.oid)) {
    std::fprintf(stderr, "snmp_load: bad object identifier for %s\n", s.name);
    return nullptr;
  }
  if (s.echoes) {
    expect.pduTag = op.pduTag;
    expect.needValue = false;
  }
  return std::make_unique<bench::TemplateTraffic>(std::move(request), std::move(expect));
}

// Runs one cell; false when the socket failed or replies were wrong.
bool measure(Server* s, const bench::Operation& op, int window, const bench::LoadSpec& spec,
             Round* round) {
  std::unique_ptr<bench::Traffic> traffic = trafficFor(*s, op);
  if (!traffic) return false;
  bench::LoadResult* result = &round->load;
  const int fd = bench::connectUdp(s->port);
  const long long cpuBefore = bench::cpuNs(s->process.pid());
  const long sleepsBefore = bench::contextSwitches(s->process.pid());
  bool ok = fd >= 0 && bench::runLoad(fd, *traffic, spec, &stopRequested, result);
  const long long cpuAfter = bench::cpuNs(s->process.pid());
  const long sleepsAfter = bench::contextSwitches(s->process.pid());
  if (fd >= 0) ::close(fd);
  if (cpuBefore >= 0 && cpuAfter >= 0 && result->replies > 0) {
    round->cpuUs =
        static_cast<double>(cpuAfter - cpuBefore) / 1e3 / static_cast<double>(result->replies);
  }
  if (sleepsBefore >= 0 && sleepsAfter >= 0 && result->replies > 0) {
    round->switches =
        static_cast<double>(sleepsAfter - sleepsBefore) / static_cast<double>(result->replies);
  }
  s->sent += result->sent;
  if (!ok) std::fprintf(stderr, "snmp_load: the socket to %s failed\n", s->name);
  if (result->wrong) {
    std::fprintf(stderr, "snmp_load: %s sent %llu wrong replies to %s window %d\n", s->name,
                 static_cast<unsigned long long>(result->wrong), op.name, window);
    ok = false;
  }
  if (result->answered == 0 && !stopRequested) {
    std::fprintf(stderr, "snmp_load: %s answered nothing to %s window %d\n", s->name, op.name,
                 window);
    ok = false;
  }
  return ok;
}

// True when the agent answers sysDescr.0 with the text "router": both
// agents then send replies of the same size for the same constant.
bool servesSysDescr(Server* s) {
  bench::RequestTemplate request;
  request.build(bench::kGetRequest, bench::kCommunity, kSysDescr);
  std::vector<uint8_t> bytes;
  bench::Reply r;
  return bench::ask(s->port, request.bytes(), kAskTimeout, &s->process, &bytes) &&
         bench::readReply(bytes.data(), bytes.size(), &r) && r.errorStatus == 0 &&
         r.valueTag == bench::kOctetString &&
         std::string(r.value, r.value + r.valueLen) == bench::kSysDescrText;
}

}  // namespace

int main(int argc, char** argv) {
  Options opts;
  const int status = bench::parseOptions(
      argc, argv, "snmp_load", kUsage,
      [&](const std::string& arg, const char* v) { return takeOption(arg, v, &opts); },
      [&](const std::string& arg) {
        if (arg != "--v2c-only") return false;
        opts.v2cOnly = true;
        return true;
      });
  if (status >= 0) return status;
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
#ifndef NDEBUG
  // The agents come from the same build: their numbers mean little too.
  std::fprintf(stderr, "snmp_load: not a Release build; scripts/bench-load makes one\n");
#endif
  ::signal(SIGINT, onStop);
  ::signal(SIGTERM, onStop);
  ::signal(SIGPIPE, SIG_IGN);

  // The directories outlive the servers that run in them (destruction in
  // reverse order): net-snmp writes its state files as it stops.
  bench::TempDir ourRoot, ourV3Root, netDir;
  Server ours("snmpd"), oursV3("snmpd-v3"), net("net-snmp"), echo("echo");
  if (!ourRoot.create("snmp_load.ours.") || !ourV3Root.create("snmp_load.ours-v3.") ||
      !netDir.create("snmp_load.netsnmp.")) {
    std::perror("snmp_load: cannot create a temporary directory");
    return 1;
  }
  for (Server* s : {&ours, &oursV3, &net, &echo}) s->port = bench::freeUdpPort();

  std::string error;
  bench::ChildProcess noSim;
  bench::OurAgent v2cOnly = opts.ours;
  v2cOnly.v3Users = false;
  if (!bench::startOurAgent(v2cOnly, ourRoot, ours.port, &noSim, &ours.process, &error) ||
      !bench::startOurAgent(opts.ours, ourV3Root, oursV3.port, &noSim, &oursV3.process, &error) ||
      !bench::startNetSnmp(opts.netsnmp, netDir, net.port, &net.process, &error) ||
      !bench::startEcho(echo.port, &echo.process, &error)) {
    std::fprintf(stderr, "snmp_load: %s\n", error.c_str());
    return 1;
  }
  for (Server* s : {&ours, &oursV3, &net}) {
    s->rssStart = bench::statusKiB(s->process.pid(), "VmRSS");
    s->anonStart = bench::statusKiB(s->process.pid(), "RssAnon");
  }
  bench::Footprint footprint;
  footprint.strippedBytes = bench::strippedSize(opts.ours.snmpd, ourRoot.path());

  // The same constant scalar on both agents, and the same request to the
  // echo server.
  for (Server* s : {&ours, &oursV3, &net}) {
    if (!servesSysDescr(s)) {
      std::fprintf(stderr, "snmp_load: %s does not answer sysDescr.0 = \"%s\"\n", s->name,
                   bench::kSysDescrText);
      return 1;
    }
  }
  for (Server* s : {&ours, &oursV3, &net, &echo}) {
    s->getOid = kSysDescr;
    s->nextOid = kSysDescrParent;
  }
  echo.echoes = true;
  std::printf(
      "snmp_load: %s on port %u (v1/v2c) and %u (v3 users) asked for %s, %s on port %u,"
      " echo on port %u\n",
      ours.name, ours.port, oursV3.port, ours.getOid.c_str(), net.name, net.port, echo.port);

  bench::LoadSpec spec;
  spec.measure =
      std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(opts.seconds));
  std::vector<Cell> cells;
  bool ok = true;
  // Servers take turns within each round, so a burst of load from
  // elsewhere on the machine hurts all of them alike.  The echo server
  // can't answer v3.
  for (int round = 0; round < opts.rounds && !stopRequested; ++round) {
    size_t i = 0;
    for (const bench::Operation& op : kOperations) {
      for (int w : kWindows) {
        Server* mine = op.user ? &oursV3 : &ours;
        for (Server* s : {mine, &net, &echo}) {
          if (stopRequested || (op.user && (s->echoes || opts.v2cOnly))) continue;
          spec.window = w;
          Round r;
          ok = measure(s, op, w, spec, &r) && ok;
          if (round == 0) cells.push_back(Cell{s, &op, w, {}});
          cells[i++].rounds.push_back(r);
        }
      }
    }
  }

  // Memory after a fixed number of requests: top up whatever the runs left.
  for (Server* s : {&ours, &net}) {
    const uint64_t target = s == &ours ? opts.requests : kNetSnmpRequests;
    if (stopRequested || s->sent >= target) continue;
    bench::LoadSpec topUp;
    topUp.window = kWindows[1];
    topUp.warmup = Clock::duration::zero();
    topUp.measure = kTopUpLimit;
    topUp.replies = target - s->sent;
    Round r;
    ok = measure(s, kOperations[0], topUp.window, topUp, &r) && ok;
  }
  for (Server* s : {&ours, &oursV3, &net}) {
    s->rssAfter = bench::statusKiB(s->process.pid(), "VmRSS");
    s->anonAfter = bench::statusKiB(s->process.pid(), "RssAnon");
    s->sentAtRss = s->sent;
  }

  if (stopRequested) {
    std::fprintf(stderr, "snmp_load: interrupted\n");
    return 1;
  }
  bench::printReport(cells, kOperations, ours, oursV3, net, echo, footprint);
  for (Server* s : {&ours, &oursV3, &net}) {
    if (!s->process.alive()) {
      std::fprintf(stderr, "snmp_load: %s died during the runs\n", s->name);
      ok = false;
    }
  }
  return ok ? 0 : 1;
}
