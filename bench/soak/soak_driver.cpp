#include "bench/soak/soak_driver.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "bench/load/snmp_wire.h"

namespace bench {

namespace {

using Clock = std::chrono::steady_clock;

constexpr size_t kDatagramMax = 65536;
constexpr int kPollMs = 10;

const char* opName(Op op) {
  static const char* const names[kOpCount] = {"GET", "GETNEXT", "SET", "walk GETNEXT", "discovery"};
  return names[static_cast<int>(op)];
}

std::string describe(const SoakTraffic& traffic, const Request& r) {
  return traffic.identity(r.identity).label + " " + opName(r.op) + " " + r.spec.name.str();
}

}  // namespace

Driver::Driver(int fd, SoakTraffic* traffic, TrapSink* sink, Tally* tally, int window)
    : fd_(fd),
      traffic_(traffic),
      sink_(sink),
      tally_(tally),
      slots_(static_cast<size_t>(window)),
      buf_(kDatagramMax),
      nextId_(kMinRequestId) {}

bool Driver::send(const Request& request) {
  const std::vector<uint8_t> bytes = traffic_->encode(request);
  TallyRow& row = tally_->rows[request.identity];
  ++row.sent;
  ++row.ops[static_cast<int>(request.op)];
  ++sent_;
  // An ICMP error from an earlier datagram shows on the next send: the
  // agent's port was closed for a moment.  The request is sent again.
  for (int tries = 0; tries < 2; ++tries) {
    if (::send(fd_, bytes.data(), bytes.size(), 0) >= 0) return true;
    if (errno != ECONNREFUSED && errno != EINTR) break;
  }
  std::fprintf(stderr, "snmp_soak: cannot send to the agent: %s\n", std::strerror(errno));
  return false;
}

bool Driver::fill(int s, uint64_t count, const World& world, uint64_t* sentHere) {
  Slot& slot = slots_[static_cast<size_t>(s)];
  while (!slot.busy && *sentHere < count) {
    Request r;
    traffic_->next(s, world, nextId_, &r);
    nextId_ = nextId_ == kMaxRequestId ? kMinRequestId : nextId_ + 1;
    if (!send(r)) return false;
    ++*sentHere;
    if (!r.steady) ++tally_->awaySent;
    if (r.expect.kind == Expect::kSilence) {
      ++tally_->rows[r.identity].mute;
      silent_.push_back({std::move(r), Clock::now()});
    } else {
      slot.request = std::move(r);
      slot.sentAt = Clock::now();
      slot.busy = true;
    }
  }
  return true;
}

bool Driver::run(uint64_t count, const World& world, const std::vector<Hook>& hooks) {
  uint64_t sentHere = 0;
  size_t nextHook = 0;
  Clock::time_point lastHook = Clock::now();
  for (;;) {
    // A hook placed at or past the end runs once everything is sent.
    while (nextHook < hooks.size()) {
      const Hook& h = hooks[nextHook];
      if ((h.at > sentHere && sentHere < count) || Clock::now() < lastHook + h.after) break;
      if (!h.action()) return false;
      ++nextHook;
      lastHook = Clock::now();
    }
    // Sending stops at the next hook's moment, unless that hook waits for
    // its time.
    uint64_t until = count;
    if (nextHook < hooks.size() && hooks[nextHook].after.count() == 0) {
      until = std::min(hooks[nextHook].at, count);
    }
    bool busy = false;
    for (size_t s = 0; s < slots_.size(); ++s) {
      if (!fill(static_cast<int>(s), until, world, &sentHere)) return false;
      busy = busy || slots_[s].busy;
    }
    if (!busy && silent_.empty() && sentHere >= count && nextHook == hooks.size()) break;

    pollfd p[2] = {{fd_, POLLIN, 0}, {sink_->fd(), POLLIN, 0}};
    if (::poll(p, 2, kPollMs) < 0 && errno != EINTR) {
      std::fprintf(stderr, "snmp_soak: poll: %s\n", std::strerror(errno));
      return false;
    }
    if (p[1].revents & POLLIN) sink_->drain();
    if (p[0].revents & (POLLIN | POLLERR)) receive();
    expire();
  }
  // A walk does not go on into the next phase: the world changes there.
  for (size_t s = 0; s < slots_.size(); ++s) traffic_->abandon(static_cast<int>(s));
  return true;
}

void Driver::receive() {
  for (;;) {
    const ssize_t n = ::recv(fd_, buf_.data(), buf_.size(), MSG_DONTWAIT);
    if (n < 0) {
      if (errno == EINTR || errno == ECONNREFUSED) continue;
      return;  // EAGAIN: nothing more waits
    }
    Slot* slot = nullptr;
    Silent* quiet = nullptr;
    auto match = [&](uint32_t id) -> const Request* {
      for (Slot& s : slots_) {
        if (s.busy && s.request.spec.id == id) slot = &s;
      }
      for (Silent& s : silent_) {
        if (s.request.spec.id == id) quiet = &s;
      }
      return slot ? &slot->request : quiet ? &quiet->request : nullptr;
    };
    // A v3 reply is matched by its msgID while it is read: the request
    // says whose keys open it.
    bool matched = false;
    const KeysFor keysFor = [&](uint32_t id, bool* plain) -> const Identity* {
      matched = true;
      const Request* r = match(id);
      if (r == nullptr) return nullptr;
      *plain = r->expect.plain;
      return &traffic_->identity(r->identity);
    };
    SoakReply reply;
    const bool read = readSoakReply(buf_.data(), static_cast<size_t>(n), keysFor, &reply);
    if (read && !matched) match(reply.id);
    if (slot == nullptr && quiet == nullptr) {
      // An answer to nothing in flight (late, or repeated), or no reply.
      ++(read || matched ? tally_->stray : tally_->unparsed);
      continue;
    }
    if (quiet != nullptr) {
      settle(reply, quiet->request, "answered, though its community was removed");
      quiet->sentAt = Clock::time_point();  // expire() drops it without counting it silent
      continue;
    }
    const int s = static_cast<int>(slot - slots_.data());
    const std::string why = read ? traffic_->check(s, slot->request, reply)
                                 : std::string("a reply that does not parse or authenticate");
    if (!why.empty()) traffic_->abandon(s);
    settle(reply, slot->request, why);
    slot->busy = false;
  }
}

void Driver::settle(const SoakReply& reply, const Request& request, const std::string& why) {
  TallyRow& row = tally_->rows[request.identity];
  if (why.empty() && reply.status >= 0 && reply.status < 32 &&
      (request.expect.awayOnly & (1u << reply.status))) {
    ++tally_->awayMisses;
  }
  if (!why.empty()) {
    ++row.wrong;
    tally_->fault(describe(*traffic_, request) + ": " + why);
  } else if (request.expect.kind == Expect::kReport) {
    ++row.reports;
  } else if (reply.status != 0) {
    ++row.errors;
  } else {
    ++row.values;
  }
}

void Driver::expire() {
  const Clock::time_point now = Clock::now();
  for (size_t s = 0; s < slots_.size(); ++s) {
    Slot& slot = slots_[s];
    if (!slot.busy || now - slot.sentAt < kAnswerWithin) continue;
    ++tally_->rows[slot.request.identity].lost;
    tally_->fault(describe(*traffic_, slot.request) + ": no answer within 10 s");
    traffic_->abandon(static_cast<int>(s));
    slot.busy = false;
  }
  while (!silent_.empty() && now - silent_.front().sentAt >= kSilenceFor) {
    // A zero send time marks one answered (and counted) already.
    if (silent_.front().sentAt != Clock::time_point()) {
      ++tally_->rows[silent_.front().request.identity].silent;
    }
    silent_.pop_front();
  }
}

}  // namespace bench
