// snmpd: the SNMP agent daemon.
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "agent/log_streams.h"
#include "agent/snmp_looper.h"
#include "kx/message.h"
#include "kx/platform.h"
#include "mibs/bridge_mib.h"
#include "mibs/interfaces_mib.h"
#include "mibs/ip_mib.h"
#include "mibs/system_mib.h"
#include "sarn_version.h"
#include "traps/trap_sources.h"

namespace {

constexpr const char* kPluginDir = "/sarn/lib/snmp";
// Start-up notice: command 3 to handler path [1], naming our service.
constexpr uint32_t kStartupCommand = 3;
constexpr uint32_t kStartupService = 0x08000005;
// Exit status of a command-line error.
constexpr int kUsageError = 2;

const char kUsage[] =
    "usage: snmpd [--root DIR] [--port N] [--trap-port N]\n"
    "  --root DIR     take every platform path below DIR (default: $SARN_ROOT, else /)\n"
    "  --port N       UDP port of the SNMP service (default 161)\n"
    "  --trap-port N  UDP port traps are sent to (default 162)\n"
    "  --version      print the version\n"
    "  --help         print this text\n";

struct Options {
  std::string root;
  uint16_t port = SnmpLooper::kDefaultServicePort;
  uint16_t trapPort = SnmpLooper::kDefaultTrapPort;
};

// A port from 1 to 65535, written in decimal and nothing else.
bool parsePort(const char* text, uint16_t& out) {
  if (!text || !*text || *text == '-' || *text == '+') return false;
  char* end = nullptr;
  errno = 0;
  const unsigned long v = std::strtoul(text, &end, 10);
  if (errno != 0 || *end != '\0' || v == 0 || v > 65535) return false;
  out = static_cast<uint16_t>(v);
  return true;
}

// Fills opts from argv.  Returns -1 to go on, otherwise the exit status.
int parseOptions(int argc, char** argv, Options& opts) {
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--help" || arg == "-h") {
      std::fputs(kUsage, stdout);
      return 0;
    }
    if (arg == "--version") {
      std::puts("snmpd (sarn-snmp) " SARN_VERSION);
      return 0;
    }
    const bool takesValue = arg == "--root" || arg == "--port" || arg == "--trap-port";
    if (!takesValue) {
      std::fprintf(stderr, "snmpd: unknown option '%s' (try --help)\n", arg.c_str());
      return kUsageError;
    }
    if (i + 1 >= argc) {
      std::fprintf(stderr, "snmpd: option %s needs a value (try --help)\n", arg.c_str());
      return kUsageError;
    }
    const char* value = argv[++i];
    if (arg == "--root") {
      if (!*value) {
        std::fprintf(stderr, "snmpd: --root needs a directory\n");
        return kUsageError;
      }
      opts.root = value;
    } else if (!parsePort(value, arg == "--port" ? opts.port : opts.trapPort)) {
      std::fprintf(stderr, "snmpd: %s '%s' is not a port number from 1 to 65535\n", arg.c_str(),
                   value);
      return kUsageError;
    }
  }
  return -1;
}

// SIGTERM and SIGINT end the loop, cutting short any bus wait; the looper
// then leaves the bus cleanly.
void onStopSignal(int) {
  if (snmpLooper) snmpLooper->stop();
}

}  // namespace

int main(int argc, char** argv) {
  // Logs are read live through pipes: every line leaves at once, and a
  // reader that stalls or goes away costs lines, never the service.
  if (!installLogStreams()) {
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    std::setvbuf(stderr, nullptr, _IOLBF, 0);
  }
  // A closed terminal or a reload request must not end the service.
  std::signal(SIGHUP, SIG_IGN);

  Options opts;
  const int status = parseOptions(argc, argv, opts);
  if (status >= 0) return status;
  if (!opts.root.empty()) kx::setRoot(opts.root);

  std::fprintf(stderr, "loop = new SnmpLooper();\n");
  std::srand(static_cast<unsigned>(std::time(nullptr)));
  SnmpLooper* loop = new SnmpLooper();
  loop->servicePort = opts.port;
  loop->trapPort = opts.trapPort;
  // From here a stop request, even one that comes during start-up, ends
  // the loop as soon as it runs.
  std::signal(SIGTERM, onStopSignal);
  std::signal(SIGINT, onStopSignal);

  std::fprintf(stderr, "loop->init();\n");
  loop->init();

  buildSystemMib({&loop->contact, &loop->location});
  buildIpMib();
  buildBridgeMib();
  buildInterfacesMib();
  buildHealthMib();

  loadPlugins(kx::rootPath(kPluginDir));

  // Plug-ins' own makers, added in autorun, come before it.
  addTrapMaker(talvorTrapMaker);
  loop->startSubscribers();
  loop->addTimer(loop, &SnmpLooper::startup, 0);

  kx::message notice;
  notice.setDstPath({1});
  notice.setU32(kStartupService, snmp::kServiceId);
  loop->sendCmd(notice, kStartupCommand);

  loop->run();
  delete loop;
  return 0;
}
