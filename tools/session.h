// kxctl::Session: what one kxctl invocation shares between its parts: the
// global options, the output streams, the bus client, and the way errors
// are reported.
//
// Exit statuses: kExitOk when the command did its work, kExitError when the
// bus or the store refused it (an error reply, a time-out, a missing
// object), kExitUsage when the command line itself is wrong.
//
// Commands reach the bus through a BusClient, the real one a
// LooperBusClient, so that tests can answer them with a scripted service.
#ifndef TOOLS_SESSION_H_
#define TOOLS_SESSION_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <ostream>
#include <string>

#include "kx/looper.h"
#include "kx/message.h"

namespace kxctl {

constexpr int kExitOk = 0;
constexpr int kExitError = 1;
constexpr int kExitUsage = 2;

// The bus time-out when --timeout is not given: long enough for a service
// that is busy answering a slow request of its own.
constexpr int kDefaultTimeoutMs = 6000;
// Upper bound of --timeout: one hour; anything longer is a typing error.
constexpr int kMaxTimeoutMs = 3600 * 1000;

struct Options {
  std::string root;  // empty: SARN_ROOT, else "/"
  int timeoutMs = kDefaultTimeoutMs;
  // The agent's stores stand in for the agent (`kxctl snmp ... --offline`).
  bool offline = false;
};

// kxctl::BusClient: how kxctl's commands reach the bus.
//
// Commands talk to this interface rather than to a kx::Looper so that
// tests can answer them with a scripted service.
class BusClient {
 public:
  virtual ~BusClient() = default;

  // Sends msg, which carries its destination path and command, and returns
  // the reply.  Anything that prevents a reply (no such service, time-out,
  // broken connection) comes back as an error reply (kx::isError); this
  // never blocks longer than the client's time-out.
  virtual kx::message exchange(kx::message& msg) = 0;
};

class Session {
 public:
  using BusFactory = std::function<std::unique_ptr<BusClient>(const Options&)>;

  // makeBus is called at most once, by the first bus(); offline commands
  // never call it, so they need no bus directory.
  Session(Options options, std::ostream& out, std::ostream& err, BusFactory makeBus);

  const Options& options() const { return options_; }
  std::ostream& out() { return out_; }
  std::ostream& err() { return err_; }
  // The session's client; lives as long as the session.
  BusClient& bus();

  // Prints "kxctl: <command>: <problem>" and a hint to "<command> --help"
  // on the error stream; returns kExitUsage.
  int usage(const std::string& command, const std::string& problem);
  // Prints "kxctl: <command>: <problem>"; returns kExitError.
  int fail(const std::string& command, const std::string& problem);
  // Prints "error 0x......: <text>" for an error reply; returns kExitError.
  int errorReply(const kx::message& reply);

 private:
  Options options_;
  std::ostream& out_;
  std::ostream& err_;
  BusFactory makeBus_;
  std::unique_ptr<BusClient> bus_;
};

// kxctl::LooperBusClient: a BusClient over a kx::Looper of its own.
//
// Each kxctl process is a bus service of its own so that replies and
// events find their way back.  Its service id is kClientServiceBase plus
// the process id: unique among the processes running at one time, so any
// number of kxctl processes may run at once, and far above the services of
// the router (which use small ids), so it never shadows one of them.

// Linux process ids stay below 2^22, so base + pid never wraps.
constexpr uint32_t kClientServiceBase = 0x40000000;

// The service id of this process's client.
uint32_t clientServiceId();

class LooperBusClient : public BusClient {
 public:
  // REQUIRES: the root (kx::setRoot) is set; the looper starts listening
  // under it at once.
  explicit LooperBusClient(int timeoutMs);

  kx::message exchange(kx::message& msg) override;

  kx::Looper& looper() { return looper_; }

 private:
  int timeoutMs_;
  kx::Looper looper_;
};

}  // namespace kxctl

#endif  // TOOLS_SESSION_H_
