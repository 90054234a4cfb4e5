// kxctl::App: the whole command line: global options, the command table,
// help, and dispatch to the command.
//
//   kxctl [--root DIR] [--timeout MS] COMMAND [ARGS ...]
//   kxctl --help | kxctl COMMAND --help
//
// Global options come before the command.  --root sets the root below which
// every platform path lives (kx::setRoot), else SARN_ROOT, else /.
#ifndef TOOLS_APP_H_
#define TOOLS_APP_H_

#include <ostream>
#include <string>
#include <vector>

#include "tools/command.h"
#include "tools/session.h"

namespace kxctl {

class App {
 public:
  // Registers every command module.  makeBus builds the bus client the
  // first time a command needs it.
  explicit App(Session::BusFactory makeBus);

  // args: the words after the program name.  Returns the exit status
  // (session.h); writes only to out and err.
  int run(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

  const CommandTable& commands() const { return table_; }
  // The text of "kxctl --help".
  std::string overview() const;

 private:
  Session::BusFactory makeBus_;
  CommandTable table_;
};

// The production bus: a LooperBusClient with the session's time-out.
Session::BusFactory looperBusFactory();

}  // namespace kxctl

#endif  // TOOLS_APP_H_
