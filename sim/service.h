// A simulated bus handler's behaviour, independent of the transport.
//
// serve() gets the request's command after aliases have been applied and
// returns the reply; a command the service has no behaviour for is
// answered with an empty message.
#ifndef SIM_SERVICE_H_
#define SIM_SERVICE_H_

#include <cstdint>
#include <functional>

#include "kx/message.h"

namespace sim {

class Service {
 public:
  // Called after an object changed (set, add, remove); cause is the request.
  using ChangeFn = std::function<void(uint32_t id, const kx::message& cause)>;

  virtual ~Service() = default;
  virtual kx::message serve(uint32_t cmd, const kx::message& req) = 0;
  // The current state of object id, for change events; the gone marker
  // {0xfe0001 = id, 0xfe0013 = 1} when there is no such object.
  virtual kx::message object(uint32_t id) const;

  void onChange(ChangeFn fn) { onChange_ = std::move(fn); }
  // Changes reported so far.
  uint64_t changeCount() const { return changes_; }

 protected:
  // Every change of an object is reported here.
  void changed(uint32_t id, const kx::message& cause) const {
    ++changes_;
    if (onChange_) onChange_(id, cause);
  }

 private:
  ChangeFn onChange_;
  mutable uint64_t changes_ = 0;
};

// The fields of a request that belong to the object: everything but the
// bus's own fields (ids 0xff0000 and up: path, command, request id, ...).
kx::message objectFields(const kx::message& req);
// {0xfe0001 = id, 0xfe0013 = 1}
kx::message goneMarker(uint32_t id);

// A handler with no behaviour: every command is answered empty.
class EmptyService : public Service {
 public:
  kx::message serve(uint32_t, const kx::message&) override { return kx::message(); }
};

}  // namespace sim

#endif  // SIM_SERVICE_H_
