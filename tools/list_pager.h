// kxctl::ListPager: reads a whole list, page by page.
//
// A get-all request (0xfe0004) answers one page of objects in 0xa8fe0002;
// while more remain the reply carries a continuation mark in u32 0xfe0003,
// which the next request echoes.  The pager follows the marks until a reply
// has none.
#ifndef TOOLS_LIST_PAGER_H_
#define TOOLS_LIST_PAGER_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "kx/message.h"
#include "tools/bus_client.h"

namespace kxctl {

// A service that keeps handing out new marks is broken; stop after this
// many objects rather than fill memory.
constexpr size_t kMaxListObjects = 4 * 1000 * 1000;

class ListPager {
 public:
  // pageSize: asked of the service in u32 0xfe0016; 0 leaves it to the
  // service.  The pager does not own bus.
  ListPager(BusClient& bus, std::vector<uint32_t> path, uint32_t pageSize);

  // Appends every object of the list to objects, in order.  Returns false
  // with an error reply in error when a page is refused, a continuation
  // mark repeats (the service would loop forever) or the list exceeds
  // kMaxListObjects; objects then holds the pages read so far.
  bool fetch(std::vector<kx::message>& objects, kx::message& error);

  // Requests sent by the last fetch.
  size_t pages() const { return pages_; }

 private:
  BusClient& bus_;
  std::vector<uint32_t> path_;
  uint32_t pageSize_;
  size_t pages_ = 0;
};

}  // namespace kxctl

#endif  // TOOLS_LIST_PAGER_H_
