#include "traps/trap_sender.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "engine/context.h"
#include "traps/create_trap.h"

namespace {

void fail(const char* what) {
  std::fprintf(stderr, "send_trap: %s: %s\n", what, std::strerror(errno));
}

// Steps after the socket is open; the caller closes it.
void sendOn(int fd, const TrapSettings& settings, const kx::message& event) {
  sockaddr_in target;
  std::memset(&target, 0, sizeof target);
  target.sin_family = AF_INET;
  target.sin_addr.s_addr = settings.target;
  target.sin_port = htons(settings.port);
  if (::connect(fd, reinterpret_cast<sockaddr*>(&target), sizeof target) != 0) {
    fail("failed to connect");
    return;
  }

  Context ctx(nullptr, 0);
  sockaddr_in local;
  socklen_t len = sizeof local;
  if (::getsockname(fd, reinterpret_cast<sockaddr*>(&local), &len) != 0) {
    fail("failed to getsockname");
    return;
  }
  if (!createTrap(ctx, event, local.sin_addr.s_addr, settings)) {
    std::fprintf(stderr, "send_trap: createTrap failed\n");
    return;
  }
  const std::vector<uint8_t>& bytes = ctx.out.bytes();
  if (::send(fd, bytes.data(), bytes.size(), 0) < 0) fail("failed to send trap packet");
}

}  // namespace

void sendTrap(const TrapSettings& settings, const kx::message& event) {
  if (!settings.enabled) {
    std::fprintf(stderr, "send_trap: snmp disabled\n");
    return;
  }
  if (settings.target == 0 || settings.community == kNoTrapCommunity) {
    std::fprintf(stderr, "send_trap: no trap sink specified\n");
    return;
  }
  const int fd = ::socket(AF_INET, SOCK_DGRAM, 0);
  if (fd < 0) {
    fail("failed to open UDP socket");
    return;
  }
  sendOn(fd, settings, event);
  ::close(fd);
}
