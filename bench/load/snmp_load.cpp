// Load benchmark: one-binding v2c GET and GETNEXT of a constant scalar at
// windows of 1 and 16 outstanding requests, against our snmpd, net-snmp's
// snmpd and a UDP echo server (the ceiling), all on loopback and all
// measured in this run.  Prints replies per second and p50/p99 latency, the
// agents' resident memory after start and after --requests requests, and
// the ratios with their targets.
//
//   snmp_load [--seconds S] [--rounds N] [--requests N] [--snmpd PATH]
//             [--kxctl PATH] [--netsnmp PATH]
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

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "bench/load/agent_peers.h"
#include "bench/load/load_window.h"
#include "bench/load/peer_process.h"
#include "bench/load/snmp_wire.h"

namespace {

using bench::Clock;

constexpr const char kSysDescr[] = "1.3.6.1.2.1.1.1.0";
constexpr const char kSysDescrParent[] = "1.3.6.1.2.1.1.1";
constexpr int kWindows[] = {1, 16};
constexpr double kDefaultSeconds = 0.3;
constexpr int kDefaultRounds = 5;
constexpr int kMaxRounds = 100;
constexpr uint64_t kDefaultRequests = 100000;
// The memory top-up never takes longer than this per agent.
constexpr auto kTopUpLimit = std::chrono::seconds(30);
constexpr auto kAskTimeout = std::chrono::milliseconds(3000);
// Targets.
constexpr double kRateOverNetSnmp = 3.0;
constexpr double kShareOfEcho = 0.60;
constexpr double kRssShareOfNetSnmp = 0.25;
constexpr int kUsageError = 2;

volatile sig_atomic_t stopRequested = 0;
void onStop(int) { stopRequested = 1; }

struct Options {
  double seconds = kDefaultSeconds;
  int rounds = kDefaultRounds;
  uint64_t requests = kDefaultRequests;
  bench::OurAgent ours{SNMPD_PATH, KXCTL_PATH, "", "", ""};
  std::string netsnmp = "/usr/sbin/snmpd";
};

const char kUsage[] =
    "usage: snmp_load [--seconds S] [--rounds N] [--requests N] [--snmpd PATH]\n"
    "                 [--kxctl PATH] [--netsnmp PATH]\n"
    "  --seconds S    measured time of each round (default 0.3; plus 0.2 s warm-up)\n"
    "  --rounds N     rounds per combination; medians are printed (default 5)\n"
    "  --requests N   requests each agent has served when its memory is read again\n"
    "                 (default 100000)\n"
    "  --snmpd, --kxctl our programs (default: this build's)\n"
    "  --netsnmp PATH net-snmp's agent (default /usr/sbin/snmpd)\n";

int parseOptions(int argc, char** argv, Options* o) {
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--help" || arg == "-h") {
      std::fputs(kUsage, stdout);
      return 0;
    }
    if (i + 1 >= argc) {
      std::fprintf(stderr, "snmp_load: unknown option or missing value: %s (try --help)\n",
                   arg.c_str());
      return kUsageError;
    }
    const char* v = argv[++i];
    char* end = nullptr;
    if (arg == "--seconds") {
      o->seconds = std::strtod(v, &end);
      if (*end || !(o->seconds > 0 && o->seconds <= 60)) {
        std::fprintf(stderr, "snmp_load: --seconds wants a number from 0 to 60, not '%s'\n", v);
        return kUsageError;
      }
    } else if (arg == "--rounds") {
      const long n = std::strtol(v, &end, 10);
      if (*end || n < 1 || n > kMaxRounds) {
        std::fprintf(stderr, "snmp_load: --rounds wants a count from 1 to %d, not '%s'\n",
                     kMaxRounds, v);
        return kUsageError;
      }
      o->rounds = static_cast<int>(n);
    } else if (arg == "--requests") {
      o->requests = std::strtoull(v, &end, 10);
      if (*end || o->requests == 0 || *v == '-') {
        std::fprintf(stderr, "snmp_load: --requests wants a positive count, not '%s'\n", v);
        return kUsageError;
      }
    } else if (arg == "--snmpd") {
      o->ours.snmpd = v;
    } else if (arg == "--kxctl") {
      o->ours.kxctl = v;
    } else if (arg == "--netsnmp") {
      o->netsnmp = v;
    } else {
      std::fprintf(stderr, "snmp_load: unknown option %s (try --help)\n", arg.c_str());
      return kUsageError;
    }
  }
  return -1;
}

// One server under test and what it is asked.
struct Server {
  explicit Server(const char* n) : name(n) {}
  const char* name;
  uint16_t port = 0;
  bench::ChildProcess process;
  std::string getOid;   // GET asks this
  std::string nextOid;  // GETNEXT asks this and expects getOid back
  bool echoes = false;  // replies are the requests themselves
  uint64_t sent = 0;    // requests so far
  long rssStart = -1;
  long rssAfter = -1;
  long anonStart = -1;  // the private part of the resident memory
  long anonAfter = -1;
};

struct Cell {
  const Server* server;
  uint8_t op;
  int window;
  std::vector<bench::LoadResult> rounds;

  // The round of median rate.  REQUIRES: at least one round.
  bench::LoadResult median() const {
    std::vector<bench::LoadResult> sorted = rounds;
    std::sort(sorted.begin(), sorted.end(),
              [](const bench::LoadResult& a, const bench::LoadResult& b) {
                return a.perSecond < b.perSecond;
              });
    return sorted[sorted.size() / 2];
  }
  uint64_t lost() const {
    uint64_t n = 0;
    for (const bench::LoadResult& r : rounds) n += r.lost;
    return n;
  }
};

const char* opName(uint8_t op) { return op == bench::kGetRequest ? "get" : "getnext"; }

// Runs one cell; false when the socket failed or replies were wrong.
bool measure(Server* s, uint8_t op, int window, const bench::LoadSpec& spec,
             bench::LoadResult* result) {
  bench::RequestTemplate request;
  bench::Expectation expect;
  if (!request.build(op, bench::kCommunity, op == bench::kGetRequest ? s->getOid : s->nextOid) ||
      !bench::encodeOid(s->echoes && op == bench::kGetNextRequest ? s->nextOid : s->getOid,
                        &expect.oid)) {
    std::fprintf(stderr, "snmp_load: bad object identifier for %s\n", s->name);
    return false;
  }
  if (s->echoes) {
    expect.pduTag = op;
    expect.needValue = false;
  }
  const int fd = bench::connectUdp(s->port);
  bool ok = fd >= 0 && bench::runLoad(fd, request, expect, spec, &stopRequested, result);
  if (fd >= 0) ::close(fd);
  s->sent += result->sent;
  if (!ok) std::fprintf(stderr, "snmp_load: the socket to %s failed\n", s->name);
  if (result->wrong) {
    std::fprintf(stderr, "snmp_load: %s sent %llu wrong replies to %s window %d\n", s->name,
                 static_cast<unsigned long long>(result->wrong), opName(op), window);
    ok = false;
  }
  if (result->answered == 0 && !stopRequested) {
    std::fprintf(stderr, "snmp_load: %s answered nothing to %s window %d\n", s->name, opName(op),
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
  return bench::ask(s->port, request, kAskTimeout, &s->process, &bytes) &&
         bench::readReply(bytes.data(), bytes.size(), &r) && r.errorStatus == 0 &&
         r.valueTag == bench::kOctetString &&
         std::string(r.value, r.value + r.valueLen) == bench::kSysDescrText;
}

const char* verdict(bool met) { return met ? "met" : "MISSED"; }

const Cell* find(const std::vector<Cell>& cells, const Server& s, uint8_t op, int window) {
  for (const Cell& c : cells)
    if (c.server == &s && c.op == op && c.window == window) return &c;
  return nullptr;
}

// Median over the rounds of a's rate over b's in the same round; 0 when
// either is missing.
double medianRatio(const Cell* a, const Cell* b) {
  if (!a || !b) return 0;
  std::vector<double> ratios;
  for (size_t i = 0; i < a->rounds.size() && i < b->rounds.size(); ++i) {
    const double base = b->rounds[i].perSecond;
    ratios.push_back(base > 0 ? a->rounds[i].perSecond / base : 0);
  }
  return bench::quantile(&ratios, 0.5);
}

void printReport(const std::vector<Cell>& cells, const Server& ours, const Server& net,
                 const Server& echo, uint64_t requests) {
  std::printf("\n%-10s %-8s %6s %12s %10s %10s %7s\n", "server", "request", "window", "replies/s",
              "p50 us", "p99 us", "lost");
  for (const Cell& c : cells) {
    const bench::LoadResult m = c.median();
    std::printf("%-10s %-8s %6d %12.0f %10.1f %10.1f %7llu\n", c.server->name, opName(c.op),
                c.window, m.perSecond, m.p50us, m.p99us, static_cast<unsigned long long>(c.lost()));
  }

  std::printf("\nratios: medians of the per-round ratios (compare; do not trust absolutes)\n");
  for (uint8_t op : {bench::kGetRequest, bench::kGetNextRequest}) {
    for (int w : kWindows) {
      const double r = medianRatio(find(cells, ours, op, w), find(cells, net, op, w));
      std::printf("  %s / %s  %-7s window %2d: %6.2fx  (target >= %.0fx)  %s\n", ours.name,
                  net.name, opName(op), w, r, kRateOverNetSnmp, verdict(r >= kRateOverNetSnmp));
    }
  }
  for (uint8_t op : {bench::kGetRequest, bench::kGetNextRequest}) {
    const int w = kWindows[1];
    const double r = medianRatio(find(cells, ours, op, w), find(cells, echo, op, w));
    if (op == bench::kGetRequest) {
      std::printf("  %s / %s      %-7s window %2d: %6.0f%%  (target >= %.0f%%)  %s\n", ours.name,
                  echo.name, opName(op), w, 100 * r, 100 * kShareOfEcho,
                  verdict(r >= kShareOfEcho));
    } else {
      std::printf("  %s / %s      %-7s window %2d: %6.0f%%  (no target)\n", ours.name, echo.name,
                  opName(op), w, 100 * r);
    }
  }

  std::printf(
      "\nresident memory, KiB    VmRSS: start    after   RssAnon: start    after"
      "   requests served\n");
  for (const Server* s : {&ours, &net}) {
    std::printf("  %-10s %19ld %8ld %16ld %8ld %17llu\n", s->name, s->rssStart, s->rssAfter,
                s->anonStart, s->anonAfter, static_cast<unsigned long long>(s->sent));
  }
  const double share =
      net.rssAfter > 0 ? static_cast<double>(ours.rssAfter) / static_cast<double>(net.rssAfter) : 0;
  std::printf("  %s / %s VmRSS after %llu requests: %.2f  (target <= %.2f)  %s\n", ours.name,
              net.name, static_cast<unsigned long long>(requests), share, kRssShareOfNetSnmp,
              verdict(share > 0 && share <= kRssShareOfNetSnmp));
  if (net.anonAfter > 0 && ours.anonAfter >= 0) {
    std::printf(
        "  %s / %s private memory (RssAnon): %.2f  (no target; VmRSS also counts\n"
        "  the pages of shared libraries, which other processes share)\n",
        ours.name, net.name,
        static_cast<double>(ours.anonAfter) / static_cast<double>(net.anonAfter));
  }
}

}  // namespace

int main(int argc, char** argv) {
  Options opts;
  const int status = parseOptions(argc, argv, &opts);
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
  bench::TempDir ourRoot, netDir;
  Server ours("snmpd"), net("net-snmp"), echo("echo");
  if (!ourRoot.create("snmp_load.ours.") || !netDir.create("snmp_load.netsnmp.")) {
    std::perror("snmp_load: cannot create a temporary directory");
    return 1;
  }
  for (Server* s : {&ours, &net, &echo}) s->port = bench::freeUdpPort();

  std::string error;
  bench::ChildProcess noSim;
  if (!bench::startOurAgent(opts.ours, ourRoot, ours.port, &noSim, &ours.process, &error) ||
      !bench::startNetSnmp(opts.netsnmp, netDir, net.port, &net.process, &error) ||
      !bench::startEcho(echo.port, &echo.process, &error)) {
    std::fprintf(stderr, "snmp_load: %s\n", error.c_str());
    return 1;
  }
  for (Server* s : {&ours, &net}) {
    s->rssStart = bench::statusKiB(s->process.pid(), "VmRSS");
    s->anonStart = bench::statusKiB(s->process.pid(), "RssAnon");
  }

  // The same constant scalar on both agents, and the same request to the
  // echo server.
  for (Server* s : {&ours, &net}) {
    if (!servesSysDescr(s)) {
      std::fprintf(stderr, "snmp_load: %s does not answer sysDescr.0 = \"%s\"\n", s->name,
                   bench::kSysDescrText);
      return 1;
    }
  }
  for (Server* s : {&ours, &net, &echo}) {
    s->getOid = kSysDescr;
    s->nextOid = kSysDescrParent;
  }
  echo.echoes = true;
  std::printf("snmp_load: %s on port %u asked for %s, %s on port %u for %s, echo on port %u\n",
              ours.name, ours.port, ours.getOid.c_str(), net.name, net.port, net.getOid.c_str(),
              echo.port);

  bench::LoadSpec spec;
  spec.measure =
      std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(opts.seconds));
  std::vector<Cell> cells;
  bool ok = true;
  // Servers take turns within each round, so a burst of load from
  // elsewhere on the machine hurts all three alike.
  for (int round = 0; round < opts.rounds && !stopRequested; ++round) {
    size_t i = 0;
    for (uint8_t op : {bench::kGetRequest, bench::kGetNextRequest}) {
      for (int w : kWindows) {
        for (Server* s : {&ours, &net, &echo}) {
          if (stopRequested) break;
          spec.window = w;
          bench::LoadResult r;
          ok = measure(s, op, w, spec, &r) && ok;
          if (round == 0) cells.push_back(Cell{s, op, w, {}});
          cells[i++].rounds.push_back(r);
        }
      }
    }
  }

  // Memory after a fixed number of requests: top up whatever the runs left.
  for (Server* s : {&ours, &net}) {
    if (stopRequested || s->sent >= opts.requests) continue;
    bench::LoadSpec topUp;
    topUp.window = kWindows[1];
    topUp.warmup = Clock::duration::zero();
    topUp.measure = kTopUpLimit;
    topUp.replies = opts.requests - s->sent;
    bench::LoadResult r;
    ok = measure(s, bench::kGetRequest, topUp.window, topUp, &r) && ok;
  }
  for (Server* s : {&ours, &net}) {
    s->rssAfter = bench::statusKiB(s->process.pid(), "VmRSS");
    s->anonAfter = bench::statusKiB(s->process.pid(), "RssAnon");
  }

  if (stopRequested) {
    std::fprintf(stderr, "snmp_load: interrupted\n");
    return 1;
  }
  printReport(cells, ours, net, echo, opts.requests);
  for (Server* s : {&ours, &net}) {
    if (!s->process.alive()) {
      std::fprintf(stderr, "snmp_load: %s died during the runs\n", s->name);
      ok = false;
    }
  }
  return ok ? 0 : 1;
}
