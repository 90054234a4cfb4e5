#include "tools/command.h"

#include <cassert>
#include <utility>

namespace kxctl {

void CommandTable::add(std::unique_ptr<Command> command) {
  assert(find(command->name()) == nullptr);
  commands_.push_back(std::move(command));
}

Command* CommandTable::find(const std::string& name) const {
  for (const auto& c : commands_) {
    if (c->name() == name) return c.get();
  }
  return nullptr;
}

}  // namespace kxctl
