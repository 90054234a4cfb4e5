// kx::Looper: a service's bus endpoint and event loop.
//
// A looper is both a Handler (handler 0 of its service, the slots answer
// requests addressed to [service] or [service, 0]) and a ThinRunner (the
// poll loop).  It listens on a Unix SOCK_SEQPACKET socket named by its
// service id in the bus directory and dispatches incoming requests to the
// handlers registered by id.  One process may listen for several service
// ids (listen()).
//
// exchangeMessage blocks until the reply or the time-out; requests and
// events that arrive meanwhile are queued and dispatched after the current
// callback returns, so handlers are never re-entered.
#ifndef KX_LOOPER_H_
#define KX_LOOPER_H_

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kx/handler.h"
#include "kx/message.h"
#include "kx/runner.h"

namespace kx {

class Transport;

class Looper : public Handler, public ThinRunner {
 public:
  // serviceId: the service this looper is.  params: opaque construction
  // parameters, recorded only.  Starts listening for serviceId at once; a
  // failure is logged and the looper still works for outgoing requests.
  explicit Looper(uint32_t serviceId, const std::vector<unsigned>& params = {});
  ~Looper() override;

  uint32_t serviceId() const { return serviceId_; }
  const std::vector<unsigned>& params() const { return params_; }

  // Also serve requests addressed to service id.  Returns false (logged)
  // when its socket cannot be created.
  bool listen(uint32_t service);
  // Also serve service id, but to this process only: no socket is made, and
  // requests from this process reach the handlers registered for it
  // directly.  Lets a test or a fuzzer run a service beside its client.
  void serveInProcess(uint32_t service);
  // True for the services listened on or served in-process.
  bool listening(uint32_t service) const;

  // Registers h as handler id of this looper's service (or of another
  // service this looper listens for).  The looper does not own h.
  void addHandler(uint32_t id, Handler* h);
  void addHandler(uint32_t service, uint32_t id, Handler* h);
  void removeHandler(uint32_t service, uint32_t id);
  Handler* findHandler(uint32_t service, uint32_t id) const;

  // Sends msg to its destination path (0xff0001) and waits at most
  // timeoutMs for the reply.  Returns the reply, or an error reply
  // (kErrNoService, kErrTimeout, kErrPeerGone, kErrBadMessage, or an
  // unknown-handler error) when there is none.  msg gets the transport's
  // request id and this looper's sender path.
  message exchangeMessage(message& msg, int timeoutMs);
  // Sends msg one-way; failures are logged only.
  void sendMessage(const message& msg);

  // Access policies: recorded and reported (policies()), nothing more.
  void addPolicy(uint32_t a, uint32_t b);
  const std::vector<std::pair<uint32_t, uint32_t>>& policies() const { return policies_; }

  int run() override;

  // Transport statistics, for tests and benchmarks.
  uint64_t exchangesSent() const;

 protected:
  void beforePoll() override;
  // Runs before the thread may block on another process: an exchange with,
  // or a send to, a service outside this process.  The agent sends the
  // replies it has ready here.
  virtual void beforeBlocking() {}

 private:
  friend class Transport;
  friend class Handler;
  uint32_t serviceId_;
  std::vector<unsigned> params_;
  std::vector<std::pair<uint32_t, uint32_t>> policies_;
  std::map<std::pair<uint32_t, uint32_t>, Handler*> handlers_;
  std::unique_ptr<Transport> transport_;
};

// The process's runner (getRunner) when it is a Looper, else null: the one
// handle through which code without a looper of its own reaches the bus.
Looper* getLooper();

}  // namespace kx

#endif  // KX_LOOPER_H_
