#include "bench/load/load_window.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace bench {

namespace {

static_assert(kSlots > 2 * kMaxWindow, "slot table too small for the window");
// How long one poll waits; bounds how late the loss check and the stop
// flag are seen.
constexpr int kPollMs = 20;
constexpr size_t kDatagramMax = 65536;
constexpr auto kLossCheckEvery = std::chrono::milliseconds(50);

struct Slot {
  uint64_t seq = 0;
  Clock::time_point sentAt;
  bool inFlight = false;
};

bool matches(const Reply& r, const Expectation& e) {
  if (r.pduTag != e.pduTag || r.errorStatus != 0) return false;
  if (r.oidLen != e.oid.size() || std::memcmp(r.oid, e.oid.data(), r.oidLen) != 0) return false;
  return !e.needValue || r.valueTag < kFirstException || r.valueTag > kLastException;
}

}  // namespace

const std::vector<uint8_t>& TemplateTraffic::request(uint64_t seq) {
  request_.setRequestId(static_cast<uint32_t>(kMinRequestId + seq));
  return request_.bytes();
}

bool TemplateTraffic::read(const uint8_t* data, size_t n, uint64_t* id, bool* ok) {
  Reply r;
  if (!readReply(data, n, &r) || r.requestId < kMinRequestId || r.requestId > kMaxRequestId) {
    return false;
  }
  // A run sends far fewer than 2^31 requests, so the id names the
  // sequence number directly.
  *id = r.requestId - kMinRequestId;
  *ok = matches(r, expect_);
  return true;
}

double quantile(std::vector<double>* samples, double q) {
  if (samples->empty()) return 0;
  size_t rank = static_cast<size_t>(q * static_cast<double>(samples->size()));
  if (rank >= samples->size()) rank = samples->size() - 1;
  std::nth_element(samples->begin(), samples->begin() + static_cast<long>(rank), samples->end());
  return (*samples)[rank];
}

bool runLoad(int fd, RequestTemplate request, const Expectation& expect, const LoadSpec& spec,
             const volatile int* stop, LoadResult* result) {
  TemplateTraffic traffic(std::move(request), expect);
  return runLoad(fd, traffic, spec, stop, result);
}

bool runLoad(int fd, Traffic& traffic, const LoadSpec& spec, const volatile int* stop,
             LoadResult* result) {
  if (spec.window < 1 || spec.window > kMaxWindow) return false;
  *result = LoadResult();
  std::vector<Slot> slots(kSlots);
  std::vector<double> latencies;
  latencies.reserve(1 << 20);
  std::vector<uint8_t> buf(kDatagramMax);
  uint64_t nextSeq = 0;
  int inFlight = 0;

  const Clock::time_point start = Clock::now();
  const Clock::time_point counting = start + spec.warmup;
  const Clock::time_point end = counting + spec.measure;
  Clock::time_point lastReply = start;
  Clock::time_point lastLossCheck = start;

  auto send = [&](Clock::time_point now) {
    const uint64_t seq = nextSeq++;
    const std::vector<uint8_t>& request = traffic.request(seq);
    Slot& s = slots[seq % kSlots];
    // A request kSlots sends old and still unanswered (only ever a lost one
    // at a high rate) is written off here; the periodic scan never sees it.
    if (s.inFlight) {
      --inFlight;
      ++result->lost;
    }
    s.seq = seq;
    s.sentAt = now;
    s.inFlight = true;
    ++inFlight;
    ++result->sent;
    // A full socket buffer loses the datagram like the network would; the
    // loss check replaces it.
    (void)::send(fd, request.data(), request.size(), MSG_DONTWAIT);
  };
  auto done = [&](Clock::time_point now) {
    if (stop && *stop) return true;
    if (now >= end || nextSeq >= kMaxRequestId - kMinRequestId) return true;
    return spec.replies && result->answered >= spec.replies;
  };

  for (Clock::time_point now = Clock::now(); !done(now); now = Clock::now()) {
    while (inFlight < spec.window && !done(now)) send(now);

    pollfd p{fd, POLLIN, 0};
    const int ready = ::poll(&p, 1, kPollMs);
    if (ready < 0 && errno != EINTR) return false;
    for (;;) {
      const ssize_t n = ::recv(fd, buf.data(), buf.size(), MSG_DONTWAIT);
      if (n < 0) {
        if (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR) break;
        if (errno == ECONNREFUSED) break;  // an ICMP error from an earlier send
        return false;
      }
      const Clock::time_point at = Clock::now();
      uint64_t id = 0;
      bool ok = false;
      if (!traffic.read(buf.data(), static_cast<size_t>(n), &id, &ok)) {
        ++result->wrong;
        continue;
      }
      Slot& s = slots[id % kSlots];
      // Late: already written off (its slot may hold a newer request).
      if (id >= nextSeq || !s.inFlight || s.seq % traffic.idCycle() != id) continue;
      s.inFlight = false;
      --inFlight;
      if (!ok) {
        ++result->wrong;
      } else {
        ++result->replies;
        if (s.sentAt >= counting) {
          latencies.push_back(std::chrono::duration<double, std::micro>(at - s.sentAt).count());
          ++result->answered;
          lastReply = at;
        }
      }
      if (done(at)) break;
      send(at);
    }

    // Write off requests that waited too long; the top of the loop refills.
    // Checked now and then: a scan per reply would slow the generator down.
    const Clock::time_point check = Clock::now();
    if (inFlight > 0 && check - lastLossCheck >= kLossCheckEvery) {
      lastLossCheck = check;
      const uint64_t first = nextSeq > kSlots ? nextSeq - kSlots : 0;
      for (uint64_t seq = first; seq < nextSeq; ++seq) {
        Slot& s = slots[seq % kSlots];
        if (s.inFlight && s.seq == seq && check - s.sentAt > kResendAfter) {
          s.inFlight = false;
          --inFlight;
          ++result->lost;
        }
      }
    }
  }

  const Clock::time_point finish = result->answered ? lastReply : Clock::now();
  result->seconds = std::chrono::duration<double>(finish - counting).count();
  if (result->seconds > 0)
    result->perSecond = static_cast<double>(result->answered) / result->seconds;
  result->p50us = quantile(&latencies, 0.50);
  result->p99us = quantile(&latencies, 0.99);
  return true;
}

}  // namespace bench
