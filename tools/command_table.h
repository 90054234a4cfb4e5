// kxctl::CommandTable: the commands kxctl knows, in the order they are
// listed by --help.  Owns its commands.
#ifndef TOOLS_COMMAND_TABLE_H_
#define TOOLS_COMMAND_TABLE_H_

#include <memory>
#include <string>
#include <vector>

#include "tools/command.h"

namespace kxctl {

class CommandTable {
 public:
  // REQUIRES: no command of the same name was added before.
  void add(std::unique_ptr<Command> command);
  // Null when no command has that name.
  Command* find(const std::string& name) const;
  const std::vector<std::unique_ptr<Command>>& commands() const { return commands_; }

 private:
  std::vector<std::unique_ptr<Command>> commands_;
};

// The modules.
void addBusCommands(CommandTable& table);
void addWatchCommand(CommandTable& table);
void addStoreCommand(CommandTable& table);
void addSnmpCommand(CommandTable& table);

}  // namespace kxctl

#endif  // TOOLS_COMMAND_TABLE_H_
