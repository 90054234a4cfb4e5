#include "agent/request_batch.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "engine/context.h"

namespace {

std::size_t pageSize() {
  const long n = ::sysconf(_SC_PAGESIZE);
  return n > 0 ? static_cast<std::size_t>(n) : 4096;
}

}  // namespace

RequestBatch::RequestBatch(unsigned char* buffer, std::size_t len)
    : buffer_(buffer), slotBytes_(len / kCapacity) {
  // Address space only: pages are backed when a large datagram is written
  // into them and given back once it is answered.
  void* range = ::mmap(nullptr, kCapacity * kMaxDatagram, PROT_READ | PROT_WRITE,
                       MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  overflow_ = range == MAP_FAILED ? nullptr : static_cast<unsigned char*>(range);
  std::memset(received_, 0, sizeof received_);
  std::memset(replies_, 0, sizeof replies_);
  for (unsigned i = 0; i < kCapacity; ++i) {
    Header& h = headers_[i];
    h.in[0] = {buffer_ + i * slotBytes_, slotBytes_};
    // The overflow range starts with room for a copy of the share, so that
    // a large datagram ends up in one piece.
    if (overflow_ != nullptr) {
      h.in[1] = {overflow_ + i * kMaxDatagram + slotBytes_, kMaxDatagram - slotBytes_};
    }
    h.length = 0;
    h.overflowed = false;
    prepare(i);
  }
}

RequestBatch::~RequestBatch() {
  if (overflow_ != nullptr) ::munmap(overflow_, kCapacity * kMaxDatagram);
}

void RequestBatch::prepare(unsigned i) {
  Header& s = headers_[i];
  msghdr& h = received_[i].msg_hdr;
  h.msg_name = &s.peer;
  h.msg_namelen = sizeof s.peer;
  h.msg_iov = s.in;
  h.msg_iovlen = overflow_ != nullptr ? 2 : 1;
  h.msg_control = s.control;
  h.msg_controllen = sizeof s.control;
  h.msg_flags = 0;
}

void RequestBatch::restart() {
  // Only the slots that received have parts to set again.
  for (unsigned i = 0; i < taken_; ++i) prepare(i);
  taken_ = queued_ = sent_ = 0;
}

unsigned RequestBatch::receive(int fd, unsigned max) {
  const unsigned first = taken_;
  if (max > kCapacity - first) max = kCapacity - first;
  if (max == 0) return 0;
  const int n = ::recvmmsg(fd, received_ + first, max, MSG_DONTWAIT, nullptr);
  if (n <= 0) return 0;
  for (unsigned i = first; i < first + static_cast<unsigned>(n); ++i) {
    Header& s = headers_[i];
    // Longer than the buffers: cut short, so it reads as nothing at all.
    s.length = (received_[i].msg_hdr.msg_flags & MSG_TRUNC) != 0 ? 0 : received_[i].msg_len;
    s.overflowed = s.length > slotBytes_;
    unsigned char* data = static_cast<unsigned char*>(s.in[0].iov_base);
    if (s.overflowed) {
      unsigned char* whole = static_cast<unsigned char*>(s.in[1].iov_base) - slotBytes_;
      std::memcpy(whole, data, slotBytes_);
      data = whole;
    }
    std::unique_ptr<Context>& ctx = contexts_[i];
    if (!ctx) ctx = std::make_unique<Context>();
    ctx->reset(data, static_cast<unsigned>(s.length));
  }
  taken_ += static_cast<unsigned>(n);
  return static_cast<unsigned>(n);
}

Context& RequestBatch::request(unsigned i) { return *contexts_[i]; }

uint32_t RequestBatch::peer(unsigned i) const { return headers_[i].peer.sin_addr.s_addr; }

void RequestBatch::done(unsigned i, bool hasReply) {
  Header& s = headers_[i];
  if (hasReply) {
    // The sender's address and the arrival address go back as received;
    // only the data is the reply.
    const std::vector<uint8_t>& reply = contexts_[i]->out.bytes();
    s.out = {const_cast<uint8_t*>(reply.data()), reply.size()};
    msghdr& h = replies_[queued_++].msg_hdr;
    h = received_[i].msg_hdr;
    h.msg_iov = &s.out;
    h.msg_iovlen = 1;
    h.msg_flags = 0;
  }
  if (s.overflowed) {
    // Rarely needed: give the pages back rather than keep them resident.
    const std::size_t page = pageSize();
    unsigned char* start = static_cast<unsigned char*>(s.in[1].iov_base) - slotBytes_;
    ::madvise(start, (s.length + page - 1) / page * page, MADV_DONTNEED);
    s.overflowed = false;
  }
}

void RequestBatch::flush(int fd) {
  while (sent_ < queued_) {
    const int n = ::sendmmsg(fd, replies_ + sent_, queued_ - sent_, 0);
    if (n < 0 && errno == EINTR) continue;
    // The first reply not sent was refused: it is dropped, the next go on.
    sent_ += n > 0 ? static_cast<unsigned>(n) : 1;
  }
}
