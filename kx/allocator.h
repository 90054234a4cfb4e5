// kx::Allocator: object ids in [min, max].
#ifndef KX_ALLOCATOR_H_
#define KX_ALLOCATOR_H_

#include <cstdint>
#include <set>

namespace kx {

class Allocator {
 public:
  static constexpr uint32_t kNone = 0xffffffff;
  // Ids from min to max inclusive (max = -2 gives 0xfffffffe).
  Allocator(uint32_t min, uint32_t max);
  // The lowest free id, now taken; kNone when all are taken.
  uint32_t alloc();
  // Takes id; false when it is out of range or already taken.
  bool reserve(uint32_t id);
  // Returns id; no effect when it was not taken.
  void free(uint32_t id);
  bool taken(uint32_t id) const;

 private:
  uint32_t min_, max_;
  std::set<uint32_t> taken_;
};

}  // namespace kx

#endif  // KX_ALLOCATOR_H_
