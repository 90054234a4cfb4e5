// Walk benchmark: complete GETNEXT walks of the interface table and the
// route table of a large simulated router (kxsim serving a generated
// scenario) through our snmpd, timed, with the number of bus exchanges
// they cost (lines of kxsim's journal).  Next to them, in the same run,
// net-snmp's snmpd walking its own ifTable (this machine's interfaces);
// the ratio of bindings per second is the comparison.
//
//   snmp_walk_bench [--scenario FILE] [--interfaces N] [--routes N]
//                   [--snmpd PATH] [--kxctl PATH] [--kxsim PATH] [--netsnmp PATH]
//
// Exit status 0 when every walk completed with the expected row counts,
// 1 otherwise, 2 for a bad option.
#include <signal.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "bench/load/agent_peers.h"
#include "bench/load/peer_process.h"
#include "bench/walk/subtree_walker.h"

namespace {

constexpr const char kIfTable[] = "1.3.6.1.2.1.2.2";
constexpr const char kIpRouteTable[] = "1.3.6.1.2.1.4.21";
constexpr uint64_t kDefaultInterfaces = 1000;
constexpr uint64_t kDefaultRoutes = 10000;
// net-snmp's own ifTable is small: it is walked again and again for at
// least this long (and at most kMaxNetSnmpWalks times) to time it.
constexpr double kNetSnmpSeconds = 2.0;
constexpr int kMaxNetSnmpWalks = 2000;
constexpr int kUsageError = 2;

// A stop signal ends the walk under way; the servers are then stopped and
// the temporary directories removed as after a complete run.
volatile sig_atomic_t stopRequested = 0;
void onStop(int) { stopRequested = 1; }

struct Options {
  bench::OurAgent ours{SNMPD_PATH, KXCTL_PATH, KXSIM_PATH, SCALE_SCENARIO, ""};
  std::string netsnmp = "/usr/sbin/snmpd";
  uint64_t interfaces = kDefaultInterfaces;
  uint64_t routes = kDefaultRoutes;
};

const char kUsage[] =
    "usage: snmp_walk_bench [--scenario FILE] [--interfaces N] [--routes N]\n"
    "                       [--snmpd PATH] [--kxctl PATH] [--kxsim PATH] [--netsnmp PATH]\n"
    "  --scenario FILE   kxsim scenario of the router to walk\n"
    "                    (default: the 1,000-interface, 10,000-route example)\n"
    "  --interfaces N    interface rows the walk must find (default 1000)\n"
    "  --routes N        route rows the walk must find (default 10000)\n"
    "  --snmpd, --kxctl, --kxsim  our programs (default: this build's)\n"
    "  --netsnmp PATH    net-snmp's agent (default /usr/sbin/snmpd)\n";

bool parseCount(const char* v, uint64_t* out) {
  char* end = nullptr;
  if (*v < '0' || *v > '9') return false;
  *out = std::strtoull(v, &end, 10);
  return *end == '\0';
}

int parseOptions(int argc, char** argv, Options* o) {
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--help" || arg == "-h") {
      std::fputs(kUsage, stdout);
      return 0;
    }
    if (i + 1 >= argc) {
      std::fprintf(stderr, "snmp_walk_bench: unknown option or missing value: %s (try --help)\n",
                   arg.c_str());
      return kUsageError;
    }
    const char* v = argv[++i];
    if (arg == "--scenario") {
      o->ours.scenario = v;
    } else if (arg == "--interfaces" || arg == "--routes") {
      if (!parseCount(v, arg == "--routes" ? &o->routes : &o->interfaces)) {
        std::fprintf(stderr, "snmp_walk_bench: %s wants a count, not '%s'\n", arg.c_str(), v);
        return kUsageError;
      }
    } else if (arg == "--snmpd") {
      o->ours.snmpd = v;
    } else if (arg == "--kxctl") {
      o->ours.kxctl = v;
    } else if (arg == "--kxsim") {
      o->ours.kxsim = v;
    } else if (arg == "--netsnmp") {
      o->netsnmp = v;
    } else {
      std::fprintf(stderr, "snmp_walk_bench: unknown option %s (try --help)\n", arg.c_str());
      return kUsageError;
    }
  }
  return -1;
}

// Lines written to the journal so far: one per bus message kxsim received.
uint64_t journalLines(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  uint64_t lines = 0;
  char buf[65536];
  while (in.read(buf, sizeof buf) || in.gcount() > 0) {
    for (std::streamsize i = 0; i < in.gcount(); ++i) lines += buf[i] == '\n';
  }
  return lines;
}

struct Row {
  std::string what;
  bench::WalkResult walk;
  uint64_t exchanges = 0;
  int walks = 1;
};

double perSecond(const bench::WalkResult& w) {
  return w.seconds > 0 ? static_cast<double>(w.bindings) / w.seconds : 0;
}

}  // namespace

int main(int argc, char** argv) {
  Options opts;
  const int status = parseOptions(argc, argv, &opts);
  if (status >= 0) return status;
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  ::signal(SIGINT, onStop);
  ::signal(SIGTERM, onStop);
  ::signal(SIGPIPE, SIG_IGN);

  bench::TempDir ourRoot, netDir;
  if (!ourRoot.create("snmp_walk.ours.") || !netDir.create("snmp_walk.netsnmp.")) {
    std::perror("snmp_walk_bench: cannot create a temporary directory");
    return 1;
  }
  opts.ours.journal = ourRoot.path() + "/journal";
  const uint16_t ourPort = bench::freeUdpPort();
  const uint16_t netPort = bench::freeUdpPort();
  bench::ChildProcess sim, ours, net;
  std::string error;
  if (!bench::startOurAgent(opts.ours, ourRoot, ourPort, &sim, &ours, &error) ||
      !bench::startNetSnmp(opts.netsnmp, netDir, netPort, &net, &error)) {
    std::fprintf(stderr, "snmp_walk_bench: %s\n", error.c_str());
    return 1;
  }

  bool ok = true;
  std::vector<Row> rows;
  const struct {
    const char* name;
    const char* root;
    uint64_t expected;
  } tables[] = {{"ifTable", kIfTable, opts.interfaces},
                {"ipRouteTable", kIpRouteTable, opts.routes}};
  for (const auto& t : tables) {
    Row row;
    row.what = std::string("snmpd ") + t.name;
    const uint64_t before = journalLines(opts.ours.journal);
    if (!bench::walkSubtree(ourPort, bench::kCommunity, t.root, &stopRequested, &row.walk)) {
      std::fprintf(stderr, "snmp_walk_bench: walking %s of snmpd: %s\n", t.name,
                   row.walk.error.c_str());
      ok = false;
    } else if (row.walk.rows != t.expected) {
      std::fprintf(stderr, "snmp_walk_bench: %s of snmpd has %llu rows, the scenario %llu\n",
                   t.name, static_cast<unsigned long long>(row.walk.rows),
                   static_cast<unsigned long long>(t.expected));
      ok = false;
    }
    row.exchanges = journalLines(opts.ours.journal) - before;
    rows.push_back(row);
  }

  // net-snmp: its ifTable again and again, summed.
  Row theirs;
  theirs.what = "net-snmp ifTable";
  theirs.walks = 0;
  while (theirs.walk.seconds < kNetSnmpSeconds && theirs.walks < kMaxNetSnmpWalks) {
    bench::WalkResult w;
    if (!bench::walkSubtree(netPort, bench::kCommunity, kIfTable, &stopRequested, &w) ||
        w.bindings == 0) {
      std::fprintf(stderr, "snmp_walk_bench: walking net-snmp's ifTable: %s\n",
                   w.error.empty() ? "empty" : w.error.c_str());
      ok = false;
      break;
    }
    theirs.walk.bindings += w.bindings;
    theirs.walk.rows = w.rows;
    theirs.walk.resent += w.resent;
    theirs.walk.seconds += w.seconds;
    ++theirs.walks;
  }
  rows.push_back(theirs);

  std::printf("\n%-18s %6s %6s %9s %9s %12s %13s\n", "walk", "walks", "rows", "bindings", "seconds",
              "bindings/s", "bus messages");
  for (const Row& r : rows) {
    std::printf("%-18s %6d %6llu %9llu %9.2f %12.0f %13llu\n", r.what.c_str(), r.walks,
                static_cast<unsigned long long>(r.walk.rows),
                static_cast<unsigned long long>(r.walk.bindings), r.walk.seconds, perSecond(r.walk),
                static_cast<unsigned long long>(r.exchanges));
  }
  std::printf("(bus messages: what kxsim received during the walk; net-snmp reads the kernel)\n");
  const double base = perSecond(theirs.walk);
  std::printf("\nratios (this run; the machine is shared, so compare, do not trust absolutes)\n");
  for (size_t i = 0; i + 1 < rows.size(); ++i) {
    const double r = base > 0 ? perSecond(rows[i].walk) / base : 0;
    std::printf("  %s / net-snmp ifTable, bindings per second: %.2fx  (target > 1x)  %s\n",
                rows[i].what.c_str(), r, r > 1 ? "met" : "MISSED");
  }
  for (bench::ChildProcess* p : {&ours, &sim, &net}) {
    if (!p->alive()) {
      std::fprintf(stderr, "snmp_walk_bench: a server died during the walks\n");
      ok = false;
    }
  }
  return ok ? 0 : 1;
}
