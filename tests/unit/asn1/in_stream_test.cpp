// BER decoding: lengths, integers, OIDs, strings, sequences, and how failed
// reads report and leave the stream.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "asn1/in_stream.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

InStream streamOf(const Bytes& b) { return InStream(b.data(), b.size()); }

// Runs read on a fresh stream over b; expects it to fail with exactly the
// given output and without moving the cursor.
template <class Read>
void expectFailure(const Bytes& b, Read read, const std::string& output) {
  InStream in = streamOf(b);
  testing::internal::CaptureStdout();
  EXPECT_FALSE(read(in));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), output);
  EXPECT_EQ(in.position(), 0u);
  EXPECT_EQ(in.getType(), b.empty() ? -1 : b[0]);
}

TEST(InStreamLength, ShortAndLongFormsAtTheBoundaries) {
  const struct { Bytes b; int len; } cases[] = {
      {{0x7F}, 127},
      {{0x81, 0x80}, 128},
      {{0x81, 0xFF}, 255},
      {{0x82, 0x01, 0x00}, 256},
      {{0x82, 0xFF, 0xFF}, 65535},
      {{0x81, 0x05}, 5},  // non-minimal long form accepted
      {{0x84, 0x7F, 0xFF, 0xFF, 0xFF}, 0x7FFFFFFF},
  };
  for (const auto& c : cases) {
    InStream in = streamOf(c.b);
    EXPECT_EQ(in.getLen(), c.len);
    EXPECT_TRUE(in.atEnd());
  }
}

TEST(InStreamLength, UnsupportedLengthsFailInPlace) {
  auto len = [](InStream& in) { return in.getLen() >= 0; };
  expectFailure({0x80, 0x00}, len,
                "SNMP InStream: we don't support indefinite lengths\n");
  expectFailure({0x85, 0, 0, 0, 0, 1}, len,
                "SNMP InStream: we can't support data lengths that long\n");
  expectFailure({0x84, 0x01, 0x02, 0x03}, len,
                "SNMP InStream: malformed in getLen\n");
  expectFailure({}, len, "");
  // 2^31 and above come back negative, silently.
  expectFailure({0x84, 0x80, 0x00, 0x00, 0x00}, len, "");
}

TEST(InStreamInteger, SignExtendedUpToFourOctets) {
  const struct { Bytes b; int value; } cases[] = {
      {{0x02, 0x00}, 0},
      {{0x02, 0x01, 0x80}, -128},
      {{0x02, 0x02, 0x00, 0x80}, 128},
      {{0x02, 0x02, 0xFF, 0x7F}, -129},
      {{0x41, 0x04, 0x80, 0x00, 0x00, 0x00}, INT32_MIN},
      {{0x02, 0x05, 0x00, 0xFF, 0xFF, 0xFF, 0xFF}, -1},
      {{0x02, 0x05, 0x00, 0x80, 0x00, 0x00, 0x01}, INT32_MIN + 1},
  };
  for (const auto& c : cases) {
    InStream in = streamOf(c.b);
    int v = 42;
    ASSERT_TRUE(in.getInt(&v));
    EXPECT_EQ(v, c.value);
    EXPECT_TRUE(in.atEnd());
  }
}

TEST(InStreamInteger, OversizeAndTruncatedFailInPlace) {
  int v = 42;
  auto get = [&v](InStream& in) { return in.getInt(&v); };
  expectFailure({0x02, 0x05, 0x01, 0, 0, 0, 0}, get,
                "SNMP InStream: I don't support such large integers 2\n");
  expectFailure({0x02, 0x06, 0, 0, 0, 0, 0, 1}, get,
                "SNMP InStream: I don't support such large integers\n");
  expectFailure({0x02, 0x02, 0x01}, get,
                "SNMP InStream: get int overflow of message\n");
  EXPECT_EQ(v, 42);
}

TEST(InStreamCounter64, UpToEightOctetsWithoutSign) {
  unsigned long long v = 0;
  InStream in = streamOf({0x46, 0x01, 0xFF, 0x46, 0x08, 0xFF, 0xFF, 0xFF,
                          0xFF, 0xFF, 0xFF, 0xFF, 0xFE, 0x46, 0x00});
  ASSERT_TRUE(in.get64(&v));
  EXPECT_EQ(v, 255u);
  ASSERT_TRUE(in.get64(&v));
  EXPECT_EQ(v, 0xFFFFFFFFFFFFFFFEull);
  ASSERT_TRUE(in.get64(&v));
  EXPECT_EQ(v, 0u);
}

TEST(InStreamCounter64, NineOctetsRefusedEvenWithALeadingZero) {
  unsigned long long v = 7;
  auto get = [&v](InStream& in) { return in.get64(&v); };
  expectFailure({0x46, 0x09, 0x00, 0x80, 0, 0, 0, 0, 0, 0, 0}, get,
                "SNMP InStream: invalig counter64 size\n");
  expectFailure({0x46, 0x03, 0x01}, get,
                "SNMP InStream: get 64 overflow of message\n");
  EXPECT_EQ(v, 7u);
}

TEST(InStreamOid, FirstOctetHoldsTwoArcs) {
  const struct { Bytes b; OID oid; } cases[] = {
      {{0x06, 0x00}, OID("0.0")},
      {{0x06, 0x01, 0x2B}, OID("1.3")},
      {{0x06, 0x03, 0x2B, 0x86, 0x48}, OID("1.3.840")},
      {{0x06, 0x01, 0x78}, OID("3.0")},  // no cap at 2
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.oid.str());
    InStream in = streamOf(c.b);
    OID oid;
    ASSERT_TRUE(in.getOID(&oid));
    EXPECT_EQ(oid, c.oid);
    EXPECT_TRUE(in.atEnd());
  }
}

TEST(InStreamOid, UnterminatedArcRunsIntoTheFollowingBytes) {
  // The content ends inside an arc: the arc takes the next byte, which was
  // meant as the following NULL's tag.
  InStream in = streamOf({0x06, 0x02, 0x2B, 0x81, 0x05, 0x00});
  OID oid;
  ASSERT_TRUE(in.getOID(&oid));
  EXPECT_EQ(oid, OID("1.3.133"));
  EXPECT_EQ(in.position(), 5u);
}

TEST(InStreamOid, UnterminatedArcAtTheEndOfTheDataIsRefused) {
  OID oid("9");
  expectFailure({0x06, 0x02, 0x2B, 0x80},
                [&oid](InStream& in) { return in.getOID(&oid); },
                "SNMP InStream: malformed oid\n");
  EXPECT_EQ(oid, OID("9"));
}

TEST(InStreamOid, ArcsWrapAt32Bits) {
  // 0x1F and four full groups: 37 bits of which the low 32 remain.
  InStream in = streamOf({0x06, 0x06, 0x2B, 0x9F, 0xFF, 0xFF, 0xFF, 0x7F});
  OID oid;
  ASSERT_TRUE(in.getOID(&oid));
  EXPECT_EQ(oid, (OID{1, 3, 0xFFFFFFFFu}));
}

TEST(InStreamOid, OverflowReportsOffsetLengthAndSize) {
  OID oid("9");
  expectFailure({0x06, 0x05, 0x2B, 0x06},
                [&oid](InStream& in) { return in.getOID(&oid); },
                "SNMP InStream: get oid overflow of message2 5 4\n");
  EXPECT_EQ(oid, OID("9"));
}

TEST(InStreamString, AnyTagIsReadAsRawContent) {
  InStream in = streamOf({0x02, 0x02, 0x01, 0x00, 0x04, 0x00});
  std::string s;
  ASSERT_TRUE(in.getString(&s));
  EXPECT_EQ(s, std::string("\x01\x00", 2));
  ASSERT_TRUE(in.getString(&s));
  EXPECT_EQ(s, "");
  std::string keep = "keep";
  expectFailure({0x04, 0x05, 'a', 'b'},
                [&keep](InStream& in) { return in.getString(&keep); },
                "SNMP InStream: get string overflow of message\n");
  EXPECT_EQ(keep, "keep");
}

TEST(InStreamNullAndBits, ContentRules) {
  InStream in = streamOf({0x05, 0x00, 0x03, 0x02, 0x07, 0x80});
  ASSERT_TRUE(in.getNull());
  std::vector<unsigned char> bits;
  ASSERT_TRUE(in.getBits(&bits));
  EXPECT_EQ(bits, (std::vector<unsigned char>{0x07, 0x80}));

  auto null = [](InStream& s) { return s.getNull(); };
  expectFailure({0x05, 0x01, 0x00}, null, "SNMP InStream: malformed null\n");
  auto getBits = [&bits](InStream& s) { return s.getBits(&bits); };
  expectFailure({0x03, 0x00}, getBits, "SNMP InStream: Invalid bitstring\n");
  expectFailure({0x03, 0x01, 0x08}, getBits,
                "SNMP InStream: Invalid bitstring\n");
  expectFailure({0x03, 0x03, 0x00}, getBits,
                "SNMP InStream: get bits overflow of message\n");
  EXPECT_EQ(bits, (std::vector<unsigned char>{0x07, 0x80}));
}

TEST(InStreamSequence, ExitSkipsUnreadContent) {
  // SEQUENCE { SEQUENCE { INTEGER 1, INTEGER 2 }, INTEGER 3 }
  InStream in = streamOf(
      {0x30, 0x0B, 0x30, 0x06, 0x02, 0x01, 0x01, 0x02, 0x01, 0x02, 0x02,
       0x01, 0x03});
  EXPECT_EQ(in.enterSeq(), 11);
  EXPECT_EQ(in.enterSeq(), 6);
  int v = 0;
  ASSERT_TRUE(in.getInt(&v));
  EXPECT_EQ(v, 1);
  EXPECT_FALSE(in.atSeqEnd());
  in.exitSeq();
  ASSERT_TRUE(in.getInt(&v));
  EXPECT_EQ(v, 3);
  EXPECT_TRUE(in.atSeqEnd());
  in.exitSeq();
  EXPECT_TRUE(in.atEnd());
  testing::internal::CaptureStdout();
  in.exitSeq();
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "SNMP InStream: exitSeq when seqEndp is empty!\n");
  EXPECT_TRUE(in.atEnd());

  in.reset();
  EXPECT_EQ(in.position(), 0u);
  EXPECT_EQ(in.getType(), 0x30);
}

TEST(InStreamSequence, ContentPastTheDataIsNotEntered) {
  InStream in = streamOf({0x30, 0x05, 0x02, 0x01, 0x01});
  EXPECT_EQ(in.enterSeq(), -1);
  EXPECT_EQ(in.position(), 0u);
}

TEST(InStreamVersion, ReadOnceAndCached) {
  InStream in = streamOf({0x30, 0x03, 0x02, 0x01, 0x01});
  EXPECT_EQ(in.getVersion(), 1);
  EXPECT_TRUE(in.atEnd());
  EXPECT_EQ(in.getVersion(), 1);

  InStream bad = streamOf({0x30, 0x02, 0x02, 0x05});
  testing::internal::CaptureStdout();
  EXPECT_EQ(bad.getVersion(), -1);
  EXPECT_EQ(bad.getVersion(), -1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "SNMP InStream: get int overflow of message\n");
}

TEST(InStreamCopy, SourceBufferMayBeReusedAtOnce) {
  Bytes b = {0x04, 0x01, 'a'};
  InStream in = streamOf(b);
  b[2] = 'z';
  std::string s;
  ASSERT_TRUE(in.getString(&s));
  EXPECT_EQ(s, "a");
}

}  // namespace
