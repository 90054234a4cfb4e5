// Truncated and corrupted messages: every read either succeeds inside the
// data or fails without moving the cursor.  Out-of-bounds reads are caught
// by the sanitizer build.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "asn1/in_stream.h"
#include "asn1/out_stream.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

// A request with one value of every kind the decoder reads.
Bytes sampleMessage() {
  OutStream out;
  out.startSeq(0x30);
  out.add(1, 0x02);
  out.add(std::string("public"), 0x04);
  out.startSeq(0xA3);
  for (int v : {0x1234, 0, 0}) out.add(v, 0x02);
  out.startSeq(0x30);
  const unsigned char bits[] = {0x03, 0xA8};
  for (int i = 0; i < 5; ++i) {
    out.startSeq(0x30);
    out.addOID(OID("1.3.6.1.4.1.32473.268435456") + i, 0x06);
    if (i == 0) out.add(std::string(140, 's'), 0x04);  // long form
    if (i == 1) out.add(0xFFFFFFFFFFull, 0x46);
    if (i == 2) out.add(-300, 0x02);
    if (i == 3) out.addOID(OID("1.3.6.1.4.1.32473"), 0x06);
    if (i == 4) out.addBits(bits, 2, 0x03);
    out.endSeq();
  }
  out.addNull(0x05);
  for (int i = 0; i < 3; ++i) out.endSeq();
  return out.bytes();
}

using Read = std::function<bool(InStream&)>;

std::vector<Read> allReads() {
  return {
      [](InStream& in) { return in.getLen() >= 0; },
      [](InStream& in) { return in.enterSeq() >= 0; },
      [](InStream& in) {
        int v;
        return in.getInt(&v);
      },
      [](InStream& in) {
        unsigned long long v;
        return in.get64(&v);
      },
      [](InStream& in) {
        std::string v;
        return in.getString(&v);
      },
      [](InStream& in) {
        OID v;
        return in.getOID(&v);
      },
      [](InStream& in) { return in.getNull(); },
      [](InStream& in) {
        std::vector<unsigned char> v;
        return in.getBits(&v);
      },
  };
}

// Walks msg as nested values.  At every step each read is tried on a copy
// of the stream: a failure must leave the cursor alone, a success must move
// it forward and stay inside the data.  Returns the number of steps.
int walk(const Bytes& msg) {
  InStream in(msg.data(), msg.size());
  const std::vector<Read> reads = allReads();
  int depth = 0;
  int steps = 0;
  for (; steps < 200 && !in.atEnd(); ++steps) {
    const std::size_t before = in.position();
    for (const Read& read : reads) {
      InStream probe = in;
      if (read(probe)) {
        EXPECT_GT(probe.position(), before);
        EXPECT_LE(probe.position(), probe.size());
      } else {
        EXPECT_EQ(probe.position(), before);
      }
    }
    // Read the value as its tag says, as the agent does.
    const int tag = in.getType();
    const std::size_t kind = tag == 0x30 || (tag & 0xF0) == 0xA0 ? 1
                             : tag == 0x02                       ? 2
                             : tag == 0x46                       ? 3
                             : tag == 0x06                       ? 5
                             : tag == 0x05                       ? 6
                             : tag == 0x03                       ? 7
                                                                 : 4;
    const bool ok = reads[kind](in);
    if (ok && kind == 1) ++depth;
    if (!ok) break;
    while (depth > 0 && in.atSeqEnd()) {
      in.exitSeq();
      --depth;
    }
  }
  return steps;
}

TEST(InStreamMalformed, IntactMessageDecodesToTheEnd) {
  const Bytes msg = sampleMessage();
  testing::internal::CaptureStdout();  // probes of the wrong kind may log
  const int steps = walk(msg);
  testing::internal::GetCapturedStdout();
  // 8 sequences (message, PDU, list, 5 bindings), version, community, the
  // three PDU integers, 5 names, 5 values and the trailing NULL.
  EXPECT_EQ(steps, 8 + 2 + 3 + 10 + 1);
}

TEST(InStreamMalformed, EveryTruncationStaysInBounds) {
  const Bytes msg = sampleMessage();
  testing::internal::CaptureStdout();
  for (std::size_t n = 0; n < msg.size(); ++n) {
    SCOPED_TRACE(n);
    // An exact-size heap copy, so that a read past the end is reported.
    walk(Bytes(msg.begin(), msg.begin() + n));
  }
  testing::internal::GetCapturedStdout();
}

TEST(InStreamMalformed, EveryCorruptedByteStaysInBounds) {
  const Bytes msg = sampleMessage();
  const std::uint8_t values[] = {0x00, 0x01, 0x7F, 0x80, 0x81, 0x82, 0x84, 0x85, 0xFF};
  testing::internal::CaptureStdout();
  for (std::size_t i = 0; i < msg.size(); ++i) {
    for (std::uint8_t v : values) {
      SCOPED_TRACE(testing::Message() << "offset " << i << " value " << +v);
      Bytes bad = msg;
      bad[i] = v;
      walk(bad);
    }
  }
  testing::internal::GetCapturedStdout();
}

}  // namespace
