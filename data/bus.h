// The data model's way onto the message bus: every exchange a provider
// makes goes through the process's looper (kx::getLooper), the agent's.
#ifndef DATA_BUS_H_
#define DATA_BUS_H_

#include "kx/looper.h"
#include "kx/message.h"

// How long (in the looper's milliseconds) a provider waits for a reply.
constexpr int kBusExchangeTimeout = 6000;

// Sends request to its destination path (0xff0001) and waits for the reply
// (at most kBusExchangeTimeout).  The transport adds its request id and the
// sender path to request.  Returns the reply, or an error reply ("no bus"
// when the process has no looper, otherwise the looper's own error) when
// there is none; never throws.
inline kx::message busExchange(kx::message& request) {
  kx::Looper* looper = kx::getLooper();
  if (looper == nullptr) return kx::errorMsg(kx::kErrNoService, "no bus");
  return looper->exchangeMessage(request, kBusExchangeTimeout);
}

#endif  // DATA_BUS_H_
