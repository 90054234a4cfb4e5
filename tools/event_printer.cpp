#include "tools/event_printer.h"

#include <utility>

#include "tools/output.h"

namespace kxctl {

EventPrinter::EventPrinter(std::ostream& out, uint64_t limit, std::function<void()> onLimit)
    : out_(out), limit_(limit), onLimit_(std::move(onLimit)) {}

kx::message EventPrinter::print(const kx::message& event) {
  // Events past the limit may already be queued; they are not printed so
  // that --count N prints exactly N lines.
  if (limit_ != 0 && printed_ >= limit_) return kx::message();
  writeJsonLine(out_, eventJson(event));
  ++printed_;
  if (limit_ != 0 && printed_ == limit_ && onLimit_) onLimit_();
  return kx::message();
}

}  // namespace kxctl
