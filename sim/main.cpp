// kxsim: serves the bus services of a scenario file until SIGTERM/SIGINT.
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "kx/platform.h"
#include "sarn_version.h"
#include "sim/endpoint.h"
#include "sim/object_template.h"
#include "sim/scenario.h"
#include "sim/server.h"

namespace {

constexpr int kExitOk = 0;
constexpr int kExitFailed = 1;  // could not serve: a socket, the journal, a child
constexpr int kExitUsage = 2;   // bad command line or scenario
// How often kxsim looks for a service process that ended.
constexpr unsigned kReapMs = 500;

const char kUsage[] =
    "usage: kxsim [--root DIR] [--journal FILE] SCENARIO.json\n"
    "\n"
    "Serves the bus services of a simulated router, as the scenario file\n"
    "describes them, until SIGTERM or SIGINT (then exits 0).\n"
    "\n"
    "  --root DIR      take platform paths (the bus directory) below DIR;\n"
    "                  default: $SARN_ROOT, else /\n"
    "  --journal FILE  append every bus message received to FILE, one JSON\n"
    "                  object per line\n"
    "  --version       print the version\n"
    "  -h, --help      print this help\n"
    "\n"
    "Exit status: 0 after SIGTERM/SIGINT, 1 when a service cannot be served,\n"
    "2 for a bad command line or scenario.  Format: docs/scenario.md.\n";

// The signal handler's only reach into the program.
volatile std::sig_atomic_t g_stop = 0;
sim::Server* g_server = nullptr;

void onSignal(int) {
  g_stop = 1;
  if (g_server) g_server->stop();
}

void installSignals() {
  struct sigaction sa;
  std::memset(&sa, 0, sizeof sa);
  sa.sa_handler = onSignal;
  sigemptyset(&sa.sa_mask);
  sigaction(SIGTERM, &sa, nullptr);
  sigaction(SIGINT, &sa, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
}

struct Options {
  std::string root;
  std::string journal;
  std::string scenario;
};

// Returns -1 to go on, else the exit code.
int parseOptions(int argc, char** argv, Options& o) {
  for (int i = 1; i < argc; ++i) {
    std::string a = argv[i];
    auto value = [&](const std::string& name, std::string& out) {
      if (a.rfind(name + "=", 0) == 0) {
        out = a.substr(name.size() + 1);
        return true;
      }
      if (a != name) return false;
      if (i + 1 >= argc) {
        std::fprintf(stderr, "kxsim: %s needs a value (see kxsim --help)\n", name.c_str());
        std::exit(kExitUsage);
      }
      out = argv[++i];
      return true;
    };
    if (a == "-h" || a == "--help") {
      std::fputs(kUsage, stdout);
      return kExitOk;
    }
    if (a == "--version") {
      std::puts("kxsim (sarn-snmp) " SARN_VERSION);
      return kExitOk;
    }
    if (value("--root", o.root) || value("--journal", o.journal)) continue;
    if (a.size() > 1 && a[0] == '-') {
      std::fprintf(stderr, "kxsim: unknown option %s (see kxsim --help)\n", a.c_str());
      return kExitUsage;
    }
    if (!o.scenario.empty()) {
      std::fprintf(stderr, "kxsim: one scenario file only, got %s and %s\n", o.scenario.c_str(),
                   a.c_str());
      return kExitUsage;
    }
    o.scenario = a;
  }
  if (o.scenario.empty()) {
    std::fprintf(stderr, "kxsim: a scenario file is needed (see kxsim --help)\n");
    return kExitUsage;
  }
  return -1;
}

std::string idList(const std::vector<uint32_t>& ids) {
  std::string s;
  for (uint32_t id : ids) s += (s.empty() ? "" : ", ") + std::to_string(id);
  return s;
}

struct Child {
  pid_t pid;
  int readyFd;  // one byte arrives once the child serves; EOF if it failed
  std::vector<uint32_t> ids;
};

// True once every child reported ready; false if one failed to start.
bool childrenReady(std::vector<Child>& children) {
  for (Child& c : children) {
    char b = 0;
    ssize_t n;
    do {
      n = read(c.readyFd, &b, 1);
    } while (n < 0 && errno == EINTR && !g_stop);
    close(c.readyFd);
    c.readyFd = -1;
    if (n != 1) {
      if (g_stop) return false;  // told to stop while waiting: not a failure
      std::fprintf(stderr, "kxsim: the process for service %s did not start\n",
                   idList(c.ids).c_str());
      return false;
    }
  }
  return true;
}

// Serves ids in this process until stopped; returns the exit code.  A
// child (children null) reports readiness on readyFd; kxsim itself waits
// for its children, then announces every service at once, so that a
// reader of the "serving" line finds the whole router up.
int serve(const sim::Scenario& scenario, const std::vector<uint32_t>& ids, sim::Journal& journal,
          const sim::SimClock& clock, int readyFd, std::vector<Child>* children) {
  sim::Server server(scenario, ids, clock, journal, g_stop);
  std::string err;
  if (!server.start(err)) {
    std::fprintf(stderr, "kxsim: %s\n", err.c_str());
    return kExitFailed;
  }
  int code = kExitOk;
  if (readyFd >= 0) {
    if (write(readyFd, "r", 1) != 1) return kExitFailed;
    close(readyFd);
  }
  if (children) {
    if (!childrenReady(*children)) return g_stop ? kExitOk : kExitFailed;
    server.every(kReapMs, [&]() {
      for (Child& c : *children) {
        int status = 0;
        if (c.pid > 0 && waitpid(c.pid, &status, WNOHANG) == c.pid) {
          c.pid = -1;  // reaped: never signalled or waited for again
          g_stop = 1;
          // A child ends cleanly only when it was told to stop, as the whole
          // process group is by a terminal's Ctrl-C: then stop quietly too.
          if (!(WIFEXITED(status) && WEXITSTATUS(status) == kExitOk)) {
            std::fprintf(stderr, "kxsim: a service process ended unexpectedly; stopping\n");
            code = kExitFailed;
          }
        }
      }
    });
    std::printf("kxsim: serving services %s\n", idList(scenario.serviceIds()).c_str());
    std::fflush(stdout);
  }
  g_server = &server;
  server.run();
  g_server = nullptr;
  return code;
}

}  // namespace

int main(int argc, char** argv) {
  Options opt;
  int early = parseOptions(argc, argv, opt);
  if (early >= 0) return early;

  sim::Scenario scenario;
  std::string err;
  if (!sim::loadScenario(opt.scenario, scenario, err)) {
    std::fprintf(stderr, "%s\n", err.c_str());
    return kExitUsage;
  }
  if (!opt.root.empty()) kx::setRoot(opt.root);
  if (!kx::makeDirs(kx::rootPath(kx::kBusDir))) {
    std::fprintf(stderr, "kxsim: cannot create the bus directory %s\n",
                 kx::rootPath(kx::kBusDir).c_str());
    return kExitFailed;
  }
  sim::Journal journal;
  if (!opt.journal.empty() && !journal.open(opt.journal, err)) {
    std::fprintf(stderr, "kxsim: cannot open the journal %s\n", err.c_str());
    return kExitFailed;
  }
  installSignals();
  sim::RealClock clock;

  sim::ProcessPlan plan = sim::planProcesses(scenario);
  std::vector<Child> children;
  for (const auto& ids : plan.others) {
    int ready[2];
    if (pipe(ready) != 0) {
      std::fprintf(stderr, "kxsim: pipe: %s\n", std::strerror(errno));
      g_stop = 1;
      break;
    }
    std::fflush(nullptr);
    pid_t pid = fork();
    if (pid < 0) {
      std::fprintf(stderr, "kxsim: fork: %s\n", std::strerror(errno));
      close(ready[0]);
      close(ready[1]);
      g_stop = 1;
      break;
    }
    if (pid == 0) {
      // A child must not outlive kxsim, however kxsim ends.
      prctl(PR_SET_PDEATHSIG, SIGTERM);
      if (getppid() == 1) _exit(kExitFailed);
      close(ready[0]);
      for (const Child& c : children) close(c.readyFd);
      int code = serve(scenario, ids, journal, clock, ready[1], nullptr);
      std::fflush(nullptr);
      _exit(code);
    }
    close(ready[1]);
    children.push_back(Child{pid, ready[0], ids});
  }
  int code = g_stop ? kExitFailed : serve(scenario, plan.main, journal, clock, -1, &children);
  for (const Child& c : children) {
    if (c.pid > 0) kill(c.pid, SIGTERM);
  }
  for (const Child& c : children) {
    if (c.readyFd >= 0) close(c.readyFd);
    int status = 0;
    if (c.pid > 0 && waitpid(c.pid, &status, 0) == c.pid && code == kExitOk &&
        !(WIFEXITED(status) && WEXITSTATUS(status) == 0)) {
      code = kExitFailed;
    }
  }
  return code;
}
