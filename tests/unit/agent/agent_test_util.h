// Helpers shared by the agent's unit tests: a private root directory per
// test and capture of the standard streams.
#ifndef TESTS_UNIT_AGENT_AGENT_TEST_UTIL_H_
#define TESTS_UNIT_AGENT_AGENT_TEST_UTIL_H_

#include <arpa/inet.h>
#include <netinet/in.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "kx/platform.h"

namespace agent_test {

// A fresh directory used as the platform root while the object lives, so
// that stores and bus sockets of one test never meet another's.
class TempRoot {
 public:
  TempRoot() {
    char tmpl[] = "/tmp/agent_test_XXXXXX";
    const char* made = ::mkdtemp(tmpl);
    path_ = made ? made : "";
    kx::setRoot(path_);
  }
  ~TempRoot() {
    kx::setRoot("");
    std::error_code ec;
    if (!path_.empty()) std::filesystem::remove_all(path_, ec);
  }
  TempRoot(const TempRoot&) = delete;
  TempRoot& operator=(const TempRoot&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

// Redirects a standard stream (fd 1 or 2) into a file until text() or the
// destructor; text() returns what was written meanwhile.
class StreamCapture {
 public:
  explicit StreamCapture(int fd) : fd_(fd) {
    char tmpl[] = "/tmp/agent_capture_XXXXXX";
    const int tmp = ::mkstemp(tmpl);
    file_ = tmpl;
    std::fflush(fd_ == 1 ? stdout : stderr);
    saved_ = ::dup(fd_);
    ::dup2(tmp, fd_);
    ::close(tmp);
  }
  ~StreamCapture() {
    restore();
    ::unlink(file_.c_str());
  }
  StreamCapture(const StreamCapture&) = delete;
  StreamCapture& operator=(const StreamCapture&) = delete;

  std::string text() {
    restore();
    std::ifstream in(file_);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
  }

 private:
  void restore() {
    if (saved_ < 0) return;
    std::fflush(fd_ == 1 ? stdout : stderr);
    ::dup2(saved_, fd_);
    ::close(saved_);
    saved_ = -1;
  }
  int fd_;
  int saved_ = -1;
  std::string file_;
};

inline sockaddr_in ipv4(const char* address, uint16_t port) {
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_port = htons(port);
  a.sin_addr.s_addr = inet_addr(address);
  return a;
}

// True when a UDP socket without SO_REUSEADDR can take port on every
// address.
inline bool portIsFree(uint16_t port) {
  const int fd = ::socket(AF_INET, SOCK_DGRAM, 0);
  sockaddr_in a = ipv4("0.0.0.0", port);
  const bool ok = ::bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) == 0;
  ::close(fd);
  return ok;
}

// A UDP port nobody uses right now.
inline uint16_t freePort() {
  const int fd = ::socket(AF_INET, SOCK_DGRAM, 0);
  sockaddr_in a = ipv4("0.0.0.0", 0);
  socklen_t len = sizeof a;
  ::bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a);
  ::getsockname(fd, reinterpret_cast<sockaddr*>(&a), &len);
  ::close(fd);
  return ntohs(a.sin_port);
}

}  // namespace agent_test

#endif  // TESTS_UNIT_AGENT_AGENT_TEST_UTIL_H_
