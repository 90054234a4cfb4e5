#include "sim/endpoint.h"

#include "sim/commands.h"

namespace sim {

Endpoint::Endpoint(std::unique_ptr<Service> service, std::map<uint32_t, uint32_t> aliases,
                   std::vector<Fault> faults)
    : service_(std::move(service)), aliases_(std::move(aliases)), faults_(std::move(faults)) {}

Endpoint::Outcome Endpoint::handle(const kx::message& req) {
  Outcome out;
  uint32_t cmd = req.command();
  const Fault* fault = findFault(faults_, cmd);
  if (fault) {
    out.delayMs = fault->delayMs;
    out.silent = fault->silent;
    if (fault->error) {
      out.reply = kx::errorMsg(fault->errorCode, fault->errorText);
      return out;
    }
  }
  auto alias = aliases_.find(cmd);
  if (alias != aliases_.end()) {
    if (alias->second == kAnswerEmpty) return out;
    cmd = alias->second;
  }
  out.reply = service_->serve(cmd, req);
  return out;
}

}  // namespace sim
