#include "tools/looper_bus_client.h"

#include <unistd.h>

namespace kxctl {

uint32_t clientServiceId() { return kClientServiceBase + static_cast<uint32_t>(getpid()); }

LooperBusClient::LooperBusClient(int timeoutMs)
    : timeoutMs_(timeoutMs), looper_(clientServiceId()) {}

kx::message LooperBusClient::exchange(kx::message& msg) {
  return looper_.exchangeMessage(msg, timeoutMs_);
}

}  // namespace kxctl
