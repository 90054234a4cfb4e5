#include "agent/reply_queue.h"

#include <cerrno>
#include <cstring>
#include <vector>

namespace {

// Room for exactly one IP_PKTINFO record (24 bytes on the 32-bit board,
// more where cmsghdr is wider); the arrival address is the only ancillary
// data the socket asks for.
constexpr std::size_t kControlSize = CMSG_SPACE(sizeof(struct in_pktinfo));

}  // namespace

struct ReplyQueue::Slot {
  sockaddr_in peer;
  alignas(cmsghdr) unsigned char control[kControlSize];
  iovec iov;
  Context ctx;
};

ReplyQueue::ReplyQueue() { std::memset(messages_, 0, sizeof messages_); }

ReplyQueue::~ReplyQueue() = default;

ReplyQueue::Slot& ReplyQueue::current() {
  std::unique_ptr<Slot>& slot = slots_[pushed_];
  if (!slot) slot = std::make_unique<Slot>();
  return *slot;
}

Context& ReplyQueue::context() { return current().ctx; }

msghdr* ReplyQueue::header(unsigned char* buf, std::size_t len) {
  Slot& s = current();
  s.iov.iov_base = buf;
  s.iov.iov_len = len;
  msghdr& h = messages_[pushed_].msg_hdr;
  h.msg_name = &s.peer;
  h.msg_namelen = sizeof s.peer;
  h.msg_iov = &s.iov;
  h.msg_iovlen = 1;
  h.msg_control = s.control;
  h.msg_controllen = sizeof s.control;
  h.msg_flags = 0;
  return &h;
}

uint32_t ReplyQueue::peer() const { return slots_[pushed_]->peer.sin_addr.s_addr; }

void ReplyQueue::push() {
  // The header keeps the sender's address and the arrival address as
  // received; only the data changes to the reply.
  Slot& s = current();
  const std::vector<uint8_t>& reply = s.ctx.out.bytes();
  s.iov.iov_base = const_cast<uint8_t*>(reply.data());
  s.iov.iov_len = reply.size();
  ++pushed_;
}

void ReplyQueue::flush(int fd) {
  while (sent_ < pushed_) {
    const int n = ::sendmmsg(fd, messages_ + sent_, pushed_ - sent_, 0);
    if (n < 0 && errno == EINTR) continue;
    // The first reply not sent is refused: it is dropped, the next go on.
    sent_ += n > 0 ? static_cast<unsigned>(n) : 1;
  }
}
