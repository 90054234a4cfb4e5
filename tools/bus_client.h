// kxctl::BusClient: how kxctl's commands reach the bus.
//
// Commands talk to this interface rather than to a kx::Looper so that
// tests can answer them with a scripted service.
#ifndef TOOLS_BUS_CLIENT_H_
#define TOOLS_BUS_CLIENT_H_

#include "kx/message.h"

namespace kxctl {

class BusClient {
 public:
  virtual ~BusClient() = default;

  // Sends msg, which carries its destination path and command, and returns
  // the reply.  Anything that prevents a reply (no such service, time-out,
  // broken connection) comes back as an error reply (kx::isError); this
  // never blocks longer than the client's time-out.
  virtual kx::message exchange(kx::message& msg) = 0;
};

}  // namespace kxctl

#endif  // TOOLS_BUS_CLIENT_H_
