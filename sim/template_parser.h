// Reads the scenario form of one message: a JSON object of typed keys.
//
// Values are those of kx/message_json.h, plus, for u32 and u64 keys, the
// dynamic forms {"base": b, "rate": r} and {"clock": "uptime"|"epoch"}.
// Nested message objects may hold dynamic values too; arrays may not.
#ifndef SIM_TEMPLATE_PARSER_H_
#define SIM_TEMPLATE_PARSER_H_

#include <nlohmann/json.hpp>

#include "sim/dynamic_value.h"
#include "sim/json_path.h"
#include "sim/object_template.h"

namespace sim {

// Throws ScenarioError naming the offending key below at.
ObjectTemplate parseObject(const nlohmann::json& j, const JsonPath& at);
// Throws ScenarioError when j is no dynamic form.
DynamicValue parseDynamic(const nlohmann::json& j, const JsonPath& at);

}  // namespace sim

#endif  // SIM_TEMPLATE_PARSER_H_
