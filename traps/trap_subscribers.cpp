#include "traps/trap_subscribers.h"

#include <cstdio>

#include "kx/looper.h"
#include "kx/transport.h"

std::vector<TrapSubscriber> scribers;

bool subscribeToEvents(const std::vector<uint32_t>& path, uint32_t kind,
                       const kx::message& filter) {
  kx::Looper* bus = kx::getLooper();
  if (bus && bus->subscribe(path, kind, filter)) return true;
  // Without this line a generator that is on but silent would be a puzzle.
  std::fprintf(stderr, "no events 0x%x from %s: the service did not take the subscription\n", kind,
               kx::pathText(path).c_str());
  return false;
}

bool unsubscribeFromEvents(const std::vector<uint32_t>& path, uint32_t kind,
                           const kx::message& filter) {
  kx::Looper* bus = kx::getLooper();
  return bus && bus->unsubscribe(path, kind, filter);
}
