// The SNMP service socket: opening, closing and answering one datagram;
// the hint logged after a dropped GetBulk.
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
  // a bound that keeps bus commands and timers served, in arrival order.
  // The replies go out together once all are answered, or before the agent
  // waits on the bus (beforeBlocking).
  batch_.restart();
  while (enabled && sock == fd) {
    const unsigned first = batch_.taken();
    const unsigned asked = RequestBatch::kCapacity - first;
    const unsigned got = batch_.receive(fd, asked);
    for (unsigned i = first; i < first + got; ++i) {
      // A SET that disabled the service closed the socket: what was read
      // with it goes unanswered, like what was still waiting in it.
      if (!enabled || sock != fd) return;
      Context& ctx = batch_.request(i);
      ctx.v3Server = this;
      const uint32_t peer = batch_.peer(i);
      const bool replied = createReply(ctx, static_cast<int>(peer));
      if (!replied && ctx.droppedCommand == ber::kGetBulkRequest) {
        bulkHint.note(peer, kx::getUptime());
      }
      batch_.done(i, replied);
    }
    if (got < asked || batch_.taken() == RequestBatch::kCapacity) break;  // drained, or full
  }
  if (enabled && sock == fd) batch_.flush(fd);
}

void SnmpLooper::beforeBlocking() {
  if (enabled && batch_.waiting() > 0) batch_.flush(sock);
}

bool BulkHint::note(uint32_t peer, uint32_t now) {
  Source* slot = nullptr;
  for (Source& s : sources_) {
    if (s.used && s.peer == peer) {
      if (quiet(s, now)) return false;
      slot = &s;
      break;
    }
  }
  for (size_t i = 0; !slot && i < kSources; ++i) {
    if (!quiet(sources_[i], now)) slot = &sources_[i];
  }
  if (!slot) return false;
  *slot = Source{peer, now, true};

  char address[INET_ADDRSTRLEN] = "?";
  inet_ntop(AF_INET, &peer, address, sizeof address);
  std::fprintf(stderr,
               "GetBulk from %s is not answered by this agent: walk with GetNext instead "
               "(snmpwalk, snmptable -CB; turn bulk requests off in pollers)\n",
               address);
  return true;
}
