// kxctl::EventPrinter: the handler that receives subscribed events and
// prints each as one JSON line (eventJson), flushed at once.
//
// An event's command is its kind, so it may land in any command slot; every
// slot prints and answers an empty message.
#ifndef TOOLS_EVENT_PRINTER_H_
#define TOOLS_EVENT_PRINTER_H_

#include <cstdint>
#include <functional>
#include <ostream>

#include "kx/handler.h"

namespace kxctl {

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

#endif  // TOOLS_EVENT_PRINTER_H_
