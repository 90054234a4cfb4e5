// One served handler: its service plus the command aliases and faults that
// sit in front of it.  Knows nothing of sockets, so it is what the tests
// drive.
#ifndef SIM_ENDPOINT_H_
#define SIM_ENDPOINT_H_

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "kx/message.h"
#include "sim/fault.h"
#include "sim/service.h"

namespace sim {

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

}  // namespace sim

#endif  // SIM_ENDPOINT_H_
