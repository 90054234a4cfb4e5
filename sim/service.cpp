#include "sim/service.h"

namespace sim {
namespace {

constexpr uint32_t kBusFieldIds = 0xff0000;

}  // namespace

kx::message Service::object(uint32_t id) const { return goneMarker(id); }

kx::message objectFields(const kx::message& req) {
  kx::message out = req;
  for (size_t i = req.size(); i-- > 0;) {
    uint32_t key = req.keyAt(i);
    if (kx::keyId(key) >= kBusFieldIds) out.erase(key);
  }
  return out;
}

kx::message goneMarker(uint32_t id) {
  kx::message m;
  m.setU32(kx::kObjId, id);
  m.setU32(kx::kObjGone, 1);
  return m;
}

}  // namespace sim
