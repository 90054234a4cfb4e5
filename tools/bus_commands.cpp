// The generic bus commands module.
#include <memory>

#include "tools/bus_command.h"
#include "tools/command_table.h"
#include "tools/getall_command.h"

namespace kxctl {

namespace {

using F = BusCommandSpec::Fields;

const BusCommandSpec kSpecs[] = {
    {"call", 0, true, false, F::kOptional, "PATH CMD [key=value ...]", "send any command",
     "Sends command CMD with the given fields to PATH and prints the reply."},
    {"get", kx::kCmdGet, false, false, F::kNone, "PATH", "read a record",
     "Reads the record at PATH (get record, 0xfe000d)."},
    {"set", kx::kCmdSet, false, false, F::kRequired, "PATH key=value ...", "change a record",
     "Changes fields of the record at PATH (set record, 0xfe000e); fields not given\n"
     "keep their values."},
    {"getobj", kx::kCmdGetObj, false, true, F::kNone, "PATH ID", "read one object of a list",
     "Reads object ID of the list at PATH (get object, 0xfe0002)."},
    {"setobj", kx::kCmdSetObj, false, true, F::kRequired, "PATH ID key=value ...",
     "change one object of a list",
     "Changes fields of object ID of the list at PATH (set object, 0xfe0003)."},
    {"add", kx::kCmdAddObj, false, false, F::kOptional, "PATH [key=value ...]",
     "add an object to a list",
     "Adds an object to the list at PATH (add object, 0xfe0005); the reply usually\n"
     "holds the new object's id in 0x08fe0001."},
    {"remove", kx::kCmdRemoveObj, false, true, F::kNone, "PATH ID", "remove an object from a list",
     "Removes object ID from the list at PATH (remove object, 0xfe0006)."},
    {"count", kx::kCmdCount, false, false, F::kNone, "PATH", "count the objects of a list",
     "Counts the objects of the list at PATH (count, 0xfe0015); the reply holds the\n"
     "number in 0x08fe0014."},
};

}  // namespace

void addBusCommands(CommandTable& table) {
  for (const BusCommandSpec& spec : kSpecs) {
    table.add(std::make_unique<BusCommand>(spec));
    if (spec.code == kx::kCmdSet) table.add(std::make_unique<GetAllCommand>());
  }
}

}  // namespace kxctl
