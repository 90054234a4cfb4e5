// What stands between the bus and a service: command aliases and faults,
// the journal of requests, the hold of a late answer, and the kx::Handler
// face of it all.
#ifndef SIM_ENDPOINT_H_
#define SIM_ENDPOINT_H_

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "kx/handler.h"
#include "kx/message.h"
#include "sim/json_path.h"
#include "sim/service.h"

namespace sim {

// Command codes as a scenario writes them: a number, hex text ("0xfe0004")
// or the name of a generic command.

// The pseudo-command of the alias name "empty": answer with an empty reply.
constexpr uint32_t kAnswerEmpty = 0;

// Names: get, set, getall, getobj, setobj, add, remove, count, empty.
// False when the name is unknown.
bool commandByName(const std::string& name, uint32_t& cmd);
// A number, "0x..." / decimal text, or a name.  False when malformed.
bool parseCommand(const nlohmann::json& j, uint32_t& cmd);

// Fault injection: a late answer, an error answer or no answer at all.
//
// Scenario form, one object or an array of them (the first that matches a
// request's command applies):
//   {"delay_ms": 8000}                       answer, but that much later
//   {"error": [0xfe0006, "refused"]}         answer with this error
//   {"silent": true}                         never answer
//   "commands": ["0xfe0004", "count"]        only for these commands
// delay_ms combines with error (a late error); silent stands alone.

// Ten minutes: longer than any caller waits, short enough to notice a typo.
constexpr unsigned kMaxFaultDelayMs = 600000;

struct Fault {
  std::vector<uint32_t> commands;  // empty: every command
  unsigned delayMs = 0;
  bool silent = false;
  bool error = false;
  uint32_t errorCode = 0;
  std::string errorText;

  bool matches(uint32_t cmd) const;
};

// Throws ScenarioError.
std::vector<Fault> parseFaults(const nlohmann::json& j, const JsonPath& at);
// The first fault for cmd, or null.
const Fault* findFault(const std::vector<Fault>& faults, uint32_t cmd);

// One served handler: its service plus the command aliases and faults that
// sit in front of it.  Knows nothing of sockets, so it is what the tests
// drive.
class Endpoint {
 public:
  struct Outcome {
    kx::message reply;
    unsigned delayMs = 0;  // send the reply this much later
    bool silent = false;   // send no reply at all
  };

  // aliases: command -> generic command (kAnswerEmpty for an empty reply).
  Endpoint(std::unique_ptr<Service> service, std::map<uint32_t, uint32_t> aliases,
           std::vector<Fault> faults);

  // Faults are chosen by the command as received.  An error fault answers
  // without running the service; a delayed or silent request still takes
  // effect, only its answer is late or lost.
  Outcome handle(const kx::message& req);

  Service& service() { return *service_; }
  const Service& service() const { return *service_; }

 private:
  std::unique_ptr<Service> service_;
  std::map<uint32_t, uint32_t> aliases_;
  std::vector<Fault> faults_;
};

// The journal: one JSON line per bus message received, flushed at once so
// that a test reading the file sees every message that was answered.
class Journal {
 public:
  Journal() = default;
  ~Journal();
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;

  // Opens file for appending.  False with err set when it cannot be opened.
  bool open(const std::string& file, std::string& err);
  bool isOpen() const { return file_ != nullptr; }
  // Appends m as one line (kx::messageToJson); nothing when not open.
  void record(const kx::message& m);

 private:
  std::FILE* file_ = nullptr;
};

// What every served handler does with a request: journal it, run it
// through its endpoint, and hold the answer back when a fault says so.
//
// Holding back blocks the process that serves the handler; kxsim therefore
// serves every service id that has a delay or silence fault in a process
// of its own, so the other services keep answering meanwhile.

// How long a silent fault withholds its answer: past every caller's
// time-out (the agent waits 6 s), so the answer that finally leaves finds
// nobody waiting and is dropped.
constexpr unsigned kSilentHoldMs = 15000;

class Responder {
 public:
  // All three must outlive the responder.  stop: set from a signal handler;
  // a held answer is released early once it is non-zero.
  Responder(Endpoint& endpoint, Journal& journal, const volatile std::sig_atomic_t& stop)
      : endpoint_(endpoint), journal_(journal), stop_(stop) {}

  kx::message respond(const kx::message& req);
  Endpoint& endpoint() { return endpoint_; }

 private:
  void hold(unsigned ms) const;
  Endpoint& endpoint_;
  Journal& journal_;
  const volatile std::sig_atomic_t& stop_;
};

// The kx::Handler face of a served handler: every command slot hands the
// request to a Responder, and change events show the service's objects.
class BusHandler : public kx::Handler {
 public:
  // responder must outlive the handler; its service's change events are
  // announced to this handler's subscribers when events is non-zero.
  BusHandler(Responder& responder, uint32_t events);

  kx::message cmdGet(const kx::message& msg) override;
  kx::message cmdSet(const kx::message& msg) override;
  kx::message cmdGetObj(const kx::message& msg, uint32_t id) override;
  kx::message cmdSetObj(const kx::message& msg, uint32_t id) override;
  kx::message cmdGetAll(const kx::message& msg, uint32_t start, uint32_t count) override;
  kx::message cmdAddObj(const kx::message& msg) override;
  kx::message cmdRemoveObj(const kx::message& msg, uint32_t id) override;
  kx::message cmdGetCount(const kx::message& msg) override;
  kx::message cmdUnknown(const kx::message& msg, uint32_t code) override;
  kx::message getObject(uint32_t id) override;

 private:
  Responder& responder_;
};

}  // namespace sim

#endif  // SIM_ENDPOINT_H_
