// kx::Handler: a bus endpoint addressed by a path [service, handler].
//
// A request's command field (0xff0007) selects one of the command slots;
// each slot returns the reply message.  The defaults answer an error reply
// "unknown command" (cmdGetObj and cmdGetCount have useful defaults, see
// below).  Subscriptions to a handler are kept by the handler itself:
// notifyChange sends the changed object to every subscriber whose filter
// matches.
#ifndef KX_HANDLER_H_
#define KX_HANDLER_H_

#include <cstdint>
#include <string>
#include <vector>

#include "kx/message.h"

namespace kx {

class Looper;

// The error code of the reply to a request whose path names no handler.
constexpr uint32_t kErrNoHandler = 0xff0105;

// The undo notice that sendUndo sends to the configuration history after a
// change: one-way, so a missing history costs nothing.  Its command, the
// message that undoes the change, and what changed, for people ("changed
// snmp settings").
constexpr uint32_t kCmdUndo = 0xfe0020;
constexpr uint32_t kUndoMessage = 0x28fe0021;
constexpr uint32_t kUndoText = 0x20fe0022;
// The configuration history's service id.
constexpr uint32_t kHistoryService = 2;

class Handler {
 public:
  Handler();
  virtual ~Handler();
  Handler(const Handler&) = delete;
  Handler& operator=(const Handler&) = delete;

  // Dispatches a request by its command field and returns the reply.
  // Subscribe/unsubscribe requests are handled here and not passed on.
  // connection identifies the bus connection the request came on (events
  // for a subscription go back on it); -1 for in-process delivery.
  message handle(const message& req, int connection = -1);

  virtual message cmdGet(const message& msg);
  virtual message cmdSet(const message& msg);
  // Default: getObject(id), or an error 0xfe0004 when it reports the
  // object gone (u32 0xfe0013 = 1).
  virtual message cmdGetObj(const message& msg, uint32_t id);
  virtual message cmdSetObj(const message& msg, uint32_t id);
  // start: the request's continuation mark 0xfe0003 (0xffffffff when
  // absent); count: the wanted page size 0xfe0016 (0 when absent).
  virtual message cmdGetAll(const message& msg, uint32_t start, uint32_t count);
  virtual message cmdAddObj(const message& msg);
  virtual message cmdRemoveObj(const message& msg, uint32_t id);
  virtual message cmdGetCount(const message& msg);
  virtual message cmdUnknown(const message& msg, uint32_t code);
  // The current state of object id, used for change events.  Default: a
  // message {0xfe0001 = id, 0xfe0013 = 1}.
  virtual message getObject(uint32_t id);

  // One-way send of msg with its command set to cmd; the destination is
  // msg's path 0xff0001.  Failures are logged, never reported.
  void sendCmd(message msg, uint32_t cmd);
  // Sends {command, undo, text} to the configuration history (service 2);
  // silently dropped when no service 2 runs.
  void sendUndo(const message& msg, const message& undo, const std::string& text);
  // Sends getObject(id), merged over nothing else, with command = the
  // subscriber's kind and sender path = this handler's path, to every
  // subscriber whose filter matches the object.  msg is the request that
  // caused the change (unused beyond logging).
  void notifyChange(uint32_t id, const message& msg);
  // Asks the handler at path to send events of kind to this handler,
  // filtered by filter {u32 0x10002 = v, u32 0x10003 = m}: an object is
  // delivered when (object's u32 0x10002 AND m) == v.  An empty filter
  // delivers everything.  Returns false when the request failed.
  bool subscribe(const std::vector<uint32_t>& path, uint32_t kind, const message& filter);
  bool unsubscribe(const std::vector<uint32_t>& path, uint32_t kind, const message& filter);

  // Set by Looper::addHandler.
  Looper* looper() const { return looper_; }
  std::vector<uint32_t> path() const { return path_; }
  // Drops the subscriptions that arrived on a connection that closed.
  void dropSubscriber(int connection);
  // True when a subscription arrived on connection.
  bool hasSubscriber(int connection) const;
  size_t subscriberCount() const { return subscribers_.size(); }

 private:
  friend class Looper;
  struct Subscriber {
    int connection;
    std::vector<uint32_t> path;
    uint32_t kind;
    message filter;
  };
  Looper* looper_ = nullptr;
  std::vector<uint32_t> path_;
  std::vector<Subscriber> subscribers_;
};

}  // namespace kx

#endif  // KX_HANDLER_H_
