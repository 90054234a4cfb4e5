// kxctl::BusCommand: a command that sends one request and prints its reply
// (call, get, set, getobj, setobj, add, remove, count).
//
// They differ only in their positional words and command code, so one
// class serves them all, each configured by a BusCommandSpec.
#ifndef TOOLS_BUS_COMMAND_H_
#define TOOLS_BUS_COMMAND_H_

#include <cstdint>
#include <string>
#include <vector>

#include "tools/command.h"

namespace kxctl {

struct BusCommandSpec {
  enum class Fields { kNone, kOptional, kRequired };
  const char* name;
  uint32_t code;        // the command sent; unused when takesCode
  bool takesCode;       // a CMD word follows PATH (call)
  bool takesId;         // an ID word follows PATH, sent in u32 0xfe0001
  Fields fields;        // key=value words after the positional ones
  const char* args;     // "PATH ID key=value ..."
  const char* brief;    // a few words for the overview
  const char* summary;  // the description of its help
};

// The text shared by the bus commands' help: paths, keys, values, output
// and exit status.
extern const char kBusHelpFooter[];

class BusCommand : public Command {
 public:
  explicit BusCommand(const BusCommandSpec& spec) : spec_(spec) {}

  std::string name() const override { return spec_.name; }
  std::string synopsis() const override;
  std::string brief() const override { return spec_.brief; }
  std::string help() const override;
  // Prints the reply as one JSON line on success; an error reply prints
  // "error 0x......: text" and gives kExitError.
  int run(Session& session, const std::vector<std::string>& args) override;

 private:
  BusCommandSpec spec_;
};

}  // namespace kxctl

#endif  // TOOLS_BUS_COMMAND_H_
