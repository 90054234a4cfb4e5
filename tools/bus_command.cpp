#include "tools/bus_command.h"

#include <memory>
#include <set>
#include <string>
#include <utility>

#include "tools/arg_parse.h"
#include "tools/command.h"
#include "tools/output.h"

namespace kxctl {

const char kBusHelpFooter[] =
    "\n"
    "PATH     a bus path: service[,handler], numbers separated by commas (20,0 or 34)\n"
    "ID, CMD  decimal (15) or hex (0xfe0004)\n"
    "key      a typed key in hex: type bits and field id (0x20000002 is string field 2)\n"
    "value    bare for scalars: 15, 192.0.2.1 (u32), true, text, 4c:5e:0c:00:00:01 (raw);\n"
    "         JSON for arrays and messages: 0x88000013=[0,1] 0x28000020={\"0x08000001\":5}\n"
    "\n"
    "The reply prints on standard output as one line of JSON with typed keys, without\n"
    "the transport's own fields.  Exit status: 0 done; 1 the service answered with an\n"
    "error (printed as \"error 0x......: text\" on standard error), did not answer\n"
    "within the time-out (--timeout, default 6000 ms) or does not exist; 2 the command\n"
    "line is wrong.\n";

std::string BusCommand::synopsis() const { return std::string(spec_.name) + " " + spec_.args; }

std::string BusCommand::help() const {
  return "Usage: kxctl [--root DIR] [--timeout MS] " + synopsis() + "\n\n" + spec_.summary + "\n" +
         kBusHelpFooter;
}

int BusCommand::run(Session& session, const std::vector<std::string>& args) {
  const std::string name = spec_.name;
  size_t positional = 1 + (spec_.takesCode ? 1 : 0) + (spec_.takesId ? 1 : 0);
  if (args.size() < positional) {
    return session.usage(name, std::string("missing arguments; expected ") + spec_.args);
  }
  if (spec_.fields == BusCommandSpec::Fields::kNone && args.size() > positional) {
    return session.usage(name, "unexpected argument '" + args[positional] + "'");
  }
  if (spec_.fields == BusCommandSpec::Fields::kRequired && args.size() == positional) {
    return session.usage(name, "nothing to send; give at least one key=value");
  }

  std::string err;
  std::vector<uint32_t> path;
  if (!parsePath(args[0], path, err)) return session.usage(name, err);
  size_t next = 1;
  uint32_t code = spec_.code;
  if (spec_.takesCode && !parseU32(args[next++], code, err)) {
    return session.usage(name, "bad CMD: " + err);
  }
  uint32_t id = 0;
  if (spec_.takesId && !parseU32(args[next++], id, err)) {
    return session.usage(name, "bad ID: " + err);
  }
  kx::message req;
  std::vector<std::string> fieldWords(args.begin() + next, args.end());
  if (!parseFields(fieldWords, req, err)) return session.usage(name, err);
  // The positional id wins over a 0x08fe0001 among the fields.
  if (spec_.takesId) req.setU32(kx::kObjId, id);
  req.setDstPath(path);
  req.setCommand(code);

  kx::message reply = session.bus().exchange(req);
  if (kx::isError(reply)) return session.errorReply(reply);
  writeJsonLine(session.out(), replyJson(reply));
  return kExitOk;
}

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

ListPager::ListPager(BusClient& bus, std::vector<uint32_t> path, uint32_t pageSize)
    : bus_(bus), path_(std::move(path)), pageSize_(pageSize) {}

bool ListPager::fetch(std::vector<kx::message>& objects, kx::message& error) {
  pages_ = 0;
  std::set<uint32_t> seenMarks;
  bool haveMark = false;
  uint32_t mark = 0;
  size_t total = 0;
  while (true) {
    kx::message req;
    req.setDstPath(path_);
    req.setCommand(kx::kCmdGetAll);
    if (pageSize_ > 0) req.setU32(kx::kPageSize, pageSize_);
    if (haveMark) req.setU32(kx::kContinue, mark);
    kx::message reply = bus_.exchange(req);
    ++pages_;
    if (kx::isError(reply)) {
      error = std::move(reply);
      return false;
    }
    if (const std::vector<kx::message>* page = reply.findMessageArray(kx::kObjects)) {
      total += page->size();
      if (total > kMaxListObjects) {
        error = kx::errorMsg(
            kx::kErrBadMessage,
            "the list has more than " + std::to_string(kMaxListObjects) + " objects; giving up");
        return false;
      }
      objects.insert(objects.end(), page->begin(), page->end());
    }
    if (!reply.has(kx::kContinue)) return true;
    mark = reply.getU32(kx::kContinue);
    haveMark = true;
    if (!seenMarks.insert(mark).second) {
      error = kx::errorMsg(kx::kErrBadMessage,
                           "the list repeats continuation mark " + std::to_string(mark));
      return false;
    }
  }
}

std::string GetAllCommand::synopsis() const { return "getall PATH [--page N]"; }

std::string GetAllCommand::help() const {
  return "Usage: kxctl [--root DIR] [--timeout MS] " + synopsis() +
         "\n\n"
         "Reads every object of the list at PATH with get-all requests (0xfe0004),\n"
         "following the continuation marks (u32 0xfe0003) page after page, and prints\n"
         "one JSON array holding all objects in list order: [{...}, {...}].  An empty\n"
         "list prints [].  --page N asks the service for N objects per page (u32\n"
         "0xfe0016); without it the service chooses.  The time-out applies to each page.\n" +
         std::string(kBusHelpFooter);
}

int GetAllCommand::run(Session& session, const std::vector<std::string>& args) {
  std::string err;
  std::vector<uint32_t> path;
  bool havePath = false;
  uint32_t pageSize = 0;
  for (size_t i = 0; i < args.size(); ++i) {
    if (args[i] == "--page") {
      if (i + 1 == args.size()) return session.usage(name(), "--page needs a number");
      if (!parseU32(args[++i], pageSize, err) || pageSize == 0) {
        return session.usage(name(), "bad page size: " + (err.empty() ? "0" : err));
      }
    } else if (!havePath) {
      if (!parsePath(args[i], path, err)) return session.usage(name(), err);
      havePath = true;
    } else {
      return session.usage(name(), "unexpected argument '" + args[i] + "'");
    }
  }
  if (!havePath) return session.usage(name(), "missing PATH");

  ListPager pager(session.bus(), path, pageSize);
  std::vector<kx::message> objects;
  kx::message error;
  if (!pager.fetch(objects, error)) return session.errorReply(error);
  writeJsonLine(session.out(), listJson(objects));
  return kExitOk;
}

}  // namespace kxctl
