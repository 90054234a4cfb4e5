// Helpers shared by the agent's unit tests: a private root directory per
// test and capture of the standard streams.
#ifndef TESTS_UNIT_AGENT_AGENT_TEST_UTIL_H_
#define TESTS_UNIT_AGENT_AGENT_TEST_UTIL_H_

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "kx/paths.h"

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

}  // namespace agent_test

#endif  // TESTS_UNIT_AGENT_AGENT_TEST_UTIL_H_
