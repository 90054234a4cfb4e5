// Serves a set of service ids of a scenario on the bus in this process.
#ifndef SIM_SERVER_H_
#define SIM_SERVER_H_

#include <csignal>
#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "kx/looper.h"
#include "kx/runner.h"
#include "sim/change.h"
#include "sim/endpoint.h"
#include "sim/object_template.h"
#include "sim/scenario.h"

namespace sim {

// How often the loop looks for a pending stop and runs its periodic task.
constexpr unsigned kDefaultTickMs = 200;

class Server {
 public:
  // Serves the handlers of scenario whose service id is in ids (may be
  // empty: the server then only runs its loop and its periodic task).
  // Everything passed must outlive the server.
  Server(const Scenario& scenario, std::vector<uint32_t> ids, const SimClock& clock,
         Journal& journal, const volatile std::sig_atomic_t& stop);
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  // Opens the sockets and registers the handlers.  False with err set when
  // a service's socket cannot be created.
  bool start(std::string& err);
  // Registers the handlers on host instead, served in-process without
  // sockets (kx::Looper::serveInProcess), so that a client in this process
  // reaches the router through host's bus.  host runs the loop and must
  // outlive the server; run() and stop() are not for this mode.
  void startOn(kx::Looper& host);
  // Runs task every periodMs while serving (kxsim reaps its children).
  void every(unsigned periodMs, std::function<void()> task);
  // Serves until stop().
  void run();
  // Safe from a signal handler.
  void stop();
  // Object changes (sets, adds, removes) the services made so far.
  uint64_t changes() const;
  // The looper, once started with at least one id; null otherwise.
  kx::Looper* looper() { return looper_.get(); }

 private:
  void tick();
  // Registers every handler of ids_ on looper.
  void serveAll(kx::Looper& looper);
  void serve(const ServiceDesc& desc);
  const Scenario& scenario_;
  std::vector<uint32_t> ids_;
  const SimClock& clock_;
  Journal& journal_;
  const volatile std::sig_atomic_t& stop_;
  std::vector<std::unique_ptr<Endpoint>> endpoints_;
  std::vector<std::unique_ptr<Responder>> responders_;
  std::vector<std::unique_ptr<BusHandler>> handlers_;
  std::vector<std::unique_ptr<ChangeSchedule>> schedules_;
  std::set<std::pair<uint32_t, uint32_t>> served_;  // (service, handler)
  std::unique_ptr<kx::Looper> looper_;
  kx::Looper* host_ = nullptr;            // the looper serving the handlers
  std::unique_ptr<kx::ThinRunner> idle_;  // when there is nothing to serve
  unsigned periodMs_ = kDefaultTickMs;
  std::function<void()> task_;
};

}  // namespace sim

#endif  // SIM_SERVER_H_
