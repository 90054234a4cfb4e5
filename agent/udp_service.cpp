// The SNMP service socket: opening, closing and answering one datagram.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "agent/snmp_looper.h"
#include "asn1/ber.h"
#include "engine/create_reply.h"
#include "kx/clock.h"

unsigned char c_buf[kReceiveBufferSize];

namespace {

// Readiness the service socket waits for.
constexpr int kReadable = POLLIN;

// What an operator can do about the usual reasons the port can't be had.
const char* remedy(int error) {
  switch (error) {
    case EADDRINUSE:
      return " (another program holds it: stop it, or choose another --port)";
    case EACCES:
      return " (ports below 1024 need root or CAP_NET_BIND_SERVICE; or choose another --port)";
    default:
      return "";
  }
}

}  // namespace

void SnmpLooper::enable() {
  if (enabled) return;
  setupLeave(0);

  int fd = ::socket(AF_INET, SOCK_DGRAM, 0);
  int why = errno;
  const int on = 1;
  // Options first, then the check: a failed socket makes both calls fail
  // harmlessly.
  ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  ::setsockopt(fd, IPPROTO_IP, IP_PKTINFO, &on, sizeof on);
  if (fd >= 0) {
    sockaddr_in addr;
    std::memset(&addr, 0, sizeof addr);
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_ANY);
    addr.sin_port = htons(servicePort);
    if (::bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0) {
      sock = fd;
      addSocket(fd, this, &SnmpLooper::receive, kReadable);
      enabled = true;
      return;
    }
    why = errno;
    ::close(fd);
  }
  std::fprintf(stderr, "cannot create service connection\n");
  std::fprintf(stderr, "snmpd: cannot open UDP 0.0.0.0 port %u: %s%s\n", servicePort,
               std::strerror(why), remedy(why));
}

void SnmpLooper::disable() {
  if (!enabled) return;
  removeSocket(sock);
  ::close(sock);
  sock = 0;
  enabled = false;
  setupLeave(kIdleLeaveMs);
}

void SnmpLooper::receive(int fd, int) {
  // Every datagram waiting is answered before the loop polls again, up to
  // a bound that keeps bus commands and timers served.  The replies go out
  // together when the socket has nothing more (or before a bus wait: see
  // beforeBlocking).  Each request is decoded and answered before the next
  // is read into the one receive buffer.
  replies_.restart();
  for (unsigned n = 0; n < ReplyQueue::kCapacity && enabled && sock == fd; ++n) {
    const ssize_t got = ::recvmsg(fd, replies_.header(c_buf, sizeof c_buf), MSG_DONTWAIT);
    if (got < 0) break;  // nothing more waiting (or an error: the same)
    Context& ctx = replies_.context();
    ctx.reset(c_buf, static_cast<unsigned>(got));
    ctx.v3Server = this;
    const uint32_t peer = replies_.peer();
    if (createReply(ctx, static_cast<int>(peer))) {
      replies_.push();
    } else if (ctx.droppedCommand == ber::kGetBulkRequest) {
      bulkHint.note(peer, kx::getUptime());
    }
  }
  // A socket closed meanwhile (by a SET that disabled the service) takes
  // no replies.
  if (enabled && sock == fd) replies_.flush(fd);
}

void SnmpLooper::beforeBlocking() {
  if (enabled && replies_.waiting() > 0) replies_.flush(sock);
}
