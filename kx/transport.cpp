#include "kx/transport.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <tuple>

#include "kx/handler.h"
#include "kx/looper.h"
#include "kx/platform.h"

namespace kx {

namespace {

// Packets read per readiness report of one connection, so a busy peer
// cannot starve the others (a 1 MiB message is 17 packets).
constexpr int kMaxPacketsPerWake = 64;

// How long a listener rests after accept failed for want of resources.
constexpr unsigned kAcceptPauseMs = 500;

// Messages waiting for dispatch; a peer flooding a long exchange with
// events cannot exhaust memory.
constexpr size_t kMaxQueued = 4096;

void stripTransportFields(message& m) {
  m.erase(kRequestId);
  m.erase(kReplyFlag);
}

bool isAbsentError(int err) { return err == ENOENT || err == ECONNREFUSED; }

// The address of the socket file at path; false when the path is too long
// for one.
bool socketAddress(const std::string& path, sockaddr_un& addr) {
  addr = sockaddr_un{};
  addr.sun_family = AF_UNIX;
  if (path.size() >= sizeof addr.sun_path) return false;
  std::memcpy(addr.sun_path, path.c_str(), path.size() + 1);
  return true;
}

// msg's wire bytes into bytes; false, with a line naming what and to whom,
// when they exceed the size limit.
bool encodeWithin(const message& msg, const char* what, const std::string& to, std::string& bytes) {
  bytes = msg.encode();
  if (bytes.size() <= kMaxMessageSize) return true;
  std::fprintf(stderr, "kx: %s of %zu bytes for %s is too large; not sent\n", what, bytes.size(),
               to.c_str());
  return false;
}

// True when a live process accepts connections on addr.  A socket file
// whose process died refuses them and may be replaced.
bool servedElsewhere(const sockaddr_un& addr) {
  int probe = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (probe < 0) return false;
  int r;
  do {
    r = ::connect(probe, reinterpret_cast<const sockaddr*>(&addr), sizeof addr);
  } while (r != 0 && errno == EINTR);
  // EAGAIN: its backlog is full, so it is alive but busy.
  const bool live = r == 0 || errno == EAGAIN;
  ::close(probe);
  return live;
}

const char* failure(SendStatus s) {
  switch (s) {
    case SendStatus::kTimeout:
      return "timeout";
    case SendStatus::kStopped:
      return "the process is stopping";
    default:
      return "peer gone";
  }
}

message stopped(const std::vector<uint32_t>& dst, uint32_t cmd) {
  std::fprintf(stderr, "kx: request to %s abandoned: the process is stopping (command 0x%x)\n",
               pathText(dst).c_str(), cmd);
  return errorMsg(kErrStopping, "stopping");
}

message timedOut(const std::vector<uint32_t>& dst, int timeoutMs, uint32_t cmd) {
  std::fprintf(stderr, "kx: no reply from %s within %d ms (command 0x%x)\n", pathText(dst).c_str(),
               timeoutMs, cmd);
  return errorMsg(kErrTimeout, "timeout");
}

void logNoService(uint32_t service, int err) {
  std::fprintf(stderr, "kx: no service %u on the bus (%s)\n", service, std::strerror(err));
}

}  // namespace

std::string pathText(const std::vector<uint32_t>& path) {
  std::string s = "[";
  for (size_t i = 0; i < path.size(); ++i) {
    if (i) s += ',';
    s += std::to_string(path[i]);
  }
  return s + "]";
}

Transport::Transport(Looper& looper) : looper_(looper), rx_(new uint8_t[frame::kMaxPacket]) {}

Transport::~Transport() {
  for (auto& c : conns_) {
    looper_.removeSocket(c.first);
    ::close(c.first);
  }
  for (auto& l : listeners_) {
    looper_.removeTimerFn(this, pauseKey(l.first));
    looper_.removeSocket(l.second.fd);
    ::close(l.second.fd);
    // A forked child that inherited this object must not remove the
    // parent's socket file.
    if (l.second.pid == getpid()) ::unlink(l.second.path.c_str());
  }
}

std::string Transport::socketPath(uint32_t service) {
  return rootPath(kBusDir) + "/" + std::to_string(service);
}

bool Transport::served(uint32_t service) {
  sockaddr_un addr;
  return socketAddress(socketPath(service), addr) && servedElsewhere(addr);
}

bool Transport::listen(uint32_t service) {
  if (listening(service)) return true;
  const std::string dir = rootPath(kBusDir);
  if (!makeDirs(dir)) {
    std::fprintf(stderr, "kx: cannot create the bus directory %s: %s\n", dir.c_str(),
                 std::strerror(errno));
    return false;
  }
  const std::string path = socketPath(service);
  sockaddr_un addr;
  if (!socketAddress(path, addr)) {
    std::fprintf(stderr, "kx: cannot listen for service %u: socket path %s is too long\n", service,
                 path.c_str());
    return false;
  }
  int fd = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (fd < 0) {
    std::fprintf(stderr, "kx: cannot listen for service %u: %s\n", service, std::strerror(errno));
    return false;
  }
  if (servedElsewhere(addr)) {
    std::fprintf(stderr, "kx: cannot listen for service %u: another process serves %s\n", service,
                 path.c_str());
    ::close(fd);
    return false;
  }
  // A file left by a process that died is stale: replace it.
  ::unlink(path.c_str());
  if (::bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0 ||
      ::chmod(path.c_str(), 0660) != 0 || ::listen(fd, SOMAXCONN) != 0) {
    std::fprintf(stderr, "kx: cannot listen for service %u at %s: %s\n", service, path.c_str(),
                 std::strerror(errno));
    ::close(fd);
    return false;
  }
  listeners_[service] = Listener{fd, path, static_cast<int>(getpid())};
  watchListener(fd, service);
  return true;
}

void Transport::watchListener(int fd, uint32_t service) {
  looper_.addSocketFn(
      fd, [this, fd, service](int, int) { onAccept(fd, service); }, POLLIN);
}

std::string Transport::pauseKey(uint32_t service) {
  return "accept-pause:" + std::to_string(service);
}

void Transport::onAccept(int listenFd, uint32_t service) {
  for (;;) {
    int fd = ::accept4(listenFd, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd < 0) {
      if (errno == EINTR) continue;
      if (errno == EAGAIN || errno == EWOULDBLOCK) return;
      // Out of descriptors, typically: the pending connection stays and the
      // listener stays readable, so pause it instead of spinning.
      std::fprintf(stderr, "kx: accept for service %u failed: %s\n", service, std::strerror(errno));
      looper_.removeSocket(listenFd);
      looper_.addTimerFn(
          this, pauseKey(service), [this, listenFd, service] { watchListener(listenFd, service); },
          kAcceptPauseMs);
      return;
    }
    if (accepted_ >= kMaxAcceptedConnections) closeIdlest();
    const uint64_t serial = ++nextSerial_;
    conns_.emplace(fd, Connection{fd, serial, false, service, FrameAssembler(), ++useClock_});
    ++accepted_;
    looper_.addSocketFn(
        fd, [this, fd, serial](int, int ev) { onReadable(fd, serial, ev); }, POLLIN);
  }
}

bool Transport::hasSubscriptions(int fd) const {
  if (looper_.hasSubscriber(fd)) return true;
  for (const auto& h : looper_.handlers_)
    if (h.second != &looper_ && h.second->hasSubscriber(fd)) return true;
  return false;
}

void Transport::closeIdlest() {
  const Connection* victim = nullptr;
  auto rank = [this](const Connection& c) {
    return std::make_tuple(c.assembler.inProgress() || hasSubscriptions(c.fd), c.lastUsed);
  };
  for (const auto& entry : conns_) {
    const Connection& c = entry.second;
    if (!c.outgoing && (!victim || rank(c) < rank(*victim))) victim = &c;
  }
  if (!victim) return;
  std::fprintf(stderr, "kx: more than %zu client connections; closed the one idle longest (%s)\n",
               kMaxAcceptedConnections, describe(*victim).c_str());
  closeConnection(victim->fd);
}

Transport::Connection* Transport::find(int fd, uint64_t serial) {
  auto it = conns_.find(fd);
  if (it == conns_.end() || it->second.serial != serial) return nullptr;
  return &it->second;
}

Transport::Connection* Transport::outgoing(uint32_t service, int* err) {
  auto o = outgoing_.find(service);
  if (o != outgoing_.end()) return &conns_.at(o->second);
  sockaddr_un addr;
  if (!socketAddress(socketPath(service), addr)) {
    *err = ENAMETOOLONG;
    return nullptr;
  }
  int fd = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (fd < 0) {
    *err = errno;
    return nullptr;
  }
  int r;
  do {
    r = ::connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr);
  } while (r != 0 && errno == EINTR);
  if (r != 0) {
    *err = errno;
    ::close(fd);
    return nullptr;
  }
  const uint64_t serial = ++nextSerial_;
  auto it = conns_.emplace(fd, Connection{fd, serial, true, service, FrameAssembler(), ++useClock_})
                .first;
  outgoing_[service] = fd;
  // Events of subscriptions and late replies come back on this connection.
  looper_.addSocketFn(
      fd, [this, fd, serial](int, int ev) { onReadable(fd, serial, ev); }, POLLIN);
  return &it->second;
}

const Transport::Connection* Transport::sendTo(uint32_t service, const std::string& bytes,
                                               uint64_t deadlineMs, SendStatus* status, int* err) {
  for (int attempt = 0;; ++attempt) {
    Connection* c = outgoing(service, err);
    if (!c) return nullptr;
    *status = sendFramed(c->fd, bytes, deadlineMs, &looper_);
    if (*status == SendStatus::kOk) return c;
    closeConnection(c->fd);
    // The cached connection outlived the service's previous process.
    if (*status != SendStatus::kPeerGone || attempt > 0) return nullptr;
  }
}

std::string Transport::describe(const Connection& c) const {
  return (c.outgoing ? "service " : "a client of service ") + std::to_string(c.service);
}

void Transport::closeConnection(int fd) {
  auto it = conns_.find(fd);
  if (it == conns_.end()) return;
  if (wait_ && wait_->fd == fd && wait_->serial == it->second.serial) wait_->gone = true;
  if (it->second.outgoing) {
    auto o = outgoing_.find(it->second.service);
    if (o != outgoing_.end() && o->second == fd) outgoing_.erase(o);
  }
  if (!it->second.outgoing) --accepted_;
  looper_.removeSocket(fd);
  ::close(fd);
  conns_.erase(it);
  // Subscriptions made over this connection have nobody to go to any more.
  looper_.dropSubscriber(fd);
  for (auto& h : looper_.handlers_)
    if (h.second != &looper_) h.second->dropSubscriber(fd);
}

void Transport::onReadable(int fd, uint64_t serial, int /*revents*/) {
  // A hang-up or error shows up as end of file or an error from recv.
  readPackets(fd, serial, kMaxPacketsPerWake);
}

bool Transport::readPackets(int fd, uint64_t serial, int maxPackets) {
  for (int i = 0; i < maxPackets; ++i) {
    Connection* c = find(fd, serial);
    if (!c) return false;
    ssize_t n = ::recv(fd, rx_.get(), frame::kMaxPacket, MSG_DONTWAIT | MSG_TRUNC);
    if (n < 0) {
      if (errno == EINTR) continue;
      if (errno == EAGAIN || errno == EWOULDBLOCK) return true;
      std::fprintf(stderr, "kx: connection to %s failed: %s\n", describe(*c).c_str(),
                   std::strerror(errno));
      closeConnection(fd);
      return false;
    }
    if (n == 0) {  // the peer closed (no empty packets are ever sent)
      closeConnection(fd);
      return false;
    }
    c->lastUsed = ++useClock_;
    FrameAssembler::Result r = FrameAssembler::Result::kBad;
    if (static_cast<size_t>(n) <= frame::kMaxPacket) r = c->assembler.feed(rx_.get(), n);
    if (r == FrameAssembler::Result::kPartial) continue;
    message m;
    if (r == FrameAssembler::Result::kBad ||
        !message::decode(c->assembler.message().data(), c->assembler.message().size(), m)) {
      std::fprintf(stderr, "kx: undecodable message from %s; connection dropped\n",
                   describe(*c).c_str());
      if (wait_ && wait_->fd == fd && wait_->serial == serial) wait_->bad = true;
      closeConnection(fd);
      return false;
    }
    onMessage(fd, serial, std::move(m));
    if (wait_ && wait_->done) return true;
  }
  return true;
}

void Transport::onMessage(int fd, uint64_t serial, message&& msg) {
  if (msg.getBool(kReplyFlag)) {
    // Only the waiting exchange takes replies; a reply that comes after
    // its exchange timed out has nobody to go to.
    if (wait_ && wait_->fd == fd && wait_->serial == serial &&
        msg.getU32(kRequestId) == wait_->requestId) {
      wait_->reply = std::move(msg);
      wait_->done = true;
    }
    return;
  }
  // While an exchange waits, and behind anything already queued, requests
  // and events wait their turn: handlers are never re-entered.
  if (wait_ || !queue_.empty()) {
    enqueue(Incoming{fd, serial, std::move(msg)});
    return;
  }
  dispatch(Incoming{fd, serial, std::move(msg)});
}

void Transport::dispatch(Incoming in) {
  message& msg = in.msg;
  const bool wantsReply = msg.has(kRequestId);
  const uint32_t requestId = msg.getU32(kRequestId);
  msg.erase(kRequestId);
  std::vector<uint32_t> dst = msg.dstPath();
  if (dst.empty() && in.fd >= 0) {
    if (Connection* c = find(in.fd, in.serial); c && !c->outgoing) dst = {c->service};
  }
  // A queued request may outlive its connection, and the fd number may
  // belong to a new connection by now.
  int connection = in.fd;
  if (in.fd >= 0 && !find(in.fd, in.serial)) {
    if (msg.command() == kCmdSubscribe) return;  // nobody to send events to
    connection = -1;
  }
  Handler* h = dst.empty() ? nullptr : looper_.findHandler(dst[0], dst.size() > 1 ? dst[1] : 0);
  message reply;
  if (h) {
    reply = h->handle(msg, connection);
  } else {
    std::fprintf(stderr, "kx: no handler for %s (command 0x%x)\n", pathText(dst).c_str(),
                 msg.command());
    reply = errorMsg(kErrNoHandler, "no such handler");
  }
  if (!wantsReply) return;
  Connection* c = find(in.fd, in.serial);
  if (!c) return;  // the requester went away meanwhile
  reply.setU32(kRequestId, requestId);
  reply.setBool(kReplyFlag, true);
  writeMessage(*c, reply, looper_.nowMs() + kSendTimeoutMs);
}

bool Transport::enqueue(Incoming in) {
  if (queue_.size() >= kMaxQueued) {
    std::fprintf(stderr, "kx: too many queued messages; command 0x%x to %s dropped\n",
                 in.msg.command(), pathText(in.msg.dstPath()).c_str());
    return false;
  }
  queue_.push_back(std::move(in));
  return true;
}

void Transport::dispatchQueued() {
  // A handler that runs a nested loop must not start a second drain.
  if (dispatching_ || wait_) return;
  dispatching_ = true;
  // A handler's exchange sets wait_ only for its own duration; whatever it
  // queues is picked up by this loop afterwards.
  while (!queue_.empty()) {
    Incoming in = std::move(queue_.front());
    queue_.pop_front();
    dispatch(std::move(in));
  }
  dispatching_ = false;
}

bool Transport::writeMessage(Connection& c, const message& msg, uint64_t deadlineMs) {
  std::string bytes;
  if (!encodeWithin(msg, "message", describe(c), bytes)) return false;
  c.lastUsed = ++useClock_;
  SendStatus s = sendFramed(c.fd, bytes, deadlineMs, &looper_);
  if (s == SendStatus::kOk) return true;
  std::fprintf(stderr, "kx: sending to %s failed (%s); connection dropped\n", describe(c).c_str(),
               failure(s));
  closeConnection(c.fd);
  return false;
}

message Transport::localExchange(message msg) {
  msg.erase(kRequestId);
  std::vector<uint32_t> dst = msg.dstPath();
  Handler* h = looper_.findHandler(dst[0], dst.size() > 1 ? dst[1] : 0);
  if (!h) {
    std::fprintf(stderr, "kx: no handler for %s (command 0x%x)\n", pathText(dst).c_str(),
                 msg.command());
    return errorMsg(kErrNoHandler, "no such handler");
  }
  message reply = h->handle(msg, -1);
  stripTransportFields(reply);
  return reply;
}

message Transport::exchange(message& msg, int timeoutMs, const std::vector<uint32_t>& srcPath) {
  ++exchangesSent_;
  if (++nextRequestId_ == 0) ++nextRequestId_;  // 0 would read as "no request id"
  const uint32_t requestId = nextRequestId_;
  msg.setU32Array(kSrcPath, srcPath);
  msg.setU32(kRequestId, requestId);
  const std::vector<uint32_t> dst = msg.dstPath();
  const uint32_t cmd = msg.command();
  if (dst.empty()) {
    std::fprintf(stderr, "kx: request without a destination path (command 0x%x)\n", cmd);
    return errorMsg(kErrNoService, "no destination path");
  }
  if (listening(dst[0])) return localExchange(msg);
  looper_.beforeBlocking();

  std::string bytes;
  if (!encodeWithin(msg, "request", pathText(dst), bytes)) {
    return errorMsg(kErrBadMessage, "message too large");
  }
  // A process that is stopping waits for nobody.
  if (looper_.stopping()) return stopped(dst, cmd);
  const uint64_t deadline = looper_.nowMs() + static_cast<uint64_t>(timeoutMs > 0 ? timeoutMs : 0);
  int err = 0;
  SendStatus s = SendStatus::kOk;
  const Connection* c = sendTo(dst[0], bytes, deadline, &s, &err);
  if (!c && err != 0) {
    logNoService(dst[0], err);
    return errorMsg(kErrNoService, "no such service");
  }
  if (!c && s == SendStatus::kStopped) return stopped(dst, cmd);
  if (!c && s == SendStatus::kTimeout) return timedOut(dst, timeoutMs, cmd);
  if (!c) {
    std::fprintf(stderr, "kx: service %u went away (command 0x%x)\n", dst[0], cmd);
    return errorMsg(kErrPeerGone, "peer gone");
  }
  const int fd = c->fd;
  const uint64_t serial = c->serial;
  Wait w;
  w.fd = fd;
  w.serial = serial;
  w.requestId = requestId;
  Wait* outer = wait_;
  wait_ = &w;
  while (!w.done && !w.gone && !w.bad && !looper_.stopping()) {
    const uint64_t now = looper_.nowMs();
    if (now >= deadline) break;
    const uint64_t left = deadline - now;
    // Nothing to read (time-out, signal, stop request): the loop re-checks.
    if (looper_.waitFd(fd, POLLIN, static_cast<int>(left > 1u << 30 ? 1u << 30 : left)) > 0)
      readPackets(fd, serial, kMaxPacketsPerWake);
  }
  wait_ = outer;

  if (w.done) {
    stripTransportFields(w.reply);
    return std::move(w.reply);
  }
  if (w.bad) return errorMsg(kErrBadMessage, "undecodable reply");  // logged when read
  if (w.gone) {
    std::fprintf(stderr, "kx: service %u closed the connection before replying (command 0x%x)\n",
                 dst[0], cmd);
    return errorMsg(kErrPeerGone, "peer gone");
  }
  return looper_.stopping() ? stopped(dst, cmd) : timedOut(dst, timeoutMs, cmd);
}

bool Transport::send(const message& msg, const std::vector<uint32_t>& srcPath, bool quietIfAbsent) {
  const std::vector<uint32_t> dst = msg.dstPath();
  if (dst.empty()) {
    std::fprintf(stderr, "kx: message without a destination path (command 0x%x)\n", msg.command());
    return false;
  }
  message m = msg;
  if (!m.has(kSrcPath)) m.setU32Array(kSrcPath, srcPath);
  stripTransportFields(m);  // no request id: the receiver sends no reply
  if (listening(dst[0])) {
    return enqueue(Incoming{-1, 0, std::move(m)});
  }
  looper_.beforeBlocking();
  std::string bytes;
  if (!encodeWithin(m, "message", pathText(dst), bytes)) return false;
  int err = 0;
  SendStatus s = SendStatus::kOk;
  if (sendTo(dst[0], bytes, looper_.nowMs() + kSendTimeoutMs, &s, &err)) return true;
  if (err == 0) {
    std::fprintf(stderr, "kx: sending to service %u failed (%s)\n", dst[0], failure(s));
  } else if (!(quietIfAbsent && isAbsentError(err))) {
    logNoService(dst[0], err);
  }
  return false;
}

bool Transport::sendOn(int connection, const message& msg) {
  if (connection < 0) return send(msg, {});
  auto it = conns_.find(connection);
  if (it == conns_.end()) return false;
  message m = msg;
  stripTransportFields(m);
  return writeMessage(it->second, m, looper_.nowMs() + kSendTimeoutMs);
}

}  // namespace kx
