// Command codes as a scenario writes them: a number, hex text ("0xfe0004")
// or the name of a generic command.
#ifndef SIM_COMMANDS_H_
#define SIM_COMMANDS_H_

#include <cstdint>
#include <string>

#include <nlohmann/json.hpp>

namespace sim {

// The pseudo-command of the alias name "empty": answer with an empty reply.
constexpr uint32_t kAnswerEmpty = 0;

// Names: get, set, getall, getobj, setobj, add, remove, count, empty.
// False when the name is unknown.
bool commandByName(const std::string& name, uint32_t& cmd);
// A number, "0x..." / decimal text, or a name.  False when malformed.
bool parseCommand(const nlohmann::json& j, uint32_t& cmd);

}  // namespace sim

#endif  // SIM_COMMANDS_H_
