// Truncated and corrupted messages: every read either succeeds inside the
// data or fails without moving the cursor.  The sanitizer build reports any
// read past the end (each stream holds an exact-size copy).
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "asn1/in_stream.h"
#include "asn1/out_stream.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

// A SET request with one value of every kind the decoder reads.
Bytes sampleMessage() {
  OutStream out;
  out.startSeq(0x30);
  out.add(1, 0x02);
  out.add(std::string("public"), 0x04);
  out.startSeq(0xA3);
  for (int v : {0x1234, 0, 0}) out.add(v, 0x02);
  out.startSeq(0x30);
  const unsigned char bits[] = {0x03, 0xA8};
  for (unsigned int i = 0; i < 5; ++i) {
    out.startSeq(0x30);
    out.addOID(OID("1.3.6.1.4.1.32473.268435456") + i, 0x06);
    if (i == 0) out.add(std::string(140, 's'), 0x04);  // long-form length
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

// Walks msg as the agent would, reading each value as its tag says.  At
// every step each kind of read is also tried on a copy of the stream: a
// failure must leave the cursor alone, a success must move it forward
// within the data.  Returns the number of values read.
int walk(const Bytes& msg) {
  using Read = std::function<bool(InStream&)>;
  const Read reads[] = {
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
  InStream in(msg.data(), msg.size());
  int depth = 0, steps = 0;
  for (; steps < 200 && !in.atEnd(); ++steps) {
    const std::size_t before = in.position();
    for (const Read& read : reads) {
      InStream probe = in;
      const bool ok = read(probe);
      EXPECT_TRUE(ok ? probe.position() > before && probe.position() <= probe.size()
                     : probe.position() == before);
    }
    const int tag = in.getType();
    const int kind = tag == 0x30 || (tag & 0xF0) == 0xA0 ? 1
                     : tag == 0x02                       ? 2
                     : tag == 0x46                       ? 3
                     : tag == 0x06                       ? 5
                     : tag == 0x05                       ? 6
                     : tag == 0x03                       ? 7
                                                         : 4;
    if (!reads[kind](in)) break;
    if (kind == 1) ++depth;
    for (; depth > 0 && in.atSeqEnd(); --depth) in.exitSeq();
  }
  return steps;
}

TEST(InStreamMalformed, IntactMessageIsWalkedToTheEnd) {
  testing::internal::CaptureStdout();  // probes of the wrong kind log
  // 8 sequences, version, community, 3 PDU integers, 5 names, 5 values, NULL.
  EXPECT_EQ(walk(sampleMessage()), 8 + 2 + 3 + 10 + 1);
  testing::internal::GetCapturedStdout();
}

TEST(InStreamMalformed, EveryTruncationAndCorruptedByteStaysInBounds) {
  const Bytes msg = sampleMessage();
  testing::internal::CaptureStdout();
  for (std::size_t i = 0; i < msg.size(); ++i) {
    SCOPED_TRACE(i);
    walk(Bytes(msg.begin(), msg.begin() + i));
    for (std::uint8_t v : {0x00, 0x01, 0x7F, 0x80, 0x81, 0x82, 0x84, 0x85, 0xFF}) {
      Bytes bad = msg;
      bad[i] = v;
      walk(bad);
    }
  }
  testing::internal::GetCapturedStdout();
}

}  // namespace
