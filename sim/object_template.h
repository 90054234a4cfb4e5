// One scenario object: fixed fields plus fields that follow time.
//
// The fixed part is an ordinary kx::message.  A dynamic field also holds a
// placeholder in that message, so an evaluated object keeps its field
// order whatever follows time.  Nested message fields that contain dynamic values are kept as
// nested templates.
#ifndef SIM_OBJECT_TEMPLATE_H_
#define SIM_OBJECT_TEMPLATE_H_

#include <cstdint>
#include <utility>
#include <vector>

#include "kx/message.h"
#include "sim/dynamic_value.h"
#include "sim/sim_clock.h"

namespace sim {

class ObjectTemplate {
 public:
  ObjectTemplate() = default;
  explicit ObjectTemplate(kx::message fixed) : fixed_(std::move(fixed)) {}

  // The fixed fields (placeholders included).
  const kx::message& fixed() const { return fixed_; }
  kx::message& fixed() { return fixed_; }

  // REQUIRES: key is a u32 or u64 key.  Replaces an earlier value of key.
  void setDynamic(uint32_t key, const DynamicValue& v);
  // REQUIRES: key is a message key.  Replaces an earlier value of key.
  void setNested(uint32_t key, const ObjectTemplate& t);
  bool hasDynamic() const { return !dynamic_.empty() || !nested_.empty(); }

  // The object as it reads now.
  kx::message evaluate(const SimClock& clock) const;

  // Copies every field of fields over this object; a field given here is
  // fixed from now on, even where it used to follow time.
  void merge(const kx::message& fields);
  // Takes every field of other, dynamic ones included, over this object.
  void absorb(const ObjectTemplate& other);

 private:
  void forget(uint32_t key);
  kx::message fixed_;
  std::vector<std::pair<uint32_t, DynamicValue>> dynamic_;
  std::vector<std::pair<uint32_t, ObjectTemplate>> nested_;
};

}  // namespace sim

#endif  // SIM_OBJECT_TEMPLATE_H_
