// The configuration history (service 2): keeps what it is sent.
//
// Every message that is not a get all or a count is kept as an entry
// (its object fields plus the command it came with in 0x08000001), with
// ids counting from 1, and answered empty.  Get all lists the entries
// (oldest first, unpaged: the newest that fit one reply); count counts
// them.  The oldest entries are dropped past kMaxHistory.
#ifndef SIM_HISTORY_SERVICE_H_
#define SIM_HISTORY_SERVICE_H_

#include <cstddef>
#include <cstdint>
#include <deque>

#include "sim/service.h"

namespace sim {

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

#endif  // SIM_HISTORY_SERVICE_H_
