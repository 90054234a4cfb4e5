#include "tools/bus_command.h"

#include "tools/arg_parse.h"
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

}  // namespace kxctl
