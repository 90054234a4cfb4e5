#include "tools/app.h"

#include <algorithm>
#include <utility>

#include "kx/platform.h"
#include "sarn_version.h"
#include "tools/arg_parse.h"
#include "tools/session.h"

namespace kxctl {

namespace {

// Where the overview's descriptions start: after the longest synopsis.
constexpr size_t kBriefColumn = 52;

bool isHelp(const std::string& w) { return w == "--help" || w == "-h"; }

int topUsage(std::ostream& err, const std::string& problem) {
  err << "kxctl: " << problem << "\nTry 'kxctl --help'." << std::endl;
  return kExitUsage;
}

// Splits "--name=value" or takes the value from the next word.
bool optionValue(const std::vector<std::string>& args, size_t& i, const std::string& name,
                 std::string& value, bool& matched) {
  const std::string& w = args[i];
  matched = false;
  if (w == name) {
    matched = true;
    if (i + 1 == args.size()) return false;
    value = args[++i];
    return true;
  }
  if (w.compare(0, name.size() + 1, name + "=") == 0) {
    matched = true;
    value = w.substr(name.size() + 1);
    return true;
  }
  return true;
}

}  // namespace

App::App(Session::BusFactory makeBus) : makeBus_(std::move(makeBus)) {
  addBusCommands(table_);
  addWatchCommand(table_);
  addStoreCommand(table_);
  addSnmpCommand(table_);
}

std::string App::overview() const {
  std::string s =
      "Usage: kxctl [--root DIR] [--timeout MS] COMMAND [ARGS ...]\n"
      "       kxctl --help | --version\n"
      "\n"
      "Sends commands to the services of the platform bus and prints their replies\n"
      "as JSON; edits persistent stores offline; shows and changes the SNMP agent's\n"
      "settings and communities by name (snmp).\n"
      "\n"
      "Commands:\n";
  for (const auto& c : table_.commands()) {
    std::string line = "  " + c->synopsis();
    line.resize(std::max(line.size() + 2, kBriefColumn), ' ');
    s += line + c->brief() + "\n";
  }
  s += "\n"
       "Options:\n"
       "  --root DIR    root below which the bus directory and stores live\n"
       "                (default: $SARN_ROOT, else /)\n"
       "  --timeout MS  how long to wait for each reply (default 6000)\n"
       "  --help        this text; 'kxctl COMMAND --help' describes a command\n"
       "  --version     the version\n"
       "\n"
       "Each kxctl process is bus service 0x40000000 + its process id, so several may\n"
       "run at once.  Exit status: 0 done, 1 refused or no answer, 2 bad command line.\n";
  return s;
}

int App::run(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  Options options;
  size_t i = 0;
  for (; i < args.size() && args[i].compare(0, 1, "-") == 0; ++i) {
    if (isHelp(args[i])) {
      out << overview() << std::flush;
      return kExitOk;
    }
    if (args[i] == "--version") {
      out << "kxctl (sarn-snmp) " SARN_VERSION << std::endl;
      return kExitOk;
    }
    std::string value;
    bool matched;
    if (!optionValue(args, i, "--root", value, matched)) {
      return topUsage(err, "--root needs a directory");
    }
    if (matched) {
      if (value.empty()) return topUsage(err, "--root needs a directory");
      options.root = value;
      continue;
    }
    if (!optionValue(args, i, "--timeout", value, matched)) {
      return topUsage(err, "--timeout needs a number of milliseconds");
    }
    if (matched) {
      uint32_t ms;
      std::string why;
      if (!parseU32(value, ms, why) || ms == 0 || ms > static_cast<uint32_t>(kMaxTimeoutMs)) {
        return topUsage(err, "bad --timeout '" + value + "': expected 1 to " +
                                 std::to_string(kMaxTimeoutMs) + " milliseconds");
      }
      options.timeoutMs = static_cast<int>(ms);
      continue;
    }
    return topUsage(err, "unknown option '" + args[i] + "'");
  }
  if (i == args.size()) return topUsage(err, "missing command");
  Command* command = table_.find(args[i]);
  if (!command) return topUsage(err, "unknown command '" + args[i] + "'");
  std::vector<std::string> rest(args.begin() + i + 1, args.end());
  for (const std::string& w : rest) {
    if (isHelp(w)) {
      out << command->helpFor(rest) << std::flush;
      return kExitOk;
    }
  }
  if (!options.root.empty()) kx::setRoot(options.root);
  Session session(options, out, err, makeBus_);
  return command->run(session, rest);
}

Session::BusFactory looperBusFactory() {
  return [](const Options& o) -> std::unique_ptr<BusClient> {
    return std::make_unique<LooperBusClient>(o.timeoutMs);
  };
}

}  // namespace kxctl
