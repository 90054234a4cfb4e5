#include "sim/template_parser.h"

#include <cmath>
#include <string>

#include "kx/message_json.h"

namespace sim {
namespace {

// Rates beyond this are typos, not traffic: 10^12 per second is already a
// 8 Tbit/s octet counter.
constexpr double kMaxRate = 1e12;

}  // namespace

DynamicValue parseDynamic(const nlohmann::json& j, const JsonPath& at) {
  if (j.contains("clock")) {
    if (j.size() != 1) throw ScenarioError(at, "a clock value has no other fields");
    const auto& c = j["clock"];
    if (c == "uptime") return DynamicValue::uptime();
    if (c == "epoch") return DynamicValue::epoch();
    throw ScenarioError(at.key("clock"), "unknown clock (uptime or epoch)");
  }
  if (!j.contains("base") && !j.contains("rate")) {
    throw ScenarioError(at, "expected a number or a dynamic value ({\"base\": b, \"rate\": r} or "
                            "{\"clock\": \"uptime\"|\"epoch\"})");
  }
  uint64_t base = 0;
  double rate = 0;
  for (const auto& [k, v] : j.items()) {
    if (k == "base") {
      if (!v.is_number_unsigned()) throw ScenarioError(at.key(k), "expected a number 0 or above");
      base = v.get<uint64_t>();
    } else if (k == "rate") {
      if (!v.is_number()) throw ScenarioError(at.key(k), "expected a number per second");
      rate = v.get<double>();
      if (!std::isfinite(rate) || std::fabs(rate) > kMaxRate) {
        throw ScenarioError(at.key(k), "rate out of range");
      }
    } else {
      throw ScenarioError(at.key(k), "unknown field (base and rate, or clock)");
    }
  }
  return DynamicValue::counter(base, static_cast<int64_t>(std::llround(rate * 1000)));
}

ObjectTemplate parseObject(const nlohmann::json& j, const JsonPath& at) {
  if (!j.is_object()) throw ScenarioError(at, "expected an object of typed keys");
  ObjectTemplate out;
  for (const auto& [k, v] : j.items()) {
    // Built only when needed: scale scenarios parse hundreds of thousands
    // of fields.
    auto here = [&at, &k = k]() { return at.key(k); };
    uint32_t key = 0;
    if (!kx::parseKey(k, key)) throw ScenarioError(here(), "bad typed key");
    uint32_t type = kx::keyType(key);
    if ((type == kx::kTypeU32 || type == kx::kTypeU64) && v.is_object()) {
      out.setDynamic(key, parseDynamic(v, here()));
    } else if (type == kx::kTypeMessage && v.is_object()) {
      ObjectTemplate nested = parseObject(v, here());
      if (nested.hasDynamic()) {
        out.setNested(key, nested);
      } else {
        out.fixed().setMessage(key, nested.fixed());
      }
    } else if (type == (kx::kArrayBit | kx::kTypeMessage) && v.is_array()) {
      std::vector<kx::message> items;
      for (size_t i = 0; i < v.size(); ++i) {
        ObjectTemplate item = parseObject(v[i], here().index(i));
        if (item.hasDynamic()) {
          throw ScenarioError(here().index(i), "dynamic values are not allowed inside arrays");
        }
        items.push_back(item.fixed());
      }
      out.fixed().setMessageArray(key, items);
    } else {
      std::string err;
      if (!kx::setFieldFromJson(out.fixed(), key, v, err)) throw ScenarioError(here(), err);
    }
  }
  return out;
}

}  // namespace sim
