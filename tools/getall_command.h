// kxctl::GetAllCommand: "getall PATH [--page N]" reads a whole paged list
// (ListPager) and prints it as one JSON array of objects, in list order,
// on one line.
#ifndef TOOLS_GETALL_COMMAND_H_
#define TOOLS_GETALL_COMMAND_H_

#include <string>
#include <vector>

#include "tools/command.h"

namespace kxctl {

class GetAllCommand : public Command {
 public:
  std::string name() const override { return "getall"; }
  std::string synopsis() const override;
  std::string brief() const override { return "read a whole paged list"; }
  std::string help() const override;
  // Prints nothing on standard output when any page fails.
  int run(Session& session, const std::vector<std::string>& args) override;
};

}  // namespace kxctl

#endif  // TOOLS_GETALL_COMMAND_H_
