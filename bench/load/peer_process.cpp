#include "bench/load/peer_process.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <thread>

namespace bench {

namespace {

constexpr auto kReapPoll = std::chrono::milliseconds(10);
constexpr int kExecFailed = 127;

// In the child, before anything else: die with the benchmark.  Without this
// an interrupted run would leave agents listening on loopback ports.  The
// benchmark's own stop handlers are not the child's: a forked server must
// end on SIGTERM.
void prepareChild(pid_t parent) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (::getppid() != parent) _exit(1);  // the parent is already gone
  ::signal(SIGTERM, SIG_DFL);
  ::signal(SIGINT, SIG_DFL);
}

void redirect(const std::string& logPath) {
  // Only the copies on 0-2 outlive the exec: the program starts with no
  // other descriptor of ours.
  const int in = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
  if (in >= 0) ::dup2(in, STDIN_FILENO);
  const int out = ::open(logPath.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  if (out >= 0) {
    ::dup2(out, STDOUT_FILENO);
    ::dup2(out, STDERR_FILENO);
  }
}

// Waits for pid up to timeout.  True and *status set when it exited.
bool reap(pid_t pid, std::chrono::milliseconds timeout, int* status) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  for (;;) {
    int st = 0;
    const pid_t r = ::waitpid(pid, &st, WNOHANG);
    if (r == pid) {
      *status = WIFEXITED(st) ? WEXITSTATUS(st) : 128 + WTERMSIG(st);
      return true;
    }
    if (r < 0) {
      *status = -1;
      return true;
    }
    if (std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(kReapPoll);
  }
}

}  // namespace

TempDir::~TempDir() {
  if (path_.empty()) return;
  std::error_code ec;
  std::filesystem::remove_all(path_, ec);
  if (ec)
    std::fprintf(stderr, "bench: cannot remove %s: %s\n", path_.c_str(), ec.message().c_str());
}

bool TempDir::create(const std::string& prefix) {
  std::string tmpl = "/tmp/" + prefix + "XXXXXX";
  if (!::mkdtemp(tmpl.data())) return false;
  path_ = tmpl;
  return true;
}

ChildProcess::~ChildProcess() { stop(); }

bool ChildProcess::start(const std::vector<std::string>& argv, const std::string& logPath,
                         const Env& env) {
  if (argv.empty() || pid_ > 0) return false;
  std::vector<char*> args;
  for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
  args.push_back(nullptr);
  const pid_t parent = ::getpid();
  const pid_t pid = ::fork();
  if (pid < 0) return false;
  if (pid == 0) {
    prepareChild(parent);
    redirect(logPath);
    for (const auto& [name, value] : env) ::setenv(name.c_str(), value.c_str(), 1);
    ::execvp(args[0], args.data());
    std::fprintf(stderr, "bench: cannot run %s: %s\n", args[0], std::strerror(errno));
    _exit(kExecFailed);
  }
  pid_ = pid;
  status_ = -1;
  name_ = argv[0];
  return true;
}

bool ChildProcess::startFunction(const std::function<void()>& body, const std::string& name) {
  if (pid_ > 0) return false;
  const pid_t parent = ::getpid();
  const pid_t pid = ::fork();
  if (pid < 0) return false;
  if (pid == 0) {
    prepareChild(parent);
    body();
    _exit(0);
  }
  pid_ = pid;
  status_ = -1;
  name_ = name;
  return true;
}

bool ChildProcess::alive() { return !wait(std::chrono::milliseconds(0)); }

bool ChildProcess::wait(std::chrono::milliseconds timeout) {
  if (pid_ <= 0) return true;
  int status;
  if (!reap(pid_, timeout, &status)) return false;
  status_ = status;
  pid_ = -1;
  return true;
}

int ChildProcess::stop(std::chrono::milliseconds grace) {
  if (pid_ <= 0) return status_;
  ::kill(pid_, SIGTERM);
  int status = -1;
  if (!reap(pid_, grace, &status)) {
    std::fprintf(stderr, "bench: %s (pid %d) ignored SIGTERM for %lld ms; killed\n", name_.c_str(),
                 pid_, static_cast<long long>(grace.count()));
    ::kill(pid_, SIGKILL);
    reap(pid_, std::chrono::milliseconds(grace), &status);
  }
  pid_ = -1;
  status_ = status;
  return status;
}

int runToCompletion(const std::vector<std::string>& argv, const std::string& logPath,
                    std::chrono::milliseconds timeout) {
  ChildProcess child;
  if (!child.start(argv, logPath)) return -1;
  if (child.wait(timeout)) return child.stop();  // the status it exited with
  child.stop(std::chrono::milliseconds(500));
  return -1;
}

long long strippedSize(const std::string& program, const std::string& dir) {
  const std::string copy = dir + "/stripped";
  if (runToCompletion({"strip", "--strip-all", "-o", copy, program}, dir + "/strip.log",
                      std::chrono::milliseconds(10000)) != 0) {
    return -1;
  }
  std::error_code ec, ignored;
  const auto size = std::filesystem::file_size(copy, ec);
  std::filesystem::remove(copy, ignored);
  return ec ? -1 : static_cast<long long>(size);
}

long statusKiB(pid_t pid, const std::string& field) {
  std::ifstream in("/proc/" + std::to_string(pid) + "/status");
  const std::string key = field + ":";
  std::string line;
  while (std::getline(in, line)) {
    if (line.compare(0, key.size(), key) != 0) continue;
    std::istringstream fields(line.substr(key.size()));
    long kib = -1;
    fields >> kib;
    return kib;
  }
  return -1;
}

long contextSwitches(pid_t pid) {
  // The fields are counts, read like the KiB ones.
  const long voluntary = statusKiB(pid, "voluntary_ctxt_switches");
  const long forced = statusKiB(pid, "nonvoluntary_ctxt_switches");
  return voluntary < 0 || forced < 0 ? -1 : voluntary + forced;
}

long long cpuNs(pid_t pid) {
  std::ifstream in("/proc/" + std::to_string(pid) + "/schedstat");
  long long ns = -1;
  return (in >> ns) ? ns : -1;
}

uint16_t freeUdpPort() {
  const int fd = ::socket(AF_INET, SOCK_DGRAM, 0);
  if (fd < 0) return 0;
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t len = sizeof a;
  uint16_t port = 0;
  if (::bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) == 0 &&
      ::getsockname(fd, reinterpret_cast<sockaddr*>(&a), &len) == 0) {
    port = ntohs(a.sin_port);
  }
  ::close(fd);
  return port;
}

int connectUdp(uint16_t port) {
  const int fd = ::socket(AF_INET, SOCK_DGRAM, 0);
  if (fd < 0) return -1;
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  a.sin_port = htons(port);
  if (::connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
    ::close(fd);
    return -1;
  }
  return fd;
}

std::string logTail(const std::string& path, size_t maxBytes) {
  std::ifstream in(path, std::ios::binary);
  std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (text.size() > maxBytes) text = "..." + text.substr(text.size() - maxBytes);
  return text;
}

}  // namespace bench
