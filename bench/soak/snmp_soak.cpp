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
#include "bench/load/bench_options.h"
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
constexpr uint64_t kMaxCycles = 10000;
constexpr uint64_t kMostInFlight = 256;

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

// "" when the option is taken, else what is wrong with it.
std::string takeOption(const std::string& arg, const char* v, Options* o) {
  uint64_t n = 0;
  const std::string value = v;
  if (arg == "--requests") {
    if (!bench::parseCount(v, 1, UINT64_MAX, &o->requests))
      return "wants a count, not '" + value + "'";
  } else if (arg == "--cycles") {
    if (!bench::parseCount(v, 1, kMaxCycles, &n)) {
      return "wants a count from 1 to " + std::to_string(kMaxCycles) + ", not '" + value + "'";
    }
    o->cycles = static_cast<int>(n);
  } else if (arg == "--window") {
    if (!bench::parseCount(v, 1, kMostInFlight, &n)) {
      return "wants a count from 1 to " + std::to_string(kMostInFlight) + ", not '" + value + "'";
    }
    o->window = static_cast<int>(n);
  } else if (arg == "--seed") {
    if (!bench::parseCount(v, 0, UINT64_MAX, &o->seed))
      return "wants a number, not '" + value + "'";
  } else if (arg == "--snmpd") {
    o->paths.snmpd = value;
  } else if (arg == "--kxsim") {
    o->paths.kxsim = value;
  } else if (arg == "--kxctl") {
    o->paths.kxctl = value;
  } else if (arg == "--scenario") {
    o->paths.scenario = value;
  } else {
    return "is not an option";
  }
  return "";
}

}  // namespace

int main(int argc, char** argv) {
  Options opts;
  const int parsed = bench::parseOptions(
      argc, argv, "snmp_soak", kUsage,
      [&](const std::string& arg, const char* v) { return takeOption(arg, v, &opts); });
  if (parsed >= 0) return parsed;
  const uint64_t least = static_cast<uint64_t>(opts.cycles) * kLeastPerCycle;
  if (opts.requests < least) {
    std::fprintf(stderr, "snmp_soak: --requests must be at least %llu (%llu per cycle)\n",
                 static_cast<unsigned long long>(least),
                 static_cast<unsigned long long>(kLeastPerCycle));
    return bench::kUsageError;
  }
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
  if (fd < 0) {
    std::perror("snmp_soak: cannot open a UDP socket to the agent");
    return 1;
  }
  bench::SoakTraffic traffic(opts.seed, opts.window);
  bench::Tally tally;
  bench::Driver driver(fd, &traffic, &sink, &tally, opts.window);
  bench::Operator op(opts.paths, root, &sim);
  bench::SoakPlan plan(&op, &traffic, &driver, &sink, port);
  if (!plan.setUp()) return 1;

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
    if (ok && !agent.alive()) {
      std::fprintf(stderr, "snmp_soak: snmpd has ended (status %d); its log:\n%s\n", agent.stop(),
                   bench::logTail(root.path() + "/snmpd.log").c_str());
      ok = false;
    } else if (ok && !sim.alive()) {
      std::fprintf(stderr, "snmp_soak: kxsim has ended (status %d)\n", sim.stop());
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
