// Processes the benchmarks start and always stop: children by pid with a
// bounded wait, temporary directories removed at the end, resident memory
// read from /proc.  Every child also dies with the benchmark (parent-death
// signal), so an interrupted run leaves nothing behind.
#ifndef BENCH_LOAD_PEER_PROCESS_H_
#define BENCH_LOAD_PEER_PROCESS_H_

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace bench {

// A temporary directory, removed with its contents on destruction.
class TempDir {
 public:
  TempDir() = default;
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  ~TempDir();
  // Creates /tmp/<prefix>XXXXXX.  False (with errno set) when it cannot.
  bool create(const std::string& prefix);
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

// One child process.  The destructor stops it if it still runs.
class ChildProcess {
 public:
  using Env = std::vector<std::pair<std::string, std::string>>;

  ChildProcess() = default;
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  ~ChildProcess();

  // Executes argv[0] (searched in PATH when it has no slash) with argv (no
  // shell) and env added to ours; standard input from /dev/null, standard
  // output and error appended to logPath.
  // False when the fork fails; an exec failure shows as an early exit
  // with status 127 and a line in the log.
  bool start(const std::vector<std::string>& argv, const std::string& logPath, const Env& env = {});
  // Runs body in a forked child, which exits when body returns; name is
  // what messages about it call it.
  bool startFunction(const std::function<void()>& body, const std::string& name);

  pid_t pid() const { return pid_; }
  // True while the child has not exited (reaps it when it has).
  bool alive();
  // Waits up to timeout for the child to exit by itself; true when it has
  // (stop() then returns its status without signalling anything).
  bool wait(std::chrono::milliseconds timeout);
  // SIGTERM, then SIGKILL after grace.  The exit status (128 + signal for
  // a signalled child), or -1 when nothing was running.
  int stop(std::chrono::milliseconds grace = std::chrono::milliseconds(3000));

 private:
  pid_t pid_ = -1;
  int status_ = -1;
  std::string name_;
};

// Runs argv to completion with output appended to logPath.  The exit
// status; -1 when it could not start or outlived timeout (it is killed).
int runToCompletion(const std::vector<std::string>& argv, const std::string& logPath,
                    std::chrono::milliseconds timeout);

// A KiB field of /proc/PID/status ("VmRSS", "RssAnon"), or -1 when it
// cannot be read.
long statusKiB(pid_t pid, const std::string& field);

// The process's context switches so far, voluntary and not, or -1 when
// they cannot be read.
long contextSwitches(pid_t pid);

// CPU time the process has run so far, in nanoseconds (its main thread:
// /proc/PID/schedstat), or -1 when it cannot be read.
long long cpuNs(pid_t pid);

// The size in bytes of program once stripped of its symbols (strip writes
// the copy into dir), or -1 when strip is missing or fails.
long long strippedSize(const std::string& program, const std::string& dir);

// A UDP port on 127.0.0.1 that is free at this moment, or 0.
uint16_t freeUdpPort();

// A UDP socket connected to 127.0.0.1:port, or -1.
int connectUdp(uint16_t port);

// Last lines of a log file (for error messages), at most maxBytes.
std::string logTail(const std::string& path, size_t maxBytes = 600);

}  // namespace bench

#endif  // BENCH_LOAD_PEER_PROCESS_H_
