// kxctl::Command: one top-level word of the command line ("get",
// "getall", "store", "snmp", ...).
//
// A group of related commands (the generic bus commands, the store
// commands, later the operator's "snmp" commands) is a module: a function
// that adds its commands to a CommandTable.
#ifndef TOOLS_COMMAND_H_
#define TOOLS_COMMAND_H_

#include <memory>
#include <string>
#include <vector>

#include "tools/session.h"

namespace kxctl {

class Command {
 public:
  virtual ~Command() = default;

  // The word that selects the command.
  virtual std::string name() const = 0;
  // The command's words for the overview ("getobj PATH ID").
  virtual std::string synopsis() const = 0;
  // A few words saying what it does, for the overview.
  virtual std::string brief() const = 0;
  // The full text printed by "kxctl <name> --help", ending with a newline.
  virtual std::string help() const = 0;
  // The help for these words (the ones after the name, --help among them):
  // a command with sub-commands describes the one named.  Default: help().
  virtual std::string helpFor(const std::vector<std::string>& args) const {
    (void)args;
    return help();
  }
  // Runs with the words after the name (--help already handled).  Returns
  // an exit status of session.h.
  virtual int run(Session& session, const std::vector<std::string>& args) = 0;
};

// kxctl::CommandTable: the commands kxctl knows, in the order they are
// listed by --help.  Owns its commands.
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

#endif  // TOOLS_COMMAND_H_
