// How kxctl prints what the bus answers, and the handler that prints the
// events of a subscription.
//
// Every reply, event and list prints as one line of JSON whose keys are
// typed keys in hex ("0x08fe0001": 1), so a script can read kxctl's
// standard output line by line.  Strings that are not valid UTF-8 print
// with U+FFFD in place of the bad bytes instead of failing.
#ifndef TOOLS_OUTPUT_H_
#define TOOLS_OUTPUT_H_

#include <cstdint>
#include <functional>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string>
#include <vector>

#include "kx/handler.h"
#include "kx/message.h"

namespace kxctl {

// A reply without the transport's bookkeeping: every field with an id in
// 0xff0000-0xffffff (paths, command, request id, reply and error fields)
// is left out.
nlohmann::json replyJson(const kx::message& reply);

// An event as a subscriber receives it: keeps the command (the event kind)
// and the sender path (the publisher), drops the other transport fields.
nlohmann::json eventJson(const kx::message& event);

// A whole list as getall prints it: a JSON array of the objects in order.
nlohmann::json listJson(const std::vector<kx::message>& objects);

// Writes j compactly on one line and flushes, so a reader on a pipe sees
// each line as soon as it is complete.
void writeJsonLine(std::ostream& out, const nlohmann::json& j);

// "error 0xfe0006: <text>" for an error reply.
std::string errorLine(const kx::message& reply);

// kxctl::EventPrinter: the handler that receives subscribed events and
// prints each as one JSON line (eventJson), flushed at once.
//
// An event's command is its kind, so it may land in any command slot; every
// slot prints and answers an empty message.
class EventPrinter : public kx::Handler {
 public:
  // limit: after that many events onLimit runs (once); 0 = no limit.
  // The printer does not own out.
  EventPrinter(std::ostream& out, uint64_t limit, std::function<void()> onLimit);

  kx::message cmdGet(const kx::message& msg) override { return print(msg); }
  kx::message cmdSet(const kx::message& msg) override { return print(msg); }
  kx::message cmdGetObj(const kx::message& msg, uint32_t) override { return print(msg); }
  kx::message cmdSetObj(const kx::message& msg, uint32_t) override { return print(msg); }
  kx::message cmdGetAll(const kx::message& msg, uint32_t, uint32_t) override { return print(msg); }
  kx::message cmdAddObj(const kx::message& msg) override { return print(msg); }
  kx::message cmdRemoveObj(const kx::message& msg, uint32_t) override { return print(msg); }
  kx::message cmdGetCount(const kx::message& msg) override { return print(msg); }
  kx::message cmdUnknown(const kx::message& msg, uint32_t) override { return print(msg); }

  uint64_t printed() const { return printed_; }

 private:
  kx::message print(const kx::message& event);
  std::ostream& out_;
  uint64_t limit_;
  std::function<void()> onLimit_;
  uint64_t printed_ = 0;
};

}  // namespace kxctl

#endif  // TOOLS_OUTPUT_H_
