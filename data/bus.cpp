#include "data/bus.h"

#include "kx/looper.h"

namespace {
// The agent's one looper; set once at start-up (and by tests).
kx::Looper* g_busLooper = nullptr;
}  // namespace

void setBusLooper(kx::Looper* looper) { g_busLooper = looper; }

kx::Looper* busLooper() { return g_busLooper; }

kx::message busExchange(kx::message& request) {
  if (g_busLooper == nullptr) return kx::errorMsg(kx::kErrNoService, "no bus");
  return g_busLooper->exchangeMessage(request, kBusExchangeTimeout);
}
