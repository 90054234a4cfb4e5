// The load benchmark's report: medians, ratios and targets.
#include <algorithm>
#include <cstdio>

#include "bench/load/load_cells.h"

namespace bench {

namespace {

// Targets against the echo server (a plain recvfrom/sendto loop), at window
// 16 for rate and CPU, at window 1 for latency.
constexpr int kThroughputWindow = 16;
constexpr int kLatencyWindow = 1;
constexpr double kShareOfEcho = 0.90;
constexpr double kCpuOverEcho = 1.15;
constexpr double kLatencyOverEcho = 1.20;
// Against net-snmp's agent.
constexpr double kRateOverNetSnmp = 3.0;
constexpr double kRssShareOfNetSnmp = 0.25;
constexpr double kCpuShareOfNetSnmp = 0.25;  // per authPriv reply
constexpr double kCpuOverV2c = 2.0;          // per authPriv reply
// The footprint of a v1/v2c agent on a small board.
constexpr long long kMaxStrippedBytes = 1024 * 1024;
constexpr long kMaxRssKiB = 2048;

const char* verdict(bool met) { return met ? "met" : "MISSED"; }

double rate(const Round& r) { return r.load.perSecond; }
double cpu(const Round& r) { return r.cpuUs; }
double p50(const Round& r) { return r.load.p50us; }

// Median over the rounds of field(a) / field(b) in the same round; 0 when
// either cell is missing.
double medianRatio(const Cell* a, const Cell* b, double (*field)(const Round&)) {
  if (!a || !b) return 0;
  std::vector<double> ratios;
  for (size_t i = 0; i < a->rounds.size() && i < b->rounds.size(); ++i) {
    const double base = field(b->rounds[i]);
    ratios.push_back(base > 0 ? field(a->rounds[i]) / base : 0);
  }
  return quantile(&ratios, 0.5);
}

// target 0: no target.  atLeast: the ratio must reach the target, else
// stay below it.
void printRatio(const char* what, const Operation& op, int window, double r, double target,
                bool atLeast) {
  std::printf("  %-24s %-14s window %2d: %6.2fx ", what, op.name, window, r);
  if (target <= 0) {
    std::printf("  (no target)\n");
  } else {
    std::printf("  (target %s %.2fx)  %s\n", atLeast ? ">=" : "<=", target,
                verdict(r > 0 && (atLeast ? r >= target : r <= target)));
  }
}

void printEchoRatios(const std::vector<Cell>& cells, const Operation& op, const Server& ours,
                     const Server& echo) {
  for (int w : kWindows) {
    const Cell* mine = findCell(cells, ours, &op, w);
    const Cell* base = findCell(cells, echo, &op, w);
    const bool throughput = w == kThroughputWindow;
    if (w == kLatencyWindow) {
      printRatio("snmpd / echo p50 latency", op, w, medianRatio(mine, base, p50), kLatencyOverEcho,
                 false);
    }
    printRatio("snmpd / echo rate", op, w, medianRatio(mine, base, rate),
               throughput ? kShareOfEcho : 0, true);
    printRatio("snmpd / echo cpu", op, w, medianRatio(mine, base, cpu),
               throughput ? kCpuOverEcho : 0, false);
  }
}

// ours answered op; v2c, the v2c GET of v2cGet.
void printNetSnmpRatios(const std::vector<Cell>& cells, const Operation& op,
                        const Operation* v2cGet, const Server& ours, const Server& v2c,
                        const Server& net) {
  const bool authPriv = op.user && op.user->level == 2;
  for (int w : kWindows) {
    const Cell* mine = findCell(cells, ours, &op, w);
    const Cell* theirs = findCell(cells, net, &op, w);
    if (!mine || !theirs) continue;  // not measured in this run (--v2c-only)
    printRatio("snmpd / net-snmp rate", op, w, medianRatio(mine, theirs, rate),
               w == kThroughputWindow ? kRateOverNetSnmp : 0, true);
    if (!op.user) continue;
    printRatio("snmpd / net-snmp cpu", op, w, medianRatio(mine, theirs, cpu),
               authPriv ? kCpuShareOfNetSnmp : 0, false);
    printRatio("snmpd cpu / v2c get", op, w,
               medianRatio(mine, findCell(cells, v2c, v2cGet, w), cpu), authPriv ? kCpuOverV2c : 0,
               false);
  }
}

}  // namespace

Round Cell::median() const {
  std::vector<Round> sorted = rounds;
  std::sort(sorted.begin(), sorted.end(),
            [](const Round& a, const Round& b) { return a.load.perSecond < b.load.perSecond; });
  return sorted[sorted.size() / 2];
}

uint64_t Cell::lost() const {
  uint64_t n = 0;
  for (const Round& r : rounds) n += r.load.lost;
  return n;
}

const Cell* findCell(const std::vector<Cell>& cells, const Server& s, const Operation* op,
                     int window) {
  for (const Cell& c : cells)
    if (c.server == &s && c.op == op && c.window == window) return &c;
  return nullptr;
}

void printReport(const std::vector<Cell>& cells, const std::vector<Operation>& ops,
                 const Server& ours, const Server& oursV3, const Server& net, const Server& echo,
                 const Footprint& footprint) {
  std::printf("\n%-10s %-14s %6s %12s %10s %10s %12s %12s %7s\n", "server", "request", "window",
              "replies/s", "p50 us", "p99 us", "cpu us/reply", "switch/reply", "lost");
  for (const Cell& c : cells) {
    const Round m = c.median();
    std::printf("%-10s %-14s %6d %12.0f %10.1f %10.1f %12.2f %12.2f %7llu\n", c.server->name,
                c.op->name, c.window, m.load.perSecond, m.load.p50us, m.load.p99us, m.cpuUs,
                m.switches, static_cast<unsigned long long>(c.lost()));
  }

  std::printf("\nratios: medians of the per-round ratios (compare; do not trust absolutes)\n");
  for (const Operation& op : ops) {
    if (!op.user) printEchoRatios(cells, op, ours, echo);
  }
  for (const Operation& op : ops) {
    printNetSnmpRatios(cells, op, &ops[0], op.user ? oursV3 : ours, ours, net);
  }

  std::printf("\nfootprint\n");
  if (footprint.strippedBytes >= 0) {
    std::printf("  %s stripped: %lld bytes  (target <= %lld)  %s\n", ours.name,
                footprint.strippedBytes, kMaxStrippedBytes,
                verdict(footprint.strippedBytes <= kMaxStrippedBytes));
  }
  std::printf(
      "  resident memory, KiB    VmRSS: start    after   RssAnon: start    after"
      "   after requests\n");
  for (const Server* s : {&ours, &oursV3, &net}) {
    std::printf("  %-10s %19ld %8ld %16ld %8ld %16llu\n", s->name, s->rssStart, s->rssAfter,
                s->anonStart, s->anonAfter, static_cast<unsigned long long>(s->sentAtRss));
  }
  const bool small = ours.rssStart > 0 && ours.rssStart <= kMaxRssKiB && ours.rssAfter > 0 &&
                     ours.rssAfter <= kMaxRssKiB;
  std::printf(
      "  %s (v1/v2c) VmRSS after start and after %llu requests: %ld and %ld KiB"
      "  (target <= %ld)  %s\n",
      ours.name, static_cast<unsigned long long>(ours.sentAtRss), ours.rssStart, ours.rssAfter,
      kMaxRssKiB, verdict(small));
  std::printf("  (%s has v3 users: it maps and sets up libcrypto when it derives their keys)\n",
              oursV3.name);
  const double share =
      net.rssAfter > 0 ? static_cast<double>(ours.rssAfter) / static_cast<double>(net.rssAfter) : 0;
  std::printf("  %s / %s VmRSS after the runs: %.2f  (target <= %.2f)  %s\n", ours.name, net.name,
              share, kRssShareOfNetSnmp, verdict(share > 0 && share <= kRssShareOfNetSnmp));
  if (net.anonAfter > 0 && ours.anonAfter >= 0) {
    std::printf(
        "  %s / %s private memory (RssAnon): %.2f  (no target; VmRSS also counts\n"
        "  the pages of shared libraries, which other processes share)\n",
        ours.name, net.name,
        static_cast<double>(ours.anonAfter) / static_cast<double>(net.anonAfter));
  }
}

}  // namespace bench
