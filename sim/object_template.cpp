#include "sim/object_template.h"

namespace sim {

void ObjectTemplate::forget(uint32_t key) {
  for (auto it = dynamic_.begin(); it != dynamic_.end(); ++it) {
    if (it->first == key) {
      dynamic_.erase(it);
      break;
    }
  }
  for (auto it = nested_.begin(); it != nested_.end(); ++it) {
    if (it->first == key) {
      nested_.erase(it);
      break;
    }
  }
}

void ObjectTemplate::setDynamic(uint32_t key, const DynamicValue& v) {
  forget(key);
  if (kx::keyType(key) == kx::kTypeU64) {
    fixed_.setU64(key, 0);
  } else {
    fixed_.setU32(key, 0);
  }
  dynamic_.emplace_back(key, v);
}

void ObjectTemplate::setNested(uint32_t key, const ObjectTemplate& t) {
  forget(key);
  fixed_.setMessage(key, t.fixed());
  nested_.emplace_back(key, t);
}

kx::message ObjectTemplate::evaluate(const SimClock& clock) const {
  kx::message out = fixed_;
  for (const auto& [key, value] : dynamic_) {
    uint64_t v = value.at(clock);
    if (kx::keyType(key) == kx::kTypeU64) {
      out.setU64(key, v);
    } else {
      out.setU32(key, static_cast<uint32_t>(v));
    }
  }
  for (const auto& [key, t] : nested_) out.setMessage(key, t.evaluate(clock));
  return out;
}

void ObjectTemplate::merge(const kx::message& fields) {
  for (size_t i = 0; i < fields.size(); ++i) forget(fields.keyAt(i));
  fixed_.merge(fields);
}

void ObjectTemplate::absorb(const ObjectTemplate& other) {
  merge(other.fixed_);
  for (const auto& d : other.dynamic_) dynamic_.push_back(d);
  for (const auto& n : other.nested_) nested_.push_back(n);
}

}  // namespace sim
