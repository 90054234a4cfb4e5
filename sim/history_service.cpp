#include "sim/history_service.h"

#include <vector>

#include "sim/list_service.h"

namespace sim {

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
