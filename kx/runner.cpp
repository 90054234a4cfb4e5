#include "kx/runner.h"

#include <fcntl.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <limits>
#include <mutex>
#include <vector>

#include "kx/platform.h"

namespace kx {

namespace {

// Live runners, most recent last.  getRunner() answers the last one, so a
// runner created for a nested scope hands the role back when it goes.
std::mutex& registryMutex() {
  static std::mutex m;
  return m;
}
std::vector<ThinRunner*>& registry() {
  static std::vector<ThinRunner*> runners;
  return runners;
}

// epoll_wait() takes an int; longer waits are cut and simply loop again.
constexpr uint64_t kMaxPollWaitMs = 1u << 30;
// Events taken per wait; more simply come with the next one.
constexpr int kMaxEvents = 16;
// The tag of the wake-up pipe's event; sockets' tags are never 0.
constexpr uint64_t kWakeTag = 0;

// A socket's event tag: its registration's generation and its number.
uint64_t tagOf(uint64_t generation, int fd) {
  return (generation << 32) | static_cast<uint32_t>(fd);
}

}  // namespace

ThinRunner::ThinRunner() : clock_(monotonicNowMs) {
  epollFd_ = epoll_create1(EPOLL_CLOEXEC);
  if (epollFd_ < 0) {
    std::fprintf(stderr, "kx: cannot create the runner's epoll set: %s\n", std::strerror(errno));
  }
  if (pipe2(wakeFds_, O_NONBLOCK | O_CLOEXEC) != 0) {
    std::fprintf(stderr, "kx: cannot create the runner's wake-up pipe: %s\n", std::strerror(errno));
    wakeFds_[0] = wakeFds_[1] = -1;
  } else if (epollFd_ >= 0) {
    epoll_event ev{};
    ev.events = EPOLLIN;
    ev.data.u64 = kWakeTag;
    epoll_ctl(epollFd_, EPOLL_CTL_ADD, wakeFds_[0], &ev);
  }
  std::lock_guard<std::mutex> lock(registryMutex());
  registry().push_back(this);
}

ThinRunner::~ThinRunner() {
  {
    std::lock_guard<std::mutex> lock(registryMutex());
    auto& r = registry();
    for (auto it = r.begin(); it != r.end(); ++it) {
      if (*it == this) {
        r.erase(it);
        break;
      }
    }
  }
  if (wakeFds_[0] >= 0) close(wakeFds_[0]);
  if (wakeFds_[1] >= 0) close(wakeFds_[1]);
  if (epollFd_ >= 0) close(epollFd_);
}

ThinRunner* getRunner() {
  std::lock_guard<std::mutex> lock(registryMutex());
  auto& r = registry();
  return r.empty() ? nullptr : r.back();
}

void ThinRunner::addSocketFn(int fd, std::function<void(int, int)> cb, int events) {
  if (fd < 0) return;
  const bool known = sockets_.count(fd) != 0;
  const uint64_t generation = ++socketGeneration_ & 0xffffffffu;
  sockets_[fd] = Socket{std::make_shared<const std::function<void(int, int)>>(std::move(cb)),
                        events, generation};
  // poll's event bits are epoll's.
  epoll_event ev{};
  ev.events = static_cast<uint32_t>(events);
  ev.data.u64 = tagOf(generation, fd);
  if (epoll_ctl(epollFd_, known ? EPOLL_CTL_MOD : EPOLL_CTL_ADD, fd, &ev) != 0 &&
      epoll_ctl(epollFd_, known ? EPOLL_CTL_ADD : EPOLL_CTL_MOD, fd, &ev) != 0) {
    std::fprintf(stderr, "kx: cannot watch descriptor %d: %s\n", fd, std::strerror(errno));
  }
}

void ThinRunner::removeSocket(int fd) {
  if (sockets_.erase(fd) != 0) epoll_ctl(epollFd_, EPOLL_CTL_DEL, fd, nullptr);
}

void ThinRunner::addTimerFn(const void* obj, const std::string& key, std::function<void()> fn,
                            unsigned ms) {
  removeTimerFn(obj, key);
  TimerOrder order{nowMs() + ms, ++timerSeq_};
  timers_.emplace(order, Timer{obj, key, std::move(fn)});
  timerIndex_.emplace(TimerId{obj, key}, order);
}

void ThinRunner::removeTimerFn(const void* obj, const std::string& key) {
  auto it = timerIndex_.find(TimerId{obj, key});
  if (it == timerIndex_.end()) return;
  timers_.erase(it->second);
  timerIndex_.erase(it);
}

bool ThinRunner::hasTimerFn(const void* obj, const std::string& key) const {
  return timerIndex_.count(TimerId{obj, key}) != 0;
}

void ThinRunner::setupLeave(unsigned ms) { leaveMs_ = ms; }

void ThinRunner::setClock(Clock clock) {
  clock_ = clock ? std::move(clock) : Clock(monotonicNowMs);
}

uint64_t ThinRunner::nowMs() const { return clock_(); }

void ThinRunner::stop() {
  // Only async-signal-safe operations: a flag store and write(2).
  stopFlag_ = 1;
  if (wakeFds_[1] >= 0) {
    const char byte = 1;
    ssize_t n = write(wakeFds_[1], &byte, 1);
    (void)n;  // a full pipe already wakes the loop
  }
}

int ThinRunner::waitFd(int fd, short events, int timeoutMs) const {
  if (stopFlag_) return 0;
  // The wake-up pipe is left for the loop to drain: the stop stays visible
  // to every wait until run() returns.
  pollfd p[2] = {{fd, events, 0}, {wakeFds_[0], POLLIN, 0}};
  const int r = poll(p, wakeFds_[0] >= 0 ? 2 : 1, timeoutMs);
  if (r < 0) return errno == EINTR ? 0 : -1;
  return stopFlag_ ? 0 : p[0].revents;
}

void ThinRunner::drainWakePipe() {
  if (wakeFds_[0] < 0) return;
  char buf[64];
  while (read(wakeFds_[0], buf, sizeof buf) > 0) {
  }
}

int ThinRunner::waitTimeMs(int maxWaitMs) const {
  uint64_t wait =
      maxWaitMs < 0 ? std::numeric_limits<uint64_t>::max() : static_cast<uint64_t>(maxWaitMs);
  if (!timers_.empty()) {
    uint64_t deadline = timers_.begin()->first.first;
    uint64_t now = nowMs();
    uint64_t untilTimer = deadline > now ? deadline - now : 0;
    if (untilTimer < wait) wait = untilTimer;
  }
  if (wait == std::numeric_limits<uint64_t>::max()) return -1;
  return static_cast<int>(wait < kMaxPollWaitMs ? wait : kMaxPollWaitMs);
}

int ThinRunner::runOnce(int maxWaitMs) {
  beforePoll();

  epoll_event events[kMaxEvents];
  const int wait = stopFlag_ ? 0 : waitTimeMs(maxWaitMs);
  const int ready = epoll_wait(epollFd_, events, kMaxEvents, wait);
  int ran = 0;
  for (int i = 0; i < ready; ++i) {
    const uint64_t tag = events[i].data.u64;
    if (tag == kWakeTag) {
      drainWakePipe();
      continue;
    }
    const int fd = static_cast<int>(static_cast<uint32_t>(tag));
    // An earlier callback of this round may have removed or replaced it.
    auto it = sockets_.find(fd);
    if (it == sockets_.end() || tagOf(it->second.generation, fd) != tag) continue;
    // Held: the callback may remove its own registration.
    const std::shared_ptr<const std::function<void(int, int)>> cb = it->second.cb;
    (*cb)(fd, static_cast<int>(events[i].events));
    ++ran;
  }
  if (ready < 0 && errno != EINTR) {
    std::fprintf(stderr, "kx: epoll_wait failed: %s\n", std::strerror(errno));
  }
  return ran + fireDueTimers();
}

int ThinRunner::fireDueTimers() {
  if (timers_.empty()) return 0;
  // Timers armed by the callbacks of this round wait for the next one, so a
  // timer that re-arms itself with 0 ms cannot starve the loop.
  const uint64_t lastSeq = timerSeq_;
  const uint64_t now = nowMs();
  int fired = 0;
  for (;;) {
    auto it = timers_.begin();
    while (it != timers_.end() && it->first.first <= now && it->first.second > lastSeq) ++it;
    if (it == timers_.end() || it->first.first > now) break;
    std::function<void()> fn = std::move(it->second.fn);
    timerIndex_.erase(TimerId{it->second.obj, it->second.key});
    timers_.erase(it);
    fn();
    ++fired;
  }
  return fired;
}

int ThinRunner::run() {
  uint64_t idleSince = nowMs();
  while (!stopFlag_) {
    int wait = -1;
    if (leaveMs_ != 0) {
      uint64_t idle = nowMs() - idleSince;
      if (idle >= leaveMs_) break;
      wait = static_cast<int>(leaveMs_ - idle);
    }
    if (runOnce(wait) > 0 && leaveMs_ != 0) idleSince = nowMs();
  }
  // Cleared before the pipe is drained: a stop() in between then still
  // has its flag set for the next run(), and no byte is left to wake
  // waits that no longer stop.
  stopFlag_ = 0;
  drainWakePipe();
  return 0;
}

}  // namespace kx
