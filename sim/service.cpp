#include "sim/service.h"

#include <vector>

#include "sim/list_service.h"

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

kx::message HistoryService::serve(uint32_t cmd, const kx::message& req) {
  kx::message reply;
  if (cmd == kx::kCmdGetAll) {
    // The newest entries that fit one reply, oldest first.
    std::vector<kx::message> items;
    size_t bytes = 0;
    for (auto it = entries_.rbegin(); it != entries_.rend(); ++it) {
      bytes += it->encode().size();
      if (bytes > kMaxPageBytes) break;
      items.push_back(*it);
    }
    reply.setMessageArray(kx::kObjects, std::vector<kx::message>(items.rbegin(), items.rend()));
    return reply;
  }
  if (cmd == kx::kCmdCount) {
    reply.setU32(kx::kCount, static_cast<uint32_t>(entries_.size()));
    return reply;
  }
  kx::message entry = objectFields(req);
  entry.setU32(kx::kObjId, nextId_++);
  entry.setU32(kHistoryCommand, cmd);
  entries_.push_back(std::move(entry));
  if (entries_.size() > kMaxHistory) entries_.pop_front();
  return reply;
}

}  // namespace sim
