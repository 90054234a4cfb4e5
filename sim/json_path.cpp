#include "sim/json_path.h"

namespace sim {
namespace {

bool isKeyword(const std::string& k) {
  if (k.empty()) return false;
  for (char c : k) {
    if (!((c >= 'a' && c <= 'z') || c == '_')) return false;
  }
  return true;
}

}  // namespace

JsonPath JsonPath::key(const std::string& k) const {
  JsonPath p(*this);
  if (!p.text_.empty()) p.text_ += '.';
  if (isKeyword(k)) {
    p.text_ += k;
  } else {
    p.text_ += '"';
    for (char c : k) {
      if (c == '"' || c == '\\') p.text_ += '\\';
      p.text_ += c;
    }
    p.text_ += '"';
  }
  return p;
}

JsonPath JsonPath::index(size_t i) const {
  JsonPath p(*this);
  p.text_ += '[' + std::to_string(i) + ']';
  return p;
}

ScenarioError::ScenarioError(const JsonPath& at, const std::string& problem)
    : std::runtime_error(at.text().empty() ? problem : at.text() + ": " + problem),
      where_(at.text()),
      problem_(problem) {}

}  // namespace sim
