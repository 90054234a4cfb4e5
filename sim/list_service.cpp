#include "sim/list_service.h"

#include <algorithm>

namespace sim {
namespace {

// Ids run from 1; 0xffffffff is the "no mark" value of a get-all request.
constexpr uint32_t kFirstId = 1;
constexpr uint32_t kLastId = 0xfffffffe;

}  // namespace

ListService::ListService(std::vector<ObjectTemplate> objects, const SimClock& clock,
                         Options options)
    : ids_(kFirstId, kLastId), clock_(clock), options_(options) {
  std::vector<ObjectTemplate> unnumbered;
  for (auto& t : objects) {
    if (t.fixed().has(kx::kObjId)) {
      uint32_t id = t.fixed().getU32(kx::kObjId);
      ids_.reserve(id);
      objects_.emplace(id, std::move(t));
    } else {
      unnumbered.push_back(std::move(t));
    }
  }
  for (auto& t : unnumbered) {
    uint32_t id = ids_.alloc();
    if (id == kx::Allocator::kNone) break;
    t.fixed().setU32(kx::kObjId, id);
    objects_.emplace(id, std::move(t));
  }
}

kx::message ListService::serve(uint32_t cmd, const kx::message& req) {
  switch (cmd) {
    case kx::kCmdGetAll:
      return getAll(req);
    case kx::kCmdGetObj: {
      if (!req.has(kx::kObjId)) return kx::errorMsg(kx::kErrMissing, "object id missing");
      auto it = objects_.find(req.getU32(kx::kObjId));
      if (it == objects_.end()) return kx::errorMsg(kx::kErrNotFound, "no such object");
      return it->second.evaluate(clock_);
    }
    case kx::kCmdSetObj:
      return setObject(req);
    case kx::kCmdAddObj:
      return addObject(req);
    case kx::kCmdRemoveObj:
      return removeObject(req);
    case kx::kCmdCount: {
      if (!options_.count) return kx::errorMsg(kx::kErrUnknownCmd, "count is not supported");
      kx::message reply;
      reply.setU32(kx::kCount, static_cast<uint32_t>(objects_.size()));
      return reply;
    }
    default:
      return kx::message();
  }
}

kx::message ListService::getAll(const kx::message& req) const {
  unsigned page = options_.page;
  if (req.getU32(kx::kPageSize) > 0) page = req.getU32(kx::kPageSize);
  page = std::max(1u, std::min(page, kMaxPage));
  auto it = objects_.begin();
  if (req.has(kx::kContinue)) it = objects_.lower_bound(req.getU32(kx::kContinue));

  std::vector<kx::message> items;
  size_t bytes = 0;
  for (; it != objects_.end() && items.size() < page; ++it) {
    kx::message m = it->second.evaluate(clock_);
    bytes += m.encode().size();
    // Always at least one object per page, so paging moves forward.
    if (!items.empty() && bytes > kMaxPageBytes) break;
    items.push_back(std::move(m));
  }
  kx::message reply;
  reply.setMessageArray(kx::kObjects, items);
  if (it != objects_.end()) reply.setU32(kx::kContinue, it->first);
  return reply;
}

kx::message ListService::setObject(const kx::message& req) {
  if (!req.has(kx::kObjId)) return kx::errorMsg(kx::kErrMissing, "object id missing");
  uint32_t id = req.getU32(kx::kObjId);
  auto it = objects_.find(id);
  if (it == objects_.end()) return kx::errorMsg(kx::kErrNotFound, "no such object");
  it->second.merge(objectFields(req));
  changed(id, req);
  return kx::message();
}

kx::message ListService::addObject(const kx::message& req) {
  kx::message fields = objectFields(req);
  uint32_t id;
  if (fields.has(kx::kObjId)) {
    id = fields.getU32(kx::kObjId);
    if (!ids_.reserve(id)) return kx::errorMsg(kx::kErrRefused, "object id is taken");
  } else {
    id = ids_.alloc();
    if (id == kx::Allocator::kNone) return kx::errorMsg(kx::kErrRefused, "the list is full");
    fields.setU32(kx::kObjId, id);
  }
  objects_.emplace(id, ObjectTemplate(fields));
  changed(id, req);
  kx::message reply;
  reply.setU32(kx::kObjId, id);
  return reply;
}

kx::message ListService::removeObject(const kx::message& req) {
  if (!req.has(kx::kObjId)) return kx::errorMsg(kx::kErrMissing, "object id missing");
  uint32_t id = req.getU32(kx::kObjId);
  if (objects_.erase(id) == 0) return kx::errorMsg(kx::kErrNotFound, "no such object");
  ids_.free(id);
  changed(id, req);
  return kx::message();
}

kx::message ListService::object(uint32_t id) const {
  auto it = objects_.find(id);
  if (it == objects_.end()) return goneMarker(id);
  return it->second.evaluate(clock_);
}

}  // namespace sim
