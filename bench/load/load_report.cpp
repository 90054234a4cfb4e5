// The load benchmark's report: medians, ratios and targets.
#include <algorithm>
#include <cstdio>

#include "bench/load/load_cells.h"

namespace bench {

namespace {

// Targets.
constexpr double kRateOverNetSnmp = 3.0;
constexpr double kShareOfEcho = 0.60;
constexpr double kRssShareOfNetSnmp = 0.25;
constexpr double kCpuShareOfNetSnmp = 0.25;  // per authPriv reply
constexpr double kCpuOverV2c = 2.0;          // per authPriv reply

const char* verdict(bool met) { return met ? "met" : "MISSED"; }

double rate(const Round& r) { return r.load.perSecond; }
double cpu(const Round& r) { return r.cpuUs; }

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

void printRatio(const char* what, const Operation& op, int window, double r, double target,
                bool atLeast, bool percent = false) {
  std::printf("  %-22s %-14s window %2d: ", what, op.name, window);
  std::printf(percent ? "%6.0f%% " : "%6.2fx  ", percent ? 100 * r : r);
  if (target <= 0) {
    std::printf(" (no target)\n");
  } else if (percent) {
    std::printf(" (target >= %.0f%%)  %s\n", 100 * target, verdict(r >= target));
  } else {
    std::printf(" (target %s %.2fx)  %s\n", atLeast ? ">=" : "<=", target,
                verdict(atLeast ? r >= target : r <= target));
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
                 const Server& ours, const Server& net, const Server& echo, uint64_t requests) {
  std::printf("\n%-10s %-14s %6s %12s %10s %10s %12s %7s\n", "server", "request", "window",
              "replies/s", "p50 us", "p99 us", "cpu us/reply", "lost");
  for (const Cell& c : cells) {
    const Round m = c.median();
    std::printf("%-10s %-14s %6d %12.0f %10.1f %10.1f %12.1f %7llu\n", c.server->name, c.op->name,
                c.window, m.load.perSecond, m.load.p50us, m.load.p99us, m.cpuUs,
                static_cast<unsigned long long>(c.lost()));
  }

  std::printf("\nratios: medians of the per-round ratios (compare; do not trust absolutes)\n");
  const Operation* v2cGet = &ops[0];
  for (const Operation& op : ops) {
    const bool authPriv = op.user && op.user->level == 2;
    for (int w : kWindows) {
      const Cell* mine = findCell(cells, ours, &op, w);
      const bool rateTarget = !op.user || w == kWindows[1];
      printRatio("snmpd / net-snmp rate", op, w,
                 medianRatio(mine, findCell(cells, net, &op, w), rate),
                 rateTarget ? kRateOverNetSnmp : 0, true);
      if (!op.user) continue;
      printRatio("snmpd / net-snmp cpu", op, w,
                 medianRatio(mine, findCell(cells, net, &op, w), cpu),
                 authPriv ? kCpuShareOfNetSnmp : 0, false);
      printRatio("snmpd cpu / v2c get", op, w,
                 medianRatio(mine, findCell(cells, ours, v2cGet, w), cpu),
                 authPriv ? kCpuOverV2c : 0, false);
    }
    if (!op.user) {
      const int w = kWindows[1];
      printRatio("snmpd / echo rate", op, w,
                 medianRatio(findCell(cells, ours, &op, w), findCell(cells, echo, &op, w), rate),
                 &op == v2cGet ? kShareOfEcho : 0, true, true);
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

}  // namespace bench
