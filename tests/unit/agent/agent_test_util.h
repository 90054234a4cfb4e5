// UDP ports for the agent's unit tests.
#ifndef TESTS_UNIT_AGENT_AGENT_TEST_UTIL_H_
#define TESTS_UNIT_AGENT_AGENT_TEST_UTIL_H_

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace agent_test {

inline sockaddr_in ipv4(const char* address, uint16_t port) {
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_port = htons(port);
  a.sin_addr.s_addr = inet_addr(address);
  return a;
}

// Binds a UDP socket without SO_REUSEADDR to port (0: any) on every
// address; the socket, or -1 when the port is taken.
inline int bindUdp(uint16_t port) {
  const int fd = ::socket(AF_INET, SOCK_DGRAM, 0);
  sockaddr_in a = ipv4("0.0.0.0", port);
  if (::bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) == 0) return fd;
  ::close(fd);
  return -1;
}

// A UDP port nobody uses right now.
inline uint16_t freePort() {
  const int fd = bindUdp(0);
  sockaddr_in a{};
  socklen_t len = sizeof a;
  ::getsockname(fd, reinterpret_cast<sockaddr*>(&a), &len);
  ::close(fd);
  return ntohs(a.sin_port);
}

}  // namespace agent_test

#endif  // TESTS_UNIT_AGENT_AGENT_TEST_UTIL_H_
