#include "sim/object_template.h"

#include <cmath>
#include <ctime>
#include <string>

#include "kx/message_json.h"
#include "kx/message_text.h"
#include "kx/platform.h"

namespace sim {

RealClock::RealClock() : start_(std::chrono::steady_clock::now()) {}

uint64_t RealClock::elapsedMs() const {
  auto d = std::chrono::steady_clock::now() - start_;
  return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(d).count());
}

uint32_t RealClock::uptime() const { return kx::getUptime(); }

uint32_t RealClock::epoch() const { return static_cast<uint32_t>(std::time(nullptr)); }

DynamicValue DynamicValue::counter(uint64_t base, int64_t milliRatePerSecond) {
  return DynamicValue(Kind::kCounter, base, milliRatePerSecond);
}

DynamicValue DynamicValue::uptime() { return DynamicValue(Kind::kUptime, 0, 0); }

DynamicValue DynamicValue::epoch() { return DynamicValue(Kind::kEpoch, 0, 0); }

uint64_t DynamicValue::at(const SimClock& clock) const {
  switch (kind_) {
    case Kind::kUptime:
      return clock.uptime();
    case Kind::kEpoch:
      return clock.epoch();
    case Kind::kCounter:
      break;
  }
  // 128-bit product: a fast counter running for months overflows 64 bits
  // before the division brings it back.
  __int128 grown = static_cast<__int128>(milliRate_) * static_cast<__int128>(clock.elapsedMs());
  grown /= 1000000;  // thousandths per second times milliseconds
  return base_ + static_cast<uint64_t>(grown);
}

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
    throw ScenarioError(at,
                        "expected a number or a dynamic value ({\"base\": b, \"rate\": r} or "
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

namespace {

std::string replaceRowNumber(const std::string& s, uint64_t n) {
  static const std::string kMark = "${i}";
  std::string out;
  size_t pos = 0;
  for (;;) {
    size_t hit = s.find(kMark, pos);
    if (hit == std::string::npos) break;
    out.append(s, pos, hit - pos);
    out += std::to_string(n);
    pos = hit + kMark.size();
  }
  out.append(s, pos, std::string::npos);
  return out;
}

// start + k * step over a big-endian byte string, wrapping at its length.
void addBigEndian(std::vector<uint8_t>& bytes, uint64_t add) {
  unsigned carry = 0;
  for (size_t i = bytes.size(); i-- > 0;) {
    unsigned sum = bytes[i] + static_cast<unsigned>(add & 0xff) + carry;
    bytes[i] = static_cast<uint8_t>(sum);
    carry = sum >> 8;
    add >>= 8;
  }
}

nlohmann::json sequenceValue(const nlohmann::json& form, uint64_t k, const JsonPath& at) {
  int64_t step = 1;
  for (const auto& [key, v] : form.items()) {
    if (key == "step") {
      if (!v.is_number_integer()) throw ScenarioError(at.key(key), "expected a whole number");
      step = v.get<int64_t>();
    } else if (key != "seq") {
      throw ScenarioError(at.key(key), "unknown field (seq and step)");
    }
  }
  uint64_t offset = k * static_cast<uint64_t>(step);  // wraps like the values it feeds
  const auto& start = form["seq"];
  if (start.is_number_unsigned()) return start.get<uint64_t>() + offset;
  if (start.is_string()) {
    const std::string& s = start.get_ref<const std::string&>();
    uint32_t quad = 0;
    if (kx::parseDottedQuad(s, quad))
      return kx::dottedQuadText(quad + static_cast<uint32_t>(offset));
    kx::message::raw bytes;
    if (!s.empty() && kx::parseHex(s, bytes)) {
      addBigEndian(bytes, offset);
      return kx::hexText(bytes);
    }
  }
  throw ScenarioError(at.key("seq"), "a seq start is a number, a dotted quad or hex bytes");
}

// True when v differs from row to row.
bool varies(const nlohmann::json& v) {
  if (v.is_string()) return v.get_ref<const std::string&>().find("${i}") != std::string::npos;
  if (v.is_object() && v.contains("seq")) return true;
  if (v.is_structured()) {
    for (const auto& item : v) {
      if (varies(item)) return true;
    }
  }
  return false;
}

}  // namespace

nlohmann::json substituteRow(const nlohmann::json& tmpl, uint64_t n, uint64_t k,
                             const JsonPath& at) {
  if (tmpl.is_string()) return replaceRowNumber(tmpl.get_ref<const std::string&>(), n);
  if (tmpl.is_array()) {
    nlohmann::json out = nlohmann::json::array();
    for (size_t i = 0; i < tmpl.size(); ++i)
      out.push_back(substituteRow(tmpl[i], n, k, at.index(i)));
    return out;
  }
  if (tmpl.is_object()) {
    if (tmpl.contains("seq")) return sequenceValue(tmpl, k, at);
    nlohmann::json out = nlohmann::json::object();
    for (const auto& [key, v] : tmpl.items()) out[key] = substituteRow(v, n, k, at.key(key));
    return out;
  }
  return tmpl;
}

std::vector<ObjectTemplate> expandRepeat(const nlohmann::json& body, const JsonPath& at) {
  if (!body.is_object()) throw ScenarioError(at, "expected {\"count\": n, \"template\": {...}}");
  uint64_t count = 0;
  uint64_t from = 1;
  const nlohmann::json* tmpl = nullptr;
  bool haveCount = false;
  for (const auto& [key, v] : body.items()) {
    if (key == "count") {
      if (!v.is_number_unsigned() || v.get<uint64_t>() > kMaxRepeatCount) {
        throw ScenarioError(at.key(key),
                            "expected a count from 0 to " + std::to_string(kMaxRepeatCount));
      }
      count = v.get<uint64_t>();
      haveCount = true;
    } else if (key == "from") {
      if (!v.is_number_unsigned()) throw ScenarioError(at.key(key), "expected a number 0 or above");
      from = v.get<uint64_t>();
    } else if (key == "template") {
      if (!v.is_object()) throw ScenarioError(at.key(key), "expected an object of typed keys");
      tmpl = &v;
    } else {
      throw ScenarioError(at.key(key), "unknown field (count, from and template)");
    }
  }
  if (!haveCount) throw ScenarioError(at, "count is missing");
  if (!tmpl) throw ScenarioError(at, "template is missing");
  JsonPath where = at.key("template");
  nlohmann::json fixed = nlohmann::json::object();
  nlohmann::json varying = nlohmann::json::object();
  for (const auto& [key, v] : tmpl->items()) (varies(v) ? varying : fixed)[key] = v;
  ObjectTemplate shared = parseObject(fixed, where);
  std::vector<ObjectTemplate> rows;
  rows.reserve(count);
  for (uint64_t k = 0; k < count; ++k) {
    ObjectTemplate row = shared;
    row.absorb(parseObject(substituteRow(varying, from + k, k, where), where));
    rows.push_back(std::move(row));
  }
  return rows;
}

}  // namespace sim
