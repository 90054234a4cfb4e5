// Soak run: a long mixed load against snmpd and kxsim while the agent's
// configuration changes over the bus, kxsim restarts and link events raise
// traps (the course of a cycle: soak_plan.h).  Every reply is checked as
// it arrives; the agent's resident memory and open descriptors are printed
// after every cycle; a verdict ends the run.
//
//   snmp_soak [--requests N] [--cycles N] [--window N] [--seed N]
//             [--snmpd PATH] [--kxsim PATH] [--kxctl PATH] [--scenario FILE]
//
// Exit status 0 when the verdict is "passed", 1 when a check failed or the
// run could not be made, 2 for a bad option.
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "bench/load/agent_peers.h"
#include "bench/load/peer_process.h"
#include "bench/soak/soak_driver.h"
#include "bench/soak/soak_operator.h"
#include "bench/soak/soak_plan.h"
#include "bench/soak/soak_report.h"
#include "bench/soak/soak_traffic.h"
#include "bench/soak/trap_sink.h"
#include "bench/walk/subtree_walker.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr uint64_t kDefaultRequests = 1000000;
constexpr int kDefaultCycles = 20;
constexpr int kDefaultWindow = 16;
constexpr uint64_t kLeastPerCycle = 100;
constexpr int kUsageError = 2;

volatile int stopRequested = 0;
void onStop(int) { stopRequested = 1; }

// The objects of the whole MIB, walked with v2c; 0 when the walk fails.
uint64_t walkMib(uint16_t port) {
  bench::WalkResult walk;
  if (bench::walkSubtree(port, bench::kCommunity, "1.3.6.1", nullptr, &walk)) return walk.bindings;
  std::fprintf(stderr, "snmp_soak: a walk of the whole MIB failed: %s\n", walk.error.c_str());
  return 0;
}

struct Options {
  uint64_t requests = kDefaultRequests;
  int cycles = kDefaultCycles;
  int window = kDefaultWindow;
  uint64_t seed = 1;
  bench::OurAgent paths{SNMPD_PATH, KXCTL_PATH, KXSIM_PATH, ROUTER_SCENARIO, ""};
};

const char kUsage[] =
    "usage: snmp_soak [--requests N] [--cycles N] [--window N] [--seed N]\n"
    "                 [--snmpd PATH] [--kxsim PATH] [--kxctl PATH] [--scenario FILE]\n"
    "  --requests N    requests in all, walk steps included (default 1000000)\n"
    "  --cycles N      cycles of ten changes each; memory and descriptors are\n"
    "                  printed after each (default 20)\n"
    "  --window N      requests in flight at once, 1 to 256 (default 16)\n"
    "  --seed N        of the request mix (default 1)\n"
    "  --snmpd, --kxsim, --kxctl  our programs (default: this build's)\n"
    "  --scenario FILE kxsim's router (default: examples/router.json)\n";

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
      std::fprintf(stderr, "snmp_soak: %s needs a value\n%s", arg.c_str(), kUsage);
      return kUsageError;
    }
    const char* v = argv[++i];
    uint64_t n = 0;
    bool ok = true;
    if (arg == "--requests" || arg == "--cycles" || arg == "--window" || arg == "--seed") {
      ok = parseCount(v, &n);
      if (arg == "--requests") o->requests = n;
      if (arg == "--cycles") ok = ok && n >= 1 && n <= 10000, o->cycles = static_cast<int>(n);
      if (arg == "--window") ok = ok && n >= 1 && n <= 256, o->window = static_cast<int>(n);
      if (arg == "--seed") o->seed = n;
    } else if (arg == "--snmpd") {
      o->paths.snmpd = v;
    } else if (arg == "--kxsim") {
      o->paths.kxsim = v;
    } else if (arg == "--kxctl") {
      o->paths.kxctl = v;
    } else if (arg == "--scenario") {
      o->paths.scenario = v;
    } else {
      std::fprintf(stderr, "snmp_soak: unknown option %s\n%s", arg.c_str(), kUsage);
      return kUsageError;
    }
    if (!ok) {
      std::fprintf(stderr, "snmp_soak: %s %s: not a valid number here\n%s", arg.c_str(), v, kUsage);
      return kUsageError;
    }
  }
  const uint64_t least = static_cast<uint64_t>(o->cycles) * kLeastPerCycle;
  if (o->requests < least) {
    std::fprintf(stderr, "snmp_soak: --requests must be at least %llu (%llu per cycle)\n",
                 static_cast<unsigned long long>(least),
                 static_cast<unsigned long long>(kLeastPerCycle));
    return kUsageError;
  }
  return -1;
}

}  // namespace

int main(int argc, char** argv) {
  Options opts;
  const int parsed = parseOptions(argc, argv, &opts);
  if (parsed >= 0) return parsed;
  struct sigaction sa {};
  sa.sa_handler = onStop;
  sigaction(SIGINT, &sa, nullptr);
  sigaction(SIGTERM, &sa, nullptr);
  ::signal(SIGPIPE, SIG_IGN);

  bench::TempDir root;
  bench::TrapSink sink;
  if (!root.create("sarn-soak.") || !sink.open(bench::kCommunity, bench::kFlippedInterface)) {
    std::perror("snmp_soak: cannot set up a temporary directory and the trap receiver");
    return 1;
  }
  opts.paths.trapPort = sink.port();
  const uint16_t port = bench::freeUdpPort();
  bench::ChildProcess sim, agent;
  std::string error;
  if (!bench::startOurAgent(opts.paths, root, port, &sim, &agent, &error)) {
    std::fprintf(stderr, "snmp_soak: %s\n", error.c_str());
    return 1;
  }
  const int fd = bench::connectUdp(port);
  bench::SoakTraffic traffic(opts.seed, opts.window);
  bench::Tally tally;
  bench::Driver driver(fd, &traffic, &sink, &tally, opts.window);
  bench::Operator op(opts.paths, root, &sim);
  bench::SoakPlan plan(&op, &traffic, &driver, &sink, port);
  if (fd < 0 || !plan.setUp()) return 1;

  std::printf(
      "snmp_soak: %llu requests in %d cycles, %d in flight, against snmpd (pid %d, port %u) and "
      "kxsim (%s); traps to port %u\n",
      static_cast<unsigned long long>(opts.requests), opts.cycles, opts.window, agent.pid(), port,
      opts.paths.scenario.c_str(), sink.port());
  bench::Report report(agent.pid());
  const Clock::time_point start = Clock::now();
  report.sample(0, 0, walkMib(port), sink.counts(), op);
  bool ok = true;
  for (int k = 0; k < opts.cycles && ok && !stopRequested; ++k) {
    const uint64_t requests = opts.requests * static_cast<uint64_t>(k + 1) / opts.cycles -
                              opts.requests * static_cast<uint64_t>(k) / opts.cycles;
    ok = plan.runCycle(k, requests);
    if (ok && (!agent.alive() || !sim.alive())) {
      std::fprintf(stderr, "snmp_soak: %s has ended; its log:\n%s\n",
                   agent.alive() ? "kxsim" : "snmpd",
                   bench::logTail(root.path() + "/snmpd.log").c_str());
      ok = false;
    }
    if (ok) {
      const uint64_t objects = walkMib(port);
      report.sample(driver.sent(), std::chrono::duration<double>(Clock::now() - start).count(),
                    objects, sink.counts(), op);
    }
  }
  const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
  ::close(fd);
  sink.drain();
  const int exitStatus = agent.stop();
  report.summary(tally, traffic, plan.trapsExpected(), sink, seconds, exitStatus);
  const bool passed = ok && !stopRequested && report.passed();
  std::printf("snmp_soak: %s\n", passed ? "passed" : stopRequested ? "stopped early" : "FAILED");
  return passed ? 0 : 1;
}
