// Walk benchmark: complete GETNEXT walks of the interface table and the
// route table of a large simulated router (kxsim serving a generated
// scenario) through our snmpd, timed, with the number of bus messages they
// cost (lines of kxsim's journal).  Each walk is followed at once by
// net-snmp's snmpd walking its own ifTable (this machine's interfaces) for
// a moment; the ratio of bindings per second is taken per round and the
// median over the rounds printed.
//
//   snmp_walk_bench [--scenario FILE] [--interfaces N] [--routes N] [--rounds N]
//                   [--snmpd PATH] [--kxctl PATH] [--kxsim PATH] [--netsnmp PATH]
//
// Exit status 0 when every walk completed with the expected row counts,
// 1 otherwise, 2 for a bad option.
#include <signal.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "bench/load/agent_peers.h"
#include "bench/load/bench_options.h"
#include "bench/load/peer_process.h"
#include "bench/walk/subtree_walker.h"

namespace {

constexpr const char kIfTable[] = "1.3.6.1.2.1.2.2";
constexpr const char kIpRouteTable[] = "1.3.6.1.2.1.4.21";
constexpr uint64_t kDefaultInterfaces = 1000;
constexpr uint64_t kDefaultRoutes = 10000;
// net-snmp's own ifTable is small: it is walked again and again for at
// least this long (and at most kMaxNetSnmpWalks times) to time it.
constexpr double kNetSnmpSeconds = 0.5;
constexpr int kDefaultRounds = 3;
constexpr int kMaxRounds = 50;
constexpr int kMaxNetSnmpWalks = 2000;

// A stop signal ends the walk under way; the servers are then stopped and
// the temporary directories removed as after a complete run.
volatile sig_atomic_t stopRequested = 0;
void onStop(int) { stopRequested = 1; }

struct Options {
  bench::OurAgent ours{SNMPD_PATH, KXCTL_PATH, KXSIM_PATH, SCALE_SCENARIO, ""};
  std::string netsnmp = "/usr/sbin/snmpd";
  uint64_t interfaces = kDefaultInterfaces;
  uint64_t routes = kDefaultRoutes;
  int rounds = kDefaultRounds;
};

const char kUsage[] =
    "usage: snmp_walk_bench [--scenario FILE] [--interfaces N] [--routes N] [--rounds N]\n"
    "                       [--snmpd PATH] [--kxctl PATH] [--kxsim PATH] [--netsnmp PATH]\n"
    "  --scenario FILE   kxsim scenario of the router to walk\n"
    "                    (default: the 1,000-interface, 10,000-route example)\n"
    "  --interfaces N    interface rows the walk must find (default 1000)\n"
    "  --routes N        route rows the walk must find (default 10000)\n"
    "  --rounds N        walks of each table, each followed by net-snmp's (default 3)\n"
    "  --snmpd, --kxctl, --kxsim  our programs (default: this build's)\n"
    "  --netsnmp PATH    net-snmp's agent (default /usr/sbin/snmpd)\n";

// "" when the option is taken, else what is wrong with it.
std::string takeOption(const std::string& arg, const char* v, Options* o) {
  uint64_t n = 0;
  if (arg == "--scenario") {
    o->ours.scenario = v;
  } else if (arg == "--interfaces" || arg == "--routes") {
    if (!bench::parseCount(v, 0, UINT64_MAX, arg == "--routes" ? &o->routes : &o->interfaces)) {
      return "wants a count, not '" + std::string(v) + "'";
    }
  } else if (arg == "--rounds") {
    if (!bench::parseCount(v, 1, kMaxRounds, &n)) {
      return "wants a count from 1 to " + std::to_string(kMaxRounds) + ", not '" + v + "'";
    }
    o->rounds = static_cast<int>(n);
  } else if (arg == "--snmpd") {
    o->ours.snmpd = v;
  } else if (arg == "--kxctl") {
    o->ours.kxctl = v;
  } else if (arg == "--kxsim") {
    o->ours.kxsim = v;
  } else if (arg == "--netsnmp") {
    o->netsnmp = v;
  } else {
    return "is not an option";
  }
  return "";
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

struct Table {
  const char* name;
  const char* root;
  uint64_t expected;   // rows the scenario has
  const char* option;  // the option that says so
};

// The walks of one table over the rounds.
struct Series {
  std::vector<bench::WalkResult> walks;
  std::vector<uint64_t> busMessages;  // kxsim's journal lines per walk
  std::vector<double> ratios;         // against net-snmp, per round
  uint64_t netWalks = 0;              // net-snmp: walks summed into each entry
};

double perSecond(const bench::WalkResult& w) {
  return w.seconds > 0 ? static_cast<double>(w.bindings) / w.seconds : 0;
}

template <typename T>
T median(std::vector<T> v) {
  if (v.empty()) return T();
  std::nth_element(v.begin(), v.begin() + static_cast<long>(v.size() / 2), v.end());
  return v[v.size() / 2];
}

// One walk of our agent's table, with the bus messages it cost.
bool walkOurs(const Table& t, uint16_t port, const std::string& journal, Series* series) {
  bench::WalkResult w;
  const uint64_t before = journalLines(journal);
  const bool walked = bench::walkSubtree(port, bench::kCommunity, t.root, &stopRequested, &w);
  series->busMessages.push_back(journalLines(journal) - before);
  series->walks.push_back(w);
  if (!walked) {
    std::fprintf(stderr, "snmp_walk_bench: walking %s of snmpd: %s\n", t.name, w.error.c_str());
    return false;
  }
  if (w.rows != t.expected) {
    std::fprintf(stderr, "snmp_walk_bench: %s of snmpd has %llu rows, not %llu (%s)\n", t.name,
                 static_cast<unsigned long long>(w.rows),
                 static_cast<unsigned long long>(t.expected), t.option);
    return false;
  }
  return true;
}

// net-snmp's small ifTable, walked again and again for kNetSnmpSeconds and
// summed into one entry.
bool walkNetSnmp(uint16_t port, Series* series) {
  bench::WalkResult sum;
  int walks = 0;
  while (sum.seconds < kNetSnmpSeconds && walks < kMaxNetSnmpWalks) {
    bench::WalkResult w;
    if (!bench::walkSubtree(port, bench::kCommunity, kIfTable, &stopRequested, &w) ||
        w.bindings == 0) {
      std::fprintf(stderr, "snmp_walk_bench: walking net-snmp's ifTable: %s\n",
                   w.error.empty() ? "it is empty" : w.error.c_str());
      return false;
    }
    sum.bindings += w.bindings;
    sum.rows = w.rows;
    sum.resent += w.resent;
    sum.seconds += w.seconds;
    ++walks;
  }
  series->walks.push_back(sum);
  series->netWalks += static_cast<uint64_t>(walks);
  return true;
}

void printReport(const Table (&tables)[2], const std::vector<Series>& ours, const Series& theirs) {
  std::printf("\n%-20s %6s %6s %9s %9s %12s %13s\n", "walk (median)", "walks", "rows", "bindings",
              "seconds", "bindings/s", "bus messages");
  for (size_t t = 0; t < ours.size(); ++t) {
    const Series& s = ours[t];
    std::vector<double> seconds, rates;
    for (const bench::WalkResult& w : s.walks) {
      seconds.push_back(w.seconds);
      rates.push_back(perSecond(w));
    }
    std::printf("%-20s %6zu %6llu %9llu %9.2f %12.0f %13llu\n",
                (std::string("snmpd ") + tables[t].name).c_str(), s.walks.size(),
                static_cast<unsigned long long>(s.walks.back().rows),
                static_cast<unsigned long long>(s.walks.back().bindings), median(seconds),
                median(rates), static_cast<unsigned long long>(median(s.busMessages)));
  }
  std::vector<double> rates;
  uint64_t bindings = 0;
  double seconds = 0;
  for (const bench::WalkResult& w : theirs.walks) {
    rates.push_back(perSecond(w));
    bindings += w.bindings;
    seconds += w.seconds;
  }
  const double walks = static_cast<double>(theirs.netWalks);
  std::printf("%-20s %6llu %6llu %9.0f %9.4f %12.0f %13s\n", "net-snmp ifTable",
              static_cast<unsigned long long>(theirs.netWalks),
              static_cast<unsigned long long>(theirs.walks.back().rows), bindings / walks,
              seconds / walks, median(rates), "-");
  std::printf(
      "(bus messages: what kxsim received during one walk; net-snmp walks this machine's\n"
      " interfaces, again and again for %.1f s after each of our walks)\n",
      kNetSnmpSeconds);
  std::printf("\nratios: medians of the per-round ratios (compare; do not trust absolutes)\n");
  for (size_t t = 0; t < ours.size(); ++t) {
    const double r = median(ours[t].ratios);
    std::printf("  snmpd %s / net-snmp ifTable, bindings per second: %.2fx  (target > 1x)  %s\n",
                tables[t].name, r, r > 1 ? "met" : "MISSED");
  }
}

}  // namespace

int main(int argc, char** argv) {
  Options opts;
  const int status = bench::parseOptions(
      argc, argv, "snmp_walk_bench", kUsage,
      [&](const std::string& arg, const char* v) { return takeOption(arg, v, &opts); });
  if (status >= 0) return status;
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
#ifndef NDEBUG
  // The agents come from the same build: their numbers mean little too.
  std::fprintf(stderr, "snmp_walk_bench: not a Release build; scripts/bench-walk makes one\n");
#endif
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
  const Table tables[] = {{"ifTable", kIfTable, opts.interfaces, "--interfaces"},
                          {"ipRouteTable", kIpRouteTable, opts.routes, "--routes"}};
  std::vector<Series> ourSeries(std::size(tables));
  Series theirs;
  // Each of our walks is followed at once by net-snmp's, so the two meet
  // the same load from elsewhere; a ratio is taken per round.
  for (int round = 0; round < opts.rounds && ok && !stopRequested; ++round) {
    for (size_t t = 0; t < std::size(tables) && ok; ++t) {
      ok = walkOurs(tables[t], ourPort, opts.ours.journal, &ourSeries[t]) &&
           walkNetSnmp(netPort, &theirs) && ok;
      if (ok) {
        const double base = perSecond(theirs.walks.back());
        ourSeries[t].ratios.push_back(base > 0 ? perSecond(ourSeries[t].walks.back()) / base : 0);
      }
    }
  }
  if (ok) {
    printReport(tables, ourSeries, theirs);
  }
  for (bench::ChildProcess* p : {&ours, &sim, &net}) {
    if (!p->alive()) {
      std::fprintf(stderr, "snmp_walk_bench: a server died during the walks\n");
      ok = false;
    }
  }
  return ok ? 0 : 1;
}
