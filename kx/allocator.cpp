#include "kx/allocator.h"

namespace kx {

// kNone is never handed out, so the range ends below it.
Allocator::Allocator(uint32_t min, uint32_t max)
    : min_(min), max_(max < kNone ? max : kNone - 1) {}

// taken_ is ordered, so the lowest free id is the first gap in the run of
// taken ids that starts at min_.
uint32_t Allocator::alloc() {
  if (min_ > max_) return kNone;
  uint32_t candidate = min_;
  for (auto it = taken_.lower_bound(min_); it != taken_.end() && *it == candidate; ++it) {
    if (candidate == max_) return kNone;
    ++candidate;
  }
  taken_.insert(candidate);
  return candidate;
}

bool Allocator::reserve(uint32_t id) {
  if (id < min_ || id > max_ || id == kNone) return false;
  return taken_.insert(id).second;
}

void Allocator::free(uint32_t id) { taken_.erase(id); }

bool Allocator::taken(uint32_t id) const { return taken_.count(id) != 0; }

}  // namespace kx
