// kxctl::LooperBusClient: a BusClient over a kx::Looper of its own.
//
// Each kxctl process is a bus service of its own so that replies and
// events find their way back.  Its service id is kClientServiceBase plus
// the process id: unique among the processes running at one time, so any
// number of kxctl processes may run at once, and far above the services of
// the router (which use small ids), so it never shadows one of them.
#ifndef TOOLS_LOOPER_BUS_CLIENT_H_
#define TOOLS_LOOPER_BUS_CLIENT_H_

#include <cstdint>
#include <memory>

#include "kx/looper.h"
#include "tools/bus_client.h"

namespace kxctl {

// Linux process ids stay below 2^22, so base + pid never wraps.
constexpr uint32_t kClientServiceBase = 0x40000000;

// The service id of this process's client.
uint32_t clientServiceId();

class LooperBusClient : public BusClient {
 public:
  // REQUIRES: the root (kx::setRoot) is set; the looper starts listening
  // under it at once.
  explicit LooperBusClient(int timeoutMs);

  kx::message exchange(kx::message& msg) override;

  kx::Looper& looper() { return looper_; }

 private:
  int timeoutMs_;
  kx::Looper looper_;
};

}  // namespace kxctl

#endif  // TOOLS_LOOPER_BUS_CLIENT_H_
