// The data model's way onto the message bus.
//
// Every exchange the providers make goes through the agent's looper, which
// the agent hands over here at start-up.  Keeping the looper behind these
// three functions lets data/ stay below agent/ in the dependency order.
#ifndef DATA_BUS_H_
#define DATA_BUS_H_

#include "kx/message.h"

namespace kx {
class Looper;
}

// How long (in the looper's milliseconds) a provider waits for a reply.
constexpr int kBusExchangeTimeout = 6000;

// Sets the looper every later busExchange uses; null detaches the bus.
// The looper is not owned and must outlive its use here.
void setBusLooper(kx::Looper* looper);
// The looper set last, or null.
kx::Looper* busLooper();

// Sends request to its destination path (0xff0001) and waits for the reply
// (at most kBusExchangeTimeout).  The transport adds its request id and the
// sender path to request.  Returns the reply, or an error reply ("no bus"
// when no looper is set, otherwise the looper's own error) when there is
// none; never throws.
kx::message busExchange(kx::message& request);

#endif  // DATA_BUS_H_
