#include "sim/repeat.h"

#include <string>

#include "kx/message_text.h"
#include "sim/template_parser.h"

namespace sim {
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
