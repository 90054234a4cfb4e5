// A handler that holds a list of objects keyed by their id (u32 0xfe0001).
//
// Objects are kept and listed in ascending id order.  Get all is paged: a
// reply that stops early carries the continuation mark 0xfe0003, the id of
// the next object, which the caller echoes to get the next page.
#ifndef SIM_LIST_SERVICE_H_
#define SIM_LIST_SERVICE_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "kx/store.h"
#include "sim/object_template.h"
#include "sim/service.h"

namespace sim {

// A page also stops before its encoding passes this size, so a reply stays
// well inside the bus's message limit whatever the objects hold.
constexpr size_t kMaxPageBytes = 512 * 1024;
// Objects per get-all page when neither the scenario nor the request says.
constexpr unsigned kDefaultPage = 100;
// Upper bound for a page size, from the scenario or from a request.
constexpr unsigned kMaxPage = 10000;

class ListService : public Service {
 public:
  struct Options {
    unsigned page = kDefaultPage;  // objects per get-all page unless the request asks
    bool count = true;             // answer the count command
  };

  // Objects without an id get the lowest free one.  REQUIRES: the given
  // ids are distinct.  The clock must outlive the service.
  ListService(std::vector<ObjectTemplate> objects, const SimClock& clock, Options options);

  // 0xfe0004 get all (page size: request's 0xfe0016 if non-zero, capped,
  //   else the configured one; start: request's 0xfe0003, the first object
  //   whose id is not below it);
  // 0xfe0002 get object 0xfe0001; 0xfe0003 set object (merge fields);
  // 0xfe0005 add (the given id, or the lowest free one; reply 0xfe0001);
  // 0xfe0006 remove; 0xfe0015 count (reply 0xfe0014), an error reply
  //   kErrUnknownCmd when counting is off.
  // Errors: kErrMissing without an id, kErrNotFound for an unknown id,
  // kErrRefused for an add of a taken id.  Anything else: empty reply.
  kx::message serve(uint32_t cmd, const kx::message& req) override;
  kx::message object(uint32_t id) const override;

  size_t size() const { return objects_.size(); }

 private:
  kx::message getAll(const kx::message& req) const;
  kx::message setObject(const kx::message& req);
  kx::message addObject(const kx::message& req);
  kx::message removeObject(const kx::message& req);

  std::map<uint32_t, ObjectTemplate> objects_;
  kx::Allocator ids_;
  const SimClock& clock_;
  Options options_;
};

}  // namespace sim

#endif  // SIM_LIST_SERVICE_H_
