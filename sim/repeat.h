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
#ifndef SIM_REPEAT_H_
#define SIM_REPEAT_H_

#include <cstdint>
#include <vector>

#include <nlohmann/json.hpp>

#include "sim/json_path.h"
#include "sim/object_template.h"

namespace sim {

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

#endif  // SIM_REPEAT_H_
