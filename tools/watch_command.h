// kxctl::WatchCommand: "watch PATH KIND [value=V] [mask=M] [--count N]"
// subscribes to events of KIND at PATH and prints each as one JSON line
// until SIGINT or SIGTERM (or N events).
//
// Once the subscription stands it says so on standard error ("kxctl:
// watching PATH for KIND"), so a script can start a watcher, wait for that
// line and only then cause the change it expects to see.
#ifndef TOOLS_WATCH_COMMAND_H_
#define TOOLS_WATCH_COMMAND_H_

#include <cstdint>
#include <string>
#include <vector>

#include "kx/message.h"
#include "tools/command.h"

namespace kxctl {

struct WatchRequest {
  std::vector<uint32_t> path;
  uint32_t kind = 0;
  kx::message filter;  // empty: every event
  uint64_t count = 0;  // 0: until interrupted
};

// Reads the words after "watch".  value=V alone filters with mask
// 0xffffffff; mask=M alone with value 0.  False with a reason in err.
bool parseWatchArgs(const std::vector<std::string>& args, WatchRequest& req, std::string& err);

class WatchCommand : public Command {
 public:
  std::string name() const override { return "watch"; }
  std::string synopsis() const override;
  std::string brief() const override { return "print events until interrupted"; }
  std::string help() const override;
  int run(Session& session, const std::vector<std::string>& args) override;
};

}  // namespace kxctl

#endif  // TOOLS_WATCH_COMMAND_H_
