#include "tools/watch_command.h"

#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <utility>

#include "tools/arg_parse.h"
#include "tools/command.h"
#include "tools/output.h"
#include "tools/session.h"

namespace kxctl {

namespace {

// Blocks SIGINT and SIGTERM and hands them to the loop through a signalfd,
// so that stopping needs no signal handler and no global.  Restores the
// signal mask when destroyed.
class StopSignals {
 public:
  StopSignals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    sigprocmask(SIG_BLOCK, &set, &saved_);
    fd_ = signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC);
  }
  ~StopSignals() {
    if (fd_ >= 0) close(fd_);
    sigprocmask(SIG_SETMASK, &saved_, nullptr);
  }
  int fd() const { return fd_; }

 private:
  sigset_t saved_;
  int fd_ = -1;
};

std::string kindText(uint32_t kind) {
  char buf[16];
  std::snprintf(buf, sizeof buf, "0x%x", kind);
  return buf;
}

}  // namespace

bool parseWatchArgs(const std::vector<std::string>& args, WatchRequest& req, std::string& err) {
  WatchRequest r;
  std::vector<std::string> positional;
  bool haveValue = false, haveMask = false;
  uint32_t value = 0, mask = 0;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    std::string why;
    if (a == "--count") {
      uint32_t n;
      if (i + 1 == args.size() || !parseU32(args[++i], n, why) || n == 0) {
        err = "--count needs a number of events above 0";
        return false;
      }
      r.count = n;
    } else if (a.compare(0, 6, "value=") == 0) {
      if (!parseU32(a.substr(6), value, why)) {
        err = "bad filter value: " + why;
        return false;
      }
      haveValue = true;
    } else if (a.compare(0, 5, "mask=") == 0) {
      if (!parseU32(a.substr(5), mask, why)) {
        err = "bad filter mask: " + why;
        return false;
      }
      haveMask = true;
    } else if (a.compare(0, 2, "--") == 0) {
      err = "unknown option '" + a + "'";
      return false;
    } else {
      positional.push_back(a);
    }
  }
  if (positional.size() < 2) {
    err = "missing arguments; expected PATH KIND";
    return false;
  }
  if (positional.size() > 2) {
    err = "unexpected argument '" + positional[2] + "'";
    return false;
  }
  if (!parsePath(positional[0], r.path, err)) return false;
  std::string why;
  if (!parseU32(positional[1], r.kind, why)) {
    err = "bad KIND: " + why;
    return false;
  }
  if (haveValue || haveMask) {
    r.filter.setU32(kx::kFilterValue, value);
    r.filter.setU32(kx::kFilterMask, haveMask ? mask : 0xffffffff);
  }
  req = std::move(r);
  return true;
}

std::string WatchCommand::synopsis() const {
  return "watch PATH KIND [value=V] [mask=M] [--count N]";
}

std::string WatchCommand::help() const {
  return "Usage: kxctl [--root DIR] " + synopsis() +
         "\n\n"
         "Subscribes to the events of KIND (for example 0x10004) published by the\n"
         "handler at PATH and prints each event on standard output as one line of\n"
         "JSON, flushed at once: the object's fields, the kind in 0x08ff0007 and the\n"
         "publisher's path in 0x88ff0002.  Runs until SIGINT or SIGTERM, then\n"
         "unsubscribes and exits 0.\n"
         "\n"
         "value=V mask=M  only objects whose u32 0x08010002 AND M equals V\n"
         "                (value alone: mask 0xffffffff; mask alone: value 0)\n"
         "--count N       exit after N events\n"
         "\n"
         "When the subscription stands, \"kxctl: watching PATH for KIND\" is written on\n"
         "standard error.  The subscription request waits for its answer as long as\n"
         "the bus library allows (--timeout does not apply).  Exit status: 0 stopped;\n"
         "1 the subscription was refused or not answered; 2 the command line is wrong.\n";
}

int WatchCommand::run(Session& session, const std::vector<std::string>& args) {
  WatchRequest req;
  std::string err;
  if (!parseWatchArgs(args, req, err)) return session.usage(name(), err);

  StopSignals signals;
  if (signals.fd() < 0) return session.fail(name(), "cannot watch for SIGINT and SIGTERM");
  LooperBusClient client(session.options().timeoutMs);
  kx::Looper& looper = client.looper();
  EventPrinter printer(session.out(), req.count, [&looper] { looper.stop(); });
  // Handler 1 of our own service: the looper itself is handler 0.
  looper.addHandler(1, &printer);
  if (!printer.subscribe(req.path, req.kind, req.filter)) {
    looper.removeHandler(looper.serviceId(), 1);
    return session.fail(
        name(), "the subscription to " + pathText(req.path) + " was refused or not answered");
  }
  session.err() << "kxctl: watching " << pathText(req.path) << " for " << kindText(req.kind)
                << std::endl;
  looper.addSocketFn(
      signals.fd(),
      [&looper](int fd, int) {
        signalfd_siginfo info;
        while (read(fd, &info, sizeof info) == static_cast<ssize_t>(sizeof info)) {
        }
        looper.stop();
      },
      POLLIN);
  looper.setupLeave(0);
  looper.run();
  looper.removeSocket(signals.fd());
  printer.unsubscribe(req.path, req.kind, req.filter);
  looper.removeHandler(looper.serviceId(), 1);
  return kExitOk;
}

void addWatchCommand(CommandTable& table) { table.add(std::make_unique<WatchCommand>()); }

}  // namespace kxctl
