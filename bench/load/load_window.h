// A window of outstanding requests against one UDP server.
//
// The generator keeps `window` requests in flight: every accepted reply is
// timed and immediately replaced by a new request.  A request unanswered
// after kResendAfter is counted lost and replaced, so a dropped datagram
// does not shrink the window.  Only replies that match an outstanding
// request id and pass the Expectation count; everything else is counted
// as wrong.
#ifndef BENCH_LOAD_LOAD_WINDOW_H_
#define BENCH_LOAD_LOAD_WINDOW_H_

#include <chrono>
#include <cstdint>
#include <utility>
#include <vector>

#include "bench/load/snmp_wire.h"

namespace bench {

using Clock = std::chrono::steady_clock;

// How long a request may stay unanswered before it is written off.
constexpr std::chrono::milliseconds kResendAfter{500};
// Most requests in flight at once.
constexpr int kMaxWindow = 1024;
// Slots of the in-flight table: well above kMaxWindow, so a slot is
// normally reused long after its request was answered or written off.
constexpr uint64_t kSlots = 4096;

// What a correct reply looks like.
struct Expectation {
  uint8_t pduTag = kResponse;
  std::vector<uint8_t> oid;  // the binding's name, OBJECT IDENTIFIER content
  bool needValue = true;     // an exception value (noSuchObject...) is wrong
};

struct LoadSpec {
  int window = 1;
  // Replies during the warm-up are checked but neither timed nor counted.
  Clock::duration warmup = std::chrono::milliseconds(200);
  Clock::duration measure = std::chrono::seconds(1);
  // With a non-zero value the run ends after this many counted replies
  // (or at warmup + measure, whichever is first).
  uint64_t replies = 0;
};

// What the window sends and how it reads the replies.
class Traffic {
 public:
  virtual ~Traffic() = default;
  // The request of sequence number seq, ready to send; valid until the
  // next call.
  virtual const std::vector<uint8_t>& request(uint64_t seq) = 0;
  // Reads a reply: false when it answers no request of ours.  Otherwise
  // *id is the sequence number of the request it answers, modulo
  // idCycle(), and *ok whether the answer is the expected one.
  virtual bool read(const uint8_t* data, size_t n, uint64_t* id, bool* ok) = 0;
  // Request ids repeat after this many sends.
  virtual uint64_t idCycle() const = 0;
};

// One v1/v2c request template, its request id patched per send.
class TemplateTraffic : public Traffic {
 public:
  TemplateTraffic(RequestTemplate request, Expectation expect)
      : request_(std::move(request)), expect_(std::move(expect)) {}
  const std::vector<uint8_t>& request(uint64_t seq) override;
  bool read(const uint8_t* data, size_t n, uint64_t* id, bool* ok) override;
  uint64_t idCycle() const override { return kMaxRequestId - kMinRequestId + 1; }

 private:
  RequestTemplate request_;
  Expectation expect_;
};

struct LoadResult {
  uint64_t sent = 0;      // every request, warm-up included
  uint64_t replies = 0;   // every expected reply, warm-up included
  uint64_t answered = 0;  // counted replies (after the warm-up)
  uint64_t wrong = 0;     // replies that failed the expectation
  uint64_t lost = 0;      // requests written off
  double seconds = 0;     // length of the counted part
  double perSecond = 0;
  double p50us = 0;
  double p99us = 0;
};

// Value at quantile q (0..1) of samples, nearest rank; 0 for no samples.
// Reorders samples.
double quantile(std::vector<double>* samples, double q);

// Runs the load on fd, a UDP socket connected to the server, sending the
// traffic's requests.  stop, when non-null, is polled and ends the run
// early when it becomes non-zero.  False when the socket fails or the
// window is outside 1..kMaxWindow.
bool runLoad(int fd, Traffic& traffic, const LoadSpec& spec, const volatile int* stop,
             LoadResult* result);
// The same for one request template, re-sent with fresh ids.
bool runLoad(int fd, RequestTemplate request, const Expectation& expect, const LoadSpec& spec,
             const volatile int* stop, LoadResult* result);

}  // namespace bench

#endif  // BENCH_LOAD_LOAD_WINDOW_H_
