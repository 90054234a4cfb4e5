// Packet framing of bus messages on a SOCK_SEQPACKET connection (internal).
//
// One encoded message travels as one or more packets.  Each packet is a
// four-byte header followed by a slice of the message:
//
//   byte 0  magic 0x6b
//   byte 1  flags: bit 0 = more packets of this message follow
//   byte 2  0
//   byte 3  0
//
// A packet's size is bounded by the socket's send buffer (about 200 KiB by
// default), far below the largest message, so large messages are sliced and
// put back together on the receiving side.
#ifndef KX_FRAME_H_
#define KX_FRAME_H_

#include <cstddef>
#include <cstdint>
#include <string>

#include "kx/platform.h"

namespace kx {
namespace frame {

constexpr uint8_t kMagic = 0x6b;
constexpr uint8_t kMoreFlag = 0x01;
constexpr size_t kHeaderSize = 4;
// Payload per packet: well inside the default send buffer of a Unix socket,
// so a packet never fails with EMSGSIZE.
constexpr size_t kMaxPayload = 64 * 1024;
constexpr size_t kMaxPacket = kHeaderSize + kMaxPayload;

// Writes the header of a packet into out[0..kHeaderSize).
void putHeader(uint8_t* out, bool more);

}  // namespace frame

// Puts the packets of one message back together.  Enforces the message
// size limit while collecting, so a peer cannot make it grow without bound.
class FrameAssembler {
 public:
  enum class Result {
    kPartial,   // more packets are needed
    kComplete,  // message() holds a whole message
    kBad,       // malformed header or oversized message; the state is reset
  };

  // REQUIRES: the previous call did not return kComplete, or message() has
  // been consumed (the next feed starts a new message).
  Result feed(const uint8_t* packet, size_t len);
  // The bytes of the completed message.  Valid until the next feed().
  const std::string& message() const { return buf_; }
  // True while a message is partly received.
  bool inProgress() const { return !buf_.empty() && !complete_; }

 private:
  std::string buf_;
  bool complete_ = false;
};

class ThinRunner;

// Outcome of sending a message's packets.  kStopped: the runner was asked
// to stop while the send waited for buffer space.
enum class SendStatus { kOk, kPeerGone, kTimeout, kFailed, kStopped };

// Sends bytes as framed packets on the non-blocking socket fd, waiting for
// buffer space until deadlineMs (on runner's clock, nowMs, when a runner is
// given, else on monotonicNowMs), or until runner is asked to stop.  Never raises SIGPIPE.  A
// status other than kOk may leave part of the message sent: the connection is then unusable.
SendStatus sendFramed(int fd, const std::string& bytes, uint64_t deadlineMs,
                      const ThinRunner* runner = nullptr);

}  // namespace kx

#endif  // KX_FRAME_H_
