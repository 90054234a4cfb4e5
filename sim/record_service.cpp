#include "sim/record_service.h"

namespace sim {

kx::message RecordService::serve(uint32_t cmd, const kx::message& req) {
  switch (cmd) {
    case kx::kCmdGet:
      return record_.evaluate(clock_);
    case kx::kCmdSet:
      record_.merge(objectFields(req));
      changed(0, req);
      return kx::message();
    default:
      return kx::message();
  }
}

kx::message RecordService::object(uint32_t) const { return record_.evaluate(clock_); }

}  // namespace sim
