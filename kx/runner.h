// kx::ThinRunner: a single-threaded event loop with sockets and one-shot
// timers.
//
// Sockets are registered with a callback that runs when the kernel reports
// the requested events (epoll, level-triggered: a socket that still has
// data is reported again).  Timers are one-shot and identified by (object, member
// callback): arming the same pair again replaces the pending one, and
// removeTimer cancels it.  A callback may add or remove sockets and timers,
// including its own; removal takes effect at once.
//
// Not thread-safe: every call comes from the thread that runs the loop.  A
// forked child must not use its parent's runner: both would share one epoll
// set.
#ifndef KX_RUNNER_H_
#define KX_RUNNER_H_

#include <poll.h>

#include <csignal>
#include <cstdint>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace kx {

class ThinRunner {
 public:
  // Milliseconds of a monotonic clock; replaceable so tests control time.
  using Clock = std::function<uint64_t()>;

  // The most recently constructed runner becomes the process's runner
  // (getRunner) until it is destroyed.
  ThinRunner();
  virtual ~ThinRunner();
  ThinRunner(const ThinRunner&) = delete;
  ThinRunner& operator=(const ThinRunner&) = delete;

  // Registers fd; callback(fd, revents) runs when any of events is
  // reported (POLLIN = 1, ...; errors and hang-ups always are).  Replaces an
  // earlier registration of fd.  The runner does not own fd; remove it
  // before closing it.
  template <class T>
  void addSocket(int fd, T* obj, void (T::*cb)(int, int), int events) {
    addSocketFn(
        fd, [obj, cb](int f, int ev) { (obj->*cb)(f, ev); }, events);
  }
  void addSocketFn(int fd, std::function<void(int, int)> cb, int events);
  void removeSocket(int fd);

  // Arms a one-shot timer that calls (obj->*cb)() after ms milliseconds.
  template <class T>
  void addTimer(T* obj, void (T::*cb)(), unsigned ms) {
    addTimerFn(
        obj, keyOf(cb), [obj, cb]() { (obj->*cb)(); }, ms);
  }
  template <class T>
  void removeTimer(T* obj, void (T::*cb)()) {
    removeTimerFn(obj, keyOf(cb));
  }
  template <class T>
  bool hasTimer(T* obj, void (T::*cb)()) const {
    return hasTimerFn(obj, keyOf(cb));
  }
  void addTimerFn(const void* obj, const std::string& key, std::function<void()> fn, unsigned ms);
  void removeTimerFn(const void* obj, const std::string& key);
  bool hasTimerFn(const void* obj, const std::string& key) const;

  // Leave run() after ms milliseconds with nothing to do (no socket event,
  // no timer fired); 0 = never leave on idleness.
  virtual void setupLeave(unsigned ms);
  // Runs until stop() or the idle limit; returns 0.
  virtual int run();
  // One iteration: waits at most maxWaitMs (bounded by the next timer) for
  // socket events, dispatches them, then fires due timers.  Returns the
  // number of callbacks run.
  int runOnce(int maxWaitMs);
  // Makes run() return after the current iteration.  Safe from a signal
  // handler.  Until run() returns, stopping() is true and the blocking
  // waits of the bus (exchanges, sends) give up at once.
  void stop();
  bool stopping() const { return stopFlag_ != 0; }
  // Waits at most timeoutMs for events on fd outside the loop (a wait
  // that blocks it, such as a bus exchange), returning fd's revents: 0
  // after the time-out, a signal or a stop request; -1 when poll fails.
  // A stop() ends the wait at once, also one that comes during it.
  int waitFd(int fd, short events, int timeoutMs) const;

  void setClock(Clock clock);
  uint64_t nowMs() const;

 protected:
  // Hook for subclasses: runs before each wait (the bus dispatches queued
  // messages here).
  virtual void beforePoll() {}

 private:
  template <class F>
  static std::string keyOf(F f) {
    std::string k(sizeof f, '\0');
    std::memcpy(&k[0], &f, sizeof f);
    return k;
  }
  struct Socket {
    // Shared so a dispatch can keep the callback alive while it runs (it
    // may remove its own registration) without copying the callable.
    std::shared_ptr<const std::function<void(int, int)>> cb;
    int events;
    // Tells a registration from a later one of the same fd number, so a
    // callback that removes and re-adds an fd does not get a stale event.
    uint64_t generation;
  };
  struct Timer {
    const void* obj;
    std::string key;
    std::function<void()> fn;
  };
  // Timers ordered by (deadline, arming sequence): ties fire in arming order.
  using TimerOrder = std::pair<uint64_t, uint64_t>;
  using TimerId = std::pair<const void*, std::string>;
  std::map<int, Socket> sockets_;
  std::map<TimerOrder, Timer> timers_;
  std::map<TimerId, TimerOrder> timerIndex_;
  uint64_t timerSeq_ = 0;
  uint64_t socketGeneration_ = 0;
  unsigned leaveMs_ = 0;
  volatile sig_atomic_t stopFlag_ = 0;
  // Self-pipe: stop() writes a byte so a sleeping wait wakes at once.
  int wakeFds_[2] = {-1, -1};
  // The epoll set: every registered socket and the wake-up pipe, each
  // tagged with its registration's generation (the pipe with 0).
  int epollFd_ = -1;
  Clock clock_;
  int fireDueTimers();
  int waitTimeMs(int maxWaitMs) const;
  void drainWakePipe();
};

// The process's runner (see ThinRunner()); null when none exists.
ThinRunner* getRunner();

template <class T>
void addTimer(T* obj, void (T::*cb)(), unsigned ms) {
  if (ThinRunner* r = getRunner()) r->addTimer(obj, cb, ms);
}
template <class T>
void removeTimer(T* obj, void (T::*cb)()) {
  if (ThinRunner* r = getRunner()) r->removeTimer(obj, cb);
}

}  // namespace kx

#endif  // KX_RUNNER_H_
