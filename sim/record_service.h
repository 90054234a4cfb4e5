// A handler that holds one record: get returns it, set merges into it.
#ifndef SIM_RECORD_SERVICE_H_
#define SIM_RECORD_SERVICE_H_

#include "sim/object_template.h"
#include "sim/service.h"
#include "sim/sim_clock.h"

namespace sim {

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

}  // namespace sim

#endif  // SIM_RECORD_SERVICE_H_
