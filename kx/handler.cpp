#include "kx/handler.h"

#include <cstdio>

#include "kx/looper.h"
#include "kx/runner.h"
#include "kx/transport.h"

namespace kx {

namespace {

// Subscribing is a short exchange with a local service; a publisher that
// does not answer in this time is treated as absent.
constexpr int kSubscribeTimeoutMs = 2000;

// Upper bound on the pages the default count walks, against a list whose
// continuation marks never end.
constexpr int kMaxCountPages = 1 << 16;

constexpr uint32_t kNoStart = 0xffffffff;

message unknownCommand() { return errorMsg(kErrUnknownCmd, "unknown command"); }

bool filterMatches(const message& filter, const message& obj) {
  if (filter.empty()) return true;
  const uint32_t v = filter.getU32(kFilterValue);
  const uint32_t m = filter.getU32(kFilterMask);
  return (obj.getU32(kFilterValue) & m) == v;
}

}  // namespace

Handler::Handler() = default;

Handler::~Handler() {
  // Unregister, so the looper never dispatches to a destroyed handler.
  if (looper_ && static_cast<Handler*>(looper_) != this && path_.size() == 2 &&
      looper_->findHandler(path_[0], path_[1]) == this)
    looper_->removeHandler(path_[0], path_[1]);
}

message Handler::handle(const message& req, int connection) {
  const uint32_t cmd = req.command();
  switch (cmd) {
    case kCmdGet:
      return cmdGet(req);
    case kCmdSet:
      return cmdSet(req);
    case kCmdGetObj:
      return cmdGetObj(req, req.getU32(kObjId));
    case kCmdSetObj:
      return cmdSetObj(req, req.getU32(kObjId));
    case kCmdGetAll:
      return cmdGetAll(req, req.getU32(kContinue, kNoStart), req.getU32(kPageSize, 0));
    case kCmdAddObj:
      return cmdAddObj(req);
    case kCmdRemoveObj:
      return cmdRemoveObj(req, req.getU32(kObjId));
    case kCmdCount:
      return cmdGetCount(req);
    case kCmdSubscribe: {
      std::vector<uint32_t> who = req.getU32Array(kSrcPath);
      if (who.empty()) return errorMsg(kErrMissing, "missing subscriber path");
      Subscriber s{connection, who, req.getU32(kSubKind), req.getMessage(kSubFilter)};
      for (const Subscriber& old : subscribers_)
        if (old.connection == s.connection && old.path == s.path && old.kind == s.kind &&
            old.filter == s.filter)
          return message();  // already subscribed
      subscribers_.push_back(std::move(s));
      return message();
    }
    case kCmdUnsubscribe: {
      std::vector<uint32_t> who = req.getU32Array(kSrcPath);
      const uint32_t kind = req.getU32(kSubKind);
      const message filter = req.getMessage(kSubFilter);
      for (auto it = subscribers_.begin(); it != subscribers_.end();) {
        if (it->path == who && it->kind == kind && it->filter == filter)
          it = subscribers_.erase(it);
        else
          ++it;
      }
      return message();
    }
    default:
      return cmdUnknown(req, cmd);
  }
}

message Handler::cmdGet(const message&) { return unknownCommand(); }
message Handler::cmdSet(const message&) { return unknownCommand(); }

message Handler::cmdGetObj(const message&, uint32_t id) {
  message obj = getObject(id);
  if (obj.getU32(kObjGone) == 1) return errorMsg(kErrNotFound, "");
  return obj;
}

message Handler::cmdSetObj(const message&, uint32_t) { return unknownCommand(); }
message Handler::cmdGetAll(const message&, uint32_t, uint32_t) { return unknownCommand(); }
message Handler::cmdAddObj(const message&) { return unknownCommand(); }
message Handler::cmdRemoveObj(const message&, uint32_t) { return unknownCommand(); }

message Handler::cmdGetCount(const message& msg) {
  // Counts what get-all lists, page by page.
  uint32_t start = kNoStart;
  uint32_t count = 0;
  for (int page = 0; page < kMaxCountPages; ++page) {
    message reply = cmdGetAll(msg, start, 0);
    if (isError(reply)) return reply;
    if (const std::vector<message>* objs = reply.findMessageArray(kObjects))
      count += static_cast<uint32_t>(objs->size());
    if (!reply.has(kContinue)) break;
    start = reply.getU32(kContinue);
  }
  message r;
  r.setU32(kCount, count);
  return r;
}

message Handler::cmdUnknown(const message&, uint32_t) { return unknownCommand(); }

message Handler::getObject(uint32_t id) {
  message m;
  m.setU32(kObjId, id);
  m.setU32(kObjGone, 1);
  return m;
}

namespace {

// The looper a handler talks through: its own, else the process's.
Looper* busFor(Looper* own) { return own ? own : getLooper(); }

}  // namespace

void Handler::sendCmd(message msg, uint32_t cmd) {
  msg.setCommand(cmd);
  Looper* l = busFor(looper_);
  if (!l) {
    std::fprintf(stderr, "kx: no looper to send command 0x%x to %s\n", cmd,
                 pathText(msg.dstPath()).c_str());
    return;
  }
  l->transport_->send(msg, path_.empty() ? l->path() : path_);
}

void Handler::sendUndo(const message&, const message& undo, const std::string& text) {
  Looper* l = busFor(looper_);
  if (!l) return;
  message m;
  m.setCommand(kCmdUndo);
  m.setDstPath({kHistoryService});
  m.setMessage(kUndoMessage, undo);
  m.setString(kUndoText, text);
  l->transport_->send(m, path_.empty() ? l->path() : path_, true);
}

void Handler::notifyChange(uint32_t id, const message&) {
  if (subscribers_.empty()) return;
  Looper* l = busFor(looper_);
  if (!l) return;
  const message obj = getObject(id);
  // Sending may drop subscribers (a closed connection), so walk a copy.
  const std::vector<Subscriber> subs = subscribers_;
  for (const Subscriber& s : subs) {
    if (!filterMatches(s.filter, obj)) continue;
    message ev = obj;
    ev.setCommand(s.kind);
    ev.setU32Array(kSrcPath, path_.empty() ? l->path() : path_);
    ev.setDstPath(s.path);
    // A connection that fails is closed, which drops its subscribers.
    l->transport_->sendOn(s.connection, ev);
  }
}

bool Handler::subscribe(const std::vector<uint32_t>& path, uint32_t kind, const message& filter) {
  Looper* l = busFor(looper_);
  if (!l) {
    std::fprintf(stderr, "kx: no looper to subscribe to %s\n", pathText(path).c_str());
    return false;
  }
  message req;
  req.setCommand(kCmdSubscribe);
  req.setDstPath(path);
  req.setU32(kSubKind, kind);
  req.setMessage(kSubFilter, filter);
  return !isError(
      l->transport_->exchange(req, kSubscribeTimeoutMs, path_.empty() ? l->path() : path_));
}

bool Handler::unsubscribe(const std::vector<uint32_t>& path, uint32_t kind, const message& filter) {
  Looper* l = busFor(looper_);
  if (!l) return false;
  message req;
  req.setCommand(kCmdUnsubscribe);
  req.setDstPath(path);
  req.setU32(kSubKind, kind);
  req.setMessage(kSubFilter, filter);
  return !isError(
      l->transport_->exchange(req, kSubscribeTimeoutMs, path_.empty() ? l->path() : path_));
}

void Handler::dropSubscriber(int connection) {
  if (connection < 0) return;
  for (auto it = subscribers_.begin(); it != subscribers_.end();) {
    if (it->connection == connection)
      it = subscribers_.erase(it);
    else
      ++it;
  }
}

bool Handler::hasSubscriber(int connection) const {
  for (const Subscriber& s : subscribers_)
    if (s.connection == connection) return true;
  return false;
}

}  // namespace kx
