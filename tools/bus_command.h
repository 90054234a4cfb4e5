// kxctl::BusCommand: a command that sends one request and prints its reply
// (call, get, set, getobj, setobj, add, remove, count).
//
// They differ only in their positional words and command code, so one
// class serves them all, each configured by a BusCommandSpec.  Beside them
// getall, which reads a whole paged list (ListPager).
#ifndef TOOLS_BUS_COMMAND_H_
#define TOOLS_BUS_COMMAND_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "kx/message.h"
#include "tools/command.h"
#include "tools/session.h"

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

// kxctl::ListPager: reads a whole list, page by page.
//
// A get-all request (0xfe0004) answers one page of objects in 0xa8fe0002;
// while more remain the reply carries a continuation mark in u32 0xfe0003,
// which the next request echoes.  The pager follows the marks until a reply
// has none.

// A service that keeps handing out new marks is broken; stop after this
// many objects rather than fill memory.
constexpr size_t kMaxListObjects = 4 * 1000 * 1000;

class ListPager {
 public:
  // pageSize: asked of the service in u32 0xfe0016; 0 leaves it to the
  // service.  The pager does not own bus.
  ListPager(BusClient& bus, std::vector<uint32_t> path, uint32_t pageSize);

  // Appends every object of the list to objects, in order.  Returns false
  // with an error reply in error when a page is refused, a continuation
  // mark repeats (the service would loop forever) or the list exceeds
  // kMaxListObjects; objects then holds the pages read so far.
  bool fetch(std::vector<kx::message>& objects, kx::message& error);

  // Requests sent by the last fetch.
  size_t pages() const { return pages_; }

 private:
  BusClient& bus_;
  std::vector<uint32_t> path_;
  uint32_t pageSize_;
  size_t pages_ = 0;
};

// kxctl::GetAllCommand: "getall PATH [--page N]" reads a whole paged list
// (ListPager) and prints it as one JSON array of objects, in list order,
// on one line.
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

#endif  // TOOLS_BUS_COMMAND_H_
