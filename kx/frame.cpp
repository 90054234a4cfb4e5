#include "kx/frame.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include <cerrno>

#include "kx/message.h"
#include "kx/runner.h"

namespace kx {

namespace frame {

void putHeader(uint8_t* out, bool more) {
  out[0] = kMagic;
  out[1] = more ? kMoreFlag : 0;
  out[2] = 0;
  out[3] = 0;
}

}  // namespace frame

FrameAssembler::Result FrameAssembler::feed(const uint8_t* packet, size_t len) {
  if (complete_) {
    buf_.clear();
    complete_ = false;
  }
  if (len < frame::kHeaderSize || packet[0] != frame::kMagic ||
      (packet[1] & ~frame::kMoreFlag) != 0 || packet[2] != 0 || packet[3] != 0) {
    buf_.clear();
    return Result::kBad;
  }
  const size_t payload = len - frame::kHeaderSize;
  if (payload > kMaxMessageSize - buf_.size()) {
    buf_.clear();
    return Result::kBad;
  }
  buf_.append(reinterpret_cast<const char*>(packet) + frame::kHeaderSize, payload);
  if (packet[1] & frame::kMoreFlag) return Result::kPartial;
  complete_ = true;
  return Result::kComplete;
}

namespace {

// Waits until fd can take more bytes, the deadline passes (on the runner's
// clock when there is a runner) or the runner is asked to stop.
SendStatus waitWritable(int fd, uint64_t deadlineMs, const ThinRunner* runner) {
  for (;;) {
    if (runner && runner->stopping()) return SendStatus::kStopped;
    const uint64_t now = runner ? runner->nowMs() : monotonicNowMs();
    if (now >= deadlineMs) return SendStatus::kTimeout;
    uint64_t left = deadlineMs - now;
    const int ms = static_cast<int>(left > 1u << 30 ? 1u << 30 : left);
    int revents;
    if (runner) {
      revents = runner->waitFd(fd, POLLOUT, ms);
    } else {
      pollfd p{fd, POLLOUT, 0};
      const int r = poll(&p, 1, ms);
      revents = r < 0 && errno == EINTR ? 0 : r < 0 ? -1 : p.revents;
    }
    if (revents < 0) return SendStatus::kFailed;
    if (revents == 0) continue;  // the loop re-checks the deadline and the stop
    if (revents & POLLOUT) return SendStatus::kOk;
    if (revents & (POLLHUP | POLLERR)) return SendStatus::kPeerGone;
    return SendStatus::kFailed;
  }
}

}  // namespace

SendStatus sendFramed(int fd, const std::string& bytes, uint64_t deadlineMs,
                      const ThinRunner* runner) {
  size_t off = 0;
  do {
    const size_t chunk =
        bytes.size() - off < frame::kMaxPayload ? bytes.size() - off : frame::kMaxPayload;
    const bool more = off + chunk < bytes.size();
    uint8_t header[frame::kHeaderSize];
    frame::putHeader(header, more);
    iovec iov[2] = {{header, sizeof header}, {const_cast<char*>(bytes.data()) + off, chunk}};
    msghdr mh{};
    mh.msg_iov = iov;
    mh.msg_iovlen = 2;
    for (;;) {
      ssize_t n = sendmsg(fd, &mh, MSG_NOSIGNAL | MSG_DONTWAIT);
      if (n >= 0) break;
      if (errno == EINTR) continue;
      if (errno == EAGAIN || errno == EWOULDBLOCK) {
        SendStatus s = waitWritable(fd, deadlineMs, runner);
        if (s != SendStatus::kOk) return s;
        continue;
      }
      if (errno == EPIPE || errno == ECONNRESET || errno == ENOTCONN || errno == ECONNREFUSED)
        return SendStatus::kPeerGone;
      return SendStatus::kFailed;
    }
    off += chunk;
  } while (off < bytes.size());
  return SendStatus::kOk;
}

}  // namespace kx
