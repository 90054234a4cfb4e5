#include "sim/responder.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace sim {
namespace {

// Sleep in short slices so that SIGTERM ends a held answer promptly.
constexpr unsigned kHoldSliceMs = 20;

}  // namespace

void Responder::hold(unsigned ms) const {
  auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
  while (!stop_) {
    auto now = std::chrono::steady_clock::now();
    if (now >= end) return;
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - now).count();
    std::this_thread::sleep_for(
        std::chrono::milliseconds(std::min<long long>(left, kHoldSliceMs)));
  }
}

kx::message Responder::respond(const kx::message& req) {
  journal_.record(req);
  Endpoint::Outcome out = endpoint_.handle(req);
  if (out.silent) {
    hold(kSilentHoldMs);
    return kx::message();
  }
  if (out.delayMs) hold(out.delayMs);
  return out.reply;
}

}  // namespace sim
