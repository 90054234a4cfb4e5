// Framing: packets of one message are put back together; malformed or
// oversized input is refused.
#include "kx/frame.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "kx/message.h"

namespace {

std::string packet(uint8_t flags, const std::string& payload) {
  std::string p{'\x6b', static_cast<char>(flags), '\0', '\0'};
  return p + payload;
}

kx::FrameAssembler::Result feed(kx::FrameAssembler& a, const std::string& p) {
  return a.feed(reinterpret_cast<const uint8_t*>(p.data()), p.size());
}

TEST(FrameAssembler, RefusesBadHeadersAndOversizedMessages) {
  using R = kx::FrameAssembler::Result;
  kx::FrameAssembler a;
  EXPECT_EQ(feed(a, std::string("\x6b\x00\x00", 3)), R::kBad);
  EXPECT_EQ(feed(a, std::string("\x6a\x00\x00\x00x", 5)), R::kBad);
  EXPECT_EQ(feed(a, std::string("\x6b\x02\x00\x00x", 5)), R::kBad);  // unknown flag
  EXPECT_EQ(feed(a, std::string("\x6b\x00\x01\x00x", 5)), R::kBad);
  // Exactly the limit passes; one byte more is refused while collecting.
  std::string piece(kx::frame::kMaxPayload, 'z');
  size_t pieces = kx::kMaxMessageSize / piece.size();
  for (size_t i = 0; i + 1 < pieces; ++i) ASSERT_EQ(feed(a, packet(1, piece)), R::kPartial);
  EXPECT_EQ(feed(a, packet(0, piece)), R::kComplete);
  EXPECT_EQ(a.message().size(), kx::kMaxMessageSize);
  for (size_t i = 0; i < pieces; ++i) ASSERT_EQ(feed(a, packet(1, piece)), R::kPartial);
  EXPECT_EQ(feed(a, packet(1, "!")), R::kBad);
  EXPECT_FALSE(a.inProgress());
}

TEST(FrameSender, ReportsAGonePeerAndAFullBufferWithoutSignals) {
  int sv[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK, 0, sv), 0);
  // Nobody reads: the send buffer fills and the deadline passes.
  std::string big(kx::kMaxMessageSize, 'q');
  uint64_t start = kx::monotonicNowMs();
  EXPECT_EQ(kx::sendFramed(sv[0], big, start + 100), kx::SendStatus::kTimeout);
  EXPECT_GE(kx::monotonicNowMs() - start, 100u);
  close(sv[1]);
  EXPECT_EQ(kx::sendFramed(sv[0], "abc", kx::monotonicNowMs() + 100), kx::SendStatus::kPeerGone);
  close(sv[0]);
}

}  // namespace
