#include "tools/getall_command.h"

#include "tools/arg_parse.h"
#include "tools/bus_command.h"
#include "tools/list_pager.h"
#include "tools/output.h"

namespace kxctl {

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
