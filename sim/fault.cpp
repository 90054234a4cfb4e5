#include "sim/fault.h"

#include <algorithm>

#include "sim/commands.h"

namespace sim {
namespace {

Fault parseOne(const nlohmann::json& j, const JsonPath& at) {
  if (!j.is_object()) throw ScenarioError(at, "expected a fault object");
  Fault f;
  for (const auto& [key, v] : j.items()) {
    JsonPath here = at.key(key);
    if (key == "delay_ms") {
      if (!v.is_number_unsigned() || v.get<uint64_t>() > kMaxFaultDelayMs) {
        throw ScenarioError(here, "expected milliseconds from 0 to " +
                                      std::to_string(kMaxFaultDelayMs));
      }
      f.delayMs = v.get<unsigned>();
    } else if (key == "silent") {
      if (!v.is_boolean()) throw ScenarioError(here, "expected true or false");
      f.silent = v.get<bool>();
    } else if (key == "error") {
      if (!v.is_array() || v.size() != 2 || !v[1].is_string() ||
          !parseCommand(v[0], f.errorCode)) {
        throw ScenarioError(here, "expected [code, \"text\"]");
      }
      f.error = true;
      f.errorText = v[1].get<std::string>();
    } else if (key == "commands") {
      if (!v.is_array()) throw ScenarioError(here, "expected an array of commands");
      for (size_t i = 0; i < v.size(); ++i) {
        uint32_t cmd = 0;
        if (!parseCommand(v[i], cmd)) throw ScenarioError(here.index(i), "bad command");
        f.commands.push_back(cmd);
      }
    } else {
      throw ScenarioError(here, "unknown field (delay_ms, error, silent, commands)");
    }
  }
  if (f.silent && (f.error || f.delayMs)) {
    throw ScenarioError(at, "a silent fault answers nothing, so it takes no error or delay");
  }
  if (!f.silent && !f.error && f.delayMs == 0) {
    throw ScenarioError(at, "a fault needs delay_ms, error or silent");
  }
  return f;
}

}  // namespace

bool Fault::matches(uint32_t cmd) const {
  return commands.empty() || std::find(commands.begin(), commands.end(), cmd) != commands.end();
}

std::vector<Fault> parseFaults(const nlohmann::json& j, const JsonPath& at) {
  std::vector<Fault> out;
  if (j.is_array()) {
    for (size_t i = 0; i < j.size(); ++i) out.push_back(parseOne(j[i], at.index(i)));
  } else {
    out.push_back(parseOne(j, at));
  }
  return out;
}

const Fault* findFault(const std::vector<Fault>& faults, uint32_t cmd) {
  for (const Fault& f : faults) {
    if (f.matches(cmd)) return &f;
  }
  return nullptr;
}

}  // namespace sim
