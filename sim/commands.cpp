#include "sim/commands.h"

#include "kx/message.h"
#include "kx/message_text.h"

namespace sim {

bool commandByName(const std::string& name, uint32_t& cmd) {
  static const struct {
    const char* name;
    uint32_t cmd;
  } kNames[] = {
      {"get", kx::kCmdGet},          {"set", kx::kCmdSet},       {"getall", kx::kCmdGetAll},
      {"getobj", kx::kCmdGetObj},    {"setobj", kx::kCmdSetObj}, {"add", kx::kCmdAddObj},
      {"remove", kx::kCmdRemoveObj}, {"count", kx::kCmdCount},   {"empty", kAnswerEmpty},
  };
  for (const auto& n : kNames) {
    if (name == n.name) {
      cmd = n.cmd;
      return true;
    }
  }
  return false;
}

bool parseCommand(const nlohmann::json& j, uint32_t& cmd) {
  if (j.is_number_unsigned()) {
    uint64_t v = j.get<uint64_t>();
    if (v > 0xffffffffu) return false;
    cmd = static_cast<uint32_t>(v);
    return true;
  }
  if (!j.is_string()) return false;
  const std::string& s = j.get_ref<const std::string&>();
  if (s.empty()) return false;
  if (s[0] >= '0' && s[0] <= '9') {
    uint64_t v;
    if (!kx::parseNumber(s, 0xffffffff, v)) return false;
    cmd = static_cast<uint32_t>(v);
    return true;
  }
  return commandByName(s, cmd);
}

}  // namespace sim
