#include "tools/list_pager.h"

#include <set>
#include <string>
#include <utility>

namespace kxctl {

ListPager::ListPager(BusClient& bus, std::vector<uint32_t> path, uint32_t pageSize)
    : bus_(bus), path_(std::move(path)), pageSize_(pageSize) {}

bool ListPager::fetch(std::vector<kx::message>& objects, kx::message& error) {
  pages_ = 0;
  std::set<uint32_t> seenMarks;
  bool haveMark = false;
  uint32_t mark = 0;
  size_t total = 0;
  while (true) {
    kx::message req;
    req.setDstPath(path_);
    req.setCommand(kx::kCmdGetAll);
    if (pageSize_ > 0) req.setU32(kx::kPageSize, pageSize_);
    if (haveMark) req.setU32(kx::kContinue, mark);
    kx::message reply = bus_.exchange(req);
    ++pages_;
    if (kx::isError(reply)) {
      error = std::move(reply);
      return false;
    }
    if (const std::vector<kx::message>* page = reply.findMessageArray(kx::kObjects)) {
      total += page->size();
      if (total > kMaxListObjects) {
        error = kx::errorMsg(
            kx::kErrBadMessage,
            "the list has more than " + std::to_string(kMaxListObjects) + " objects; giving up");
        return false;
      }
      objects.insert(objects.end(), page->begin(), page->end());
    }
    if (!reply.has(kx::kContinue)) return true;
    mark = reply.getU32(kx::kContinue);
    haveMark = true;
    if (!seenMarks.insert(mark).second) {
      error = kx::errorMsg(kx::kErrBadMessage,
                           "the list repeats continuation mark " + std::to_string(mark));
      return false;
    }
  }
}

}  // namespace kxctl
