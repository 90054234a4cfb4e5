// A simulated bus handler's behaviour, independent of the transport, and
// the simple kinds of it: no behaviour, one record, the configuration
// history.  (A list of objects is list_service.h.)
#ifndef SIM_SERVICE_H_
#define SIM_SERVICE_H_

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>

#include "kx/message.h"
#include "sim/object_template.h"

namespace sim {

// A simulated bus handler's behaviour, independent of the transport.
//
// serve() gets the request's command after aliases have been applied and
// returns the reply; a command the service has no behaviour for is
// answered with an empty message.
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

// A handler that holds one record: get returns it, set merges into it.
class RecordService : public Service {
 public:
  // The clock must outlive the service.
  RecordService(ObjectTemplate record, const SimClock& clock)
      : record_(std::move(record)), clock_(clock) {}

  // 0xfe000d: the record as it reads now.  0xfe000e: merges the request's
  // object fields (a field set here stops following time), answers empty
  // and reports a change of object 0.  Anything else: empty.
  kx::message serve(uint32_t cmd, const kx::message& req) override;
  // The record, whatever id is asked for.
  kx::message object(uint32_t id) const override;

 private:
  ObjectTemplate record_;
  const SimClock& clock_;
};

// The configuration history (service 2): keeps what it is sent.
//
// Every message that is not a get all or a count is kept as an entry
// (its object fields plus the command it came with in 0x08000001), with
// ids counting from 1, and answered empty.  Get all lists the entries
// (oldest first, unpaged: the newest that fit one reply); count counts
// them.  The oldest entries are dropped past kMaxHistory.

// Enough for any test or demo; bounds memory on a long run.
constexpr size_t kMaxHistory = 1000;
// Where an entry records the command it arrived with.
constexpr uint32_t kHistoryCommand = 0x08000001;

class HistoryService : public Service {
 public:
  kx::message serve(uint32_t cmd, const kx::message& req) override;
  size_t size() const { return entries_.size(); }

 private:
  std::deque<kx::message> entries_;
  uint32_t nextId_ = 1;
};

}  // namespace sim

#endif  // SIM_SERVICE_H_
