// Scenario objects: the clocks they follow, values that follow time,
// templates of fixed and dynamic fields, and the scenario forms that make
// them (one object of typed keys, or many rows from a repeat).
#ifndef SIM_OBJECT_TEMPLATE_H_
#define SIM_OBJECT_TEMPLATE_H_

#include <chrono>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

#include "kx/message.h"
#include "sim/json_path.h"

namespace sim {

// The clocks that dynamic scenario values follow.
//
// Reached through an interface so that tests can move time by hand.
class SimClock {
 public:
  virtual ~SimClock() = default;
  // Milliseconds since the simulator started.
  virtual uint64_t elapsedMs() const = 0;
  // Whole seconds since the machine booted.
  virtual uint32_t uptime() const = 0;
  // Seconds since 1970-01-01 UTC.
  virtual uint32_t epoch() const = 0;
};

// The real clocks; elapsedMs counts from construction on a monotonic clock.
class RealClock : public SimClock {
 public:
  RealClock();
  uint64_t elapsedMs() const override;
  uint32_t uptime() const override;
  uint32_t epoch() const override;

 private:
  std::chrono::steady_clock::time_point start_;
};

// A field value that follows time: a counter growing at a rate, or a clock.
class DynamicValue {
 public:
  // base + rate * seconds since start.  The rate is given in thousandths
  // per second so that slow counters (0.5 per second) need no floating
  // point; it may be negative (a gauge that drains).
  static DynamicValue counter(uint64_t base, int64_t milliRatePerSecond);
  static DynamicValue uptime();  // seconds since boot
  static DynamicValue epoch();   // seconds since 1970

  // The value now, modulo 2^64; a u32 field keeps the low 32 bits, so a
  // 32-bit counter wraps the way a real one does.
  uint64_t at(const SimClock& clock) const;

 private:
  enum class Kind { kCounter, kUptime, kEpoch };
  DynamicValue(Kind k, uint64_t base, int64_t milliRate)
      : kind_(k), base_(base), milliRate_(milliRate) {}
  Kind kind_;
  uint64_t base_;
  int64_t milliRate_;
};

// One scenario object: fixed fields plus fields that follow time.
//
// The fixed part is an ordinary kx::message.  A dynamic field also holds a
// placeholder in that message, so an evaluated object keeps its field
// order whatever follows time.  Nested message fields that contain dynamic values are kept as
// nested templates.
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

// Reads the scenario form of one message: a JSON object of typed keys.
//
// Values are those of kx/message_json.h, plus, for u32 and u64 keys, the
// dynamic forms {"base": b, "rate": r} and {"clock": "uptime"|"epoch"}.
// Nested message objects may hold dynamic values too; arrays may not.

// Throws ScenarioError naming the offending key below at.
ObjectTemplate parseObject(const nlohmann::json& j, const JsonPath& at);
// Throws ScenarioError when j is no dynamic form.
DynamicValue parseDynamic(const nlohmann::json& j, const JsonPath& at);

// The repeat form of a list element: many rows from one template.
//
//   {"repeat": {"count": 10000, "from": 1, "template": {...}}}
//
// Row k (0-based) has the row number n = from + k (from defaults to 1).
// In the template, "${i}" inside any string becomes n, and an object
//   {"seq": start}            or {"seq": start, "step": s}
// becomes start + k * s (s defaults to 1).  start is a number, a dotted
// quad ("10.0.0.1" counts up through addresses, wrapping at 32 bits) or
// hex bytes ("02:00:00:00:00:01" counts up as one big-endian number of the
// same length).

// Enough for the paging benchmarks with room to spare, small enough that a
// typo cannot eat the machine's memory.
constexpr uint64_t kMaxRepeatCount = 100000;

// The objects of a repeat body (the value of "repeat"), row by row.  The
// fields that do not vary are parsed once and shared.  Throws
// ScenarioError; a problem in the template is reported at at.template.
std::vector<ObjectTemplate> expandRepeat(const nlohmann::json& body, const JsonPath& at);

// One row of a template: row number n, position k.  Throws ScenarioError
// for a malformed seq form (the location is that of the template).
nlohmann::json substituteRow(const nlohmann::json& tmpl, uint64_t n, uint64_t k,
                             const JsonPath& at);

}  // namespace sim

#endif  // SIM_OBJECT_TEMPLATE_H_
