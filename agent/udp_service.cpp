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
#include "engine/context.h"
#include "engine/create_reply.h"
#include "kx/platform.h"

unsigned char c_buf[kReceiveBufferSize];

namespace {

// Room for exactly one IP_PKTINFO record (24 bytes on the 32-bit board,
// more where cmsghdr is wider); the arrival address is the only ancillary
// data the socket asks for.
constexpr size_t kControlSize = CMSG_SPACE(sizeof(struct in_pktinfo));

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
  sockaddr_in peer;
  std::memset(&peer, 0, sizeof peer);
  alignas(cmsghdr) unsigned char control[kControlSize];
  iovec iov;
  iov.iov_base = c_buf;
  iov.iov_len = sizeof c_buf;

  msghdr hdr;
  std::memset(&hdr, 0, sizeof hdr);
  hdr.msg_name = &peer;
  hdr.msg_namelen = sizeof peer;
  hdr.msg_iov = &iov;
  hdr.msg_iovlen = 1;
  hdr.msg_control = control;
  hdr.msg_controllen = sizeof control;
  hdr.msg_flags = 0;

  const ssize_t got = ::recvmsg(fd, &hdr, 0);
  if (got < 0) return;

  Context ctx(c_buf, static_cast<unsigned>(got));
  ctx.v3Server = this;
  if (!createReply(ctx, static_cast<int>(peer.sin_addr.s_addr))) {
    if (ctx.droppedCommand == ber::kGetBulkRequest) {
      bulkHint.note(peer.sin_addr.s_addr, kx::getUptime());
    }
    return;
  }

  // The same header sends the reply back: the name is the sender, and the
  // IP_PKTINFO record received is passed back unchanged, so the reply
  // leaves from the local address the request arrived on.
  const std::vector<uint8_t>& reply = ctx.out.bytes();
  iov.iov_base = const_cast<uint8_t*>(reply.data());
  iov.iov_len = reply.size();
  ::sendmsg(fd, &hdr, 0);
}
