// BER encoding: integers, lengths, back-patched sequences, OIDs, values from
// text and the error placeholders.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <string>
#include <vector>

#include "asn1/hexdump.h"
#include "asn1/in_stream.h"
#include "asn1/out_stream.h"
#include "asn1/variable_binding.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

template <class T>
Bytes encoded(T value, unsigned int tag) {
  OutStream out;
  out.add(value, tag);
  return out.bytes();
}

TEST(OutStreamInteger, SignedIsMinimalAtEveryBoundary) {
  const struct { int value; Bytes want; } cases[] = {
      {0, {0x02, 0x01, 0x00}},
      {-1, {0x02, 0x01, 0xFF}},
      {127, {0x02, 0x01, 0x7F}},
      {128, {0x02, 0x02, 0x00, 0x80}},
      {-128, {0x02, 0x01, 0x80}},
      {-129, {0x02, 0x02, 0xFF, 0x7F}},
      {32767, {0x02, 0x02, 0x7F, 0xFF}},
      {32768, {0x02, 0x03, 0x00, 0x80, 0x00}},
      {-32768, {0x02, 0x02, 0x80, 0x00}},
      {-32769, {0x02, 0x03, 0xFF, 0x7F, 0xFF}},
      {0x800000, {0x02, 0x04, 0x00, 0x80, 0x00, 0x00}},
      {INT_MAX, {0x02, 0x04, 0x7F, 0xFF, 0xFF, 0xFF}},
      {INT_MIN, {0x02, 0x04, 0x80, 0x00, 0x00, 0x00}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.value);
    const Bytes got = encoded(c.value, 0x02);
    EXPECT_EQ(got, c.want);
    InStream in(got.data(), got.size());
    int back = 0;
    ASSERT_TRUE(in.getInt(&back));
    EXPECT_EQ(back, c.value);
    EXPECT_TRUE(in.atEnd());
  }
}

TEST(OutStreamInteger, UnsignedTakesALeadingZeroFromBit31) {
  const struct { unsigned int value; Bytes want; } cases[] = {
      {0u, {0x41, 0x01, 0x00}},
      {127u, {0x41, 0x01, 0x7F}},
      {128u, {0x41, 0x02, 0x00, 0x80}},
      {32767u, {0x41, 0x02, 0x7F, 0xFF}},
      {32768u, {0x41, 0x03, 0x00, 0x80, 0x00}},
      {0x7FFFFFFFu, {0x41, 0x04, 0x7F, 0xFF, 0xFF, 0xFF}},
      {0x80000000u, {0x41, 0x05, 0x00, 0x80, 0x00, 0x00, 0x00}},
      {0xFFFFFFFFu, {0x41, 0x05, 0x00, 0xFF, 0xFF, 0xFF, 0xFF}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.value);
    const Bytes got = encoded(c.value, 0x41);
    EXPECT_EQ(got, c.want);
    // The five-octet form reads back as the same 32 bits.
    InStream in(got.data(), got.size());
    int back = 0;
    ASSERT_TRUE(in.getInt(&back));
    EXPECT_EQ(static_cast<unsigned int>(back), c.value);
  }
}

TEST(OutStreamInteger, Unsigned64TakesALeadingZeroFromBit63) {
  const struct { unsigned long long value; Bytes want; } cases[] = {
      {0ull, {0x46, 0x01, 0x00}},
      {0xFFFFFFFFull, {0x46, 0x05, 0x00, 0xFF, 0xFF, 0xFF, 0xFF}},
      {1ull << 32, {0x46, 0x05, 0x01, 0x00, 0x00, 0x00, 0x00}},
      {(1ull << 63) - 1,
       {0x46, 0x08, 0x7F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}},
      {1ull << 63, {0x46, 0x09, 0x00, 0x80, 0, 0, 0, 0, 0, 0, 0}},
      {~0ull,
       {0x46, 0x09, 0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.value);
    EXPECT_EQ(encoded(c.value, 0x46), c.want);
  }
}

TEST(OutStreamLength, ShortOneAndTwoOctetForms) {
  const struct { std::size_t n; Bytes want; } cases[] = {
      {0, {0x00}},          {127, {0x7F}},
      {128, {0x81, 0x80}},  {255, {0x81, 0xFF}},
      {256, {0x82, 0x01, 0x00}}, {65535, {0x82, 0xFF, 0xFF}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.n);
    OutStream out;
    out.addLen(c.n);
    EXPECT_EQ(out.bytes(), c.want);
  }
}

TEST(OutStreamSequence, LengthIsWidenedInPlaceFrom128Bytes) {
  const struct { std::size_t content; Bytes header; } cases[] = {
      {127, {0x30, 0x7F}},
      {128, {0x30, 0x81, 0x80}},
      {255, {0x30, 0x81, 0xFF}},
      {256, {0x30, 0x82, 0x01, 0x00}},
      {300, {0x30, 0x82, 0x01, 0x2C}},
      {65535, {0x30, 0x82, 0xFF, 0xFF}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.content);
    OutStream out;
    out.startSeq(0x30);
    // Content: one OCTET STRING of content-2 or content-3 or content-4
    // bytes so the whole value is exactly c.content bytes long.
    const std::size_t len_octets = c.content - 2 < 128   ? 1
                                   : c.content - 3 < 256 ? 2
                                                         : 3;
    const std::string body(c.content - 1 - len_octets, 'v');
    out.add(body, 0x04);
    out.endSeq();
    const Bytes& b = out.bytes();
    ASSERT_EQ(b.size(), c.header.size() + c.content);
    EXPECT_EQ(Bytes(b.begin(), b.begin() + c.header.size()), c.header);
    EXPECT_EQ(b[c.header.size()], 0x04);  // content moved behind the length

    InStream in(b.data(), b.size());
    EXPECT_EQ(in.enterSeq(), static_cast<int>(c.content));
    std::string back;
    ASSERT_TRUE(in.getString(&back));
    EXPECT_EQ(back, body);
    EXPECT_TRUE(in.atEnd());
  }
}

TEST(OutStreamSequence, NestedSequencesCloseInnermostFirst) {
  OutStream out;
  out.startSeq(0x30);
  out.startSeq(0xA2);
  out.add(std::string(200, 'a'), 0x04);
  out.endSeq();
  out.add(5, 0x02);
  out.endSeq();
  const Bytes& b = out.bytes();
  // inner: A2 81 CB (04 81 C8 ...200); outer content = 3 + 203 + 3 = 209.
  EXPECT_EQ(Bytes(b.begin(), b.begin() + 6),
            (Bytes{0x30, 0x81, 0xD1, 0xA2, 0x81, 0xCB}));
  EXPECT_EQ(b.size(), 3u + 209u);
}

TEST(OutStreamSequence, FailuresAreLoggedAndLeaveOutputAlone) {
  OutStream out;
  testing::internal::CaptureStdout();
  out.endSeq();
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "SNMP OutStream: no sequence\n");
  EXPECT_EQ(out.size(), 0u);

  out.startSeq(0x30);
  out.add(std::string(65536 - 4, 'z'), 0x04);  // 65536 bytes of content
  testing::internal::CaptureStdout();
  out.endSeq();
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "SNMP OutStream: sequence too long\n");
  EXPECT_EQ(out.bytes()[1], 0x00);
  EXPECT_EQ(out.size(), 65538u);
  testing::internal::CaptureStdout();
  out.endSeq();  // it was popped all the same
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "SNMP OutStream: no sequence\n");
}

TEST(OutStreamSequence, WideningShiftsSetMarksOnly) {
  OutStream out;
  out.startSeq(0x30);
  out.setMark(OutStream::kAuthParamsMark, 2);
  out.add(std::string(300, 'a'), 0x04);
  out.endSeq();
  EXPECT_EQ(out.mark(OutStream::kAuthParamsMark), 4u);
  EXPECT_EQ(out.mark(OutStream::kScopedPduMark), 0u);
  out.startSeq(0x30);
  out.add(std::string(130, 'b'), 0x04);
  out.endSeq();
  EXPECT_EQ(out.mark(OutStream::kAuthParamsMark), 5u);
}

TEST(OutStreamErrorPlaceholders, WrittenOnceAndOverwritten) {
  OutStream out;
  out.addErrorStatus(0);
  out.addErrorIndex(0);
  out.add(1, 0x02);
  out.addErrorStatus(2);
  out.addErrorIndex(0x103);  // low 8 bits only
  EXPECT_EQ(out.bytes(), (Bytes{0x02, 0x01, 0x02, 0x02, 0x01, 0x03,
                                0x02, 0x01, 0x01}));
}

TEST(OutStreamErrorPlaceholders, StatusSetAfterAWidenedCloseLandsEarly) {
  OutStream out;
  out.startSeq(0x30);
  out.addErrorStatus(0);  // value byte at offset 4
  out.add(std::string(200, 'a'), 0x04);
  out.endSeq();  // widens: the placeholder moves to offset 5
  out.addErrorStatus(2);
  const Bytes& b = out.bytes();
  EXPECT_EQ(Bytes(b.begin(), b.begin() + 4), (Bytes{0x30, 0x81, 0xCE, 0x02}));
  EXPECT_EQ(b[4], 0x02);  // written over the placeholder's length octet
  EXPECT_EQ(b[5], 0x00);  // the real value stays 0
}

TEST(OutStreamOid, ArcsInBase128WithTheFirstTwoShared) {
  const struct { OID oid; Bytes want; } cases[] = {
      {OID("1.3.6.1"), {0x06, 0x03, 0x2B, 0x06, 0x01}},
      {OID("1.3.840"), {0x06, 0x03, 0x2B, 0x86, 0x48}},
      {OID("0.0"), {0x06, 0x01, 0x00}},
      {OID("2.39.127.128"), {0x06, 0x04, 0x77, 0x7F, 0x81, 0x00}},
      {OID("1.3.268435455"), {0x06, 0x05, 0x2B, 0xFF, 0xFF, 0xFF, 0x7F}},
      {OID("1.3.268435456"),
       {0x06, 0x06, 0x2B, 0x81, 0x80, 0x80, 0x80, 0x00}},
      {OID("1.3.4294967295"),
       {0x06, 0x06, 0x2B, 0x8F, 0xFF, 0xFF, 0xFF, 0x7F}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.oid.str());
    OutStream out;
    out.addOID(c.oid, 0x06);
    EXPECT_EQ(out.bytes(), c.want);
    InStream in(out.bytes().data(), out.size());
    OID back;
    ASSERT_TRUE(in.getOID(&back));
    EXPECT_EQ(back, c.oid);
  }
}

TEST(OutStreamOid, UnencodableOidsWriteNothing) {
  const struct { OID oid; const char* msg; } cases[] = {
      {OID(), "SNMP OutStream: cannot encode OID shorter that 2\n"},
      {OID("1"), "SNMP OutStream: cannot encode OID shorter that 2\n"},
      {OID("3.0"), "SNMP OutStream: encoding invalid OID\n"},
      {OID("1.40.1"), "SNMP OutStream: encoding invalid OID\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.oid.str());
    OutStream out;
    testing::internal::CaptureStdout();
    out.addOID(c.oid, 0x06);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), c.msg);
    EXPECT_EQ(out.size(), 0u);
  }
}

TEST(OutStreamBits, UnusedBitCountMustBeBelow8) {
  OutStream out;
  const unsigned char good[] = {0x07, 0x80};
  const unsigned char bad[] = {0x08, 0x80};
  testing::internal::CaptureStdout();
  out.addBits(bad, 2, 0x03);
  out.addBits(good, 0, 0x03);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "SNMP OutStream: building invalid bitstring\n"
            "SNMP OutStream: building invalid bitstring\n");
  EXPECT_EQ(out.size(), 0u);
  out.addBits(good, 2, 0x03);
  EXPECT_EQ(out.bytes(), (Bytes{0x03, 0x02, 0x07, 0x80}));
}

Bytes byType(const std::string& text, unsigned int type) {
  OutStream out;
  out.addByType(text, type);
  return out.bytes();
}

TEST(OutStreamByType, IpAddressIsVariableLength) {
  EXPECT_EQ(byType("0.0.0.1", 0x40), (Bytes{0x40, 0x01, 0x01}));
  EXPECT_EQ(byType("192.168.1.1", 0x40),
            (Bytes{0x40, 0x05, 0x00, 0xC0, 0xA8, 0x01, 0x01}));
  EXPECT_EQ(byType("10.1.2.3", 0x40),
            (Bytes{0x40, 0x04, 0x0A, 0x01, 0x02, 0x03}));
}

TEST(OutStreamByType, GaugeCounter64AndUnknownTypesAreOmitted) {
  EXPECT_TRUE(byType("5", 0x42).empty());
  EXPECT_TRUE(byType("5", 0x46).empty());
  EXPECT_TRUE(byType("5", 0x99).empty());
  OutStream out;
  out.addVarBind(VariableBinding{OID("1.3.6"), 0x42, "5"});
  EXPECT_EQ(out.bytes(), (Bytes{0x30, 0x04, 0x06, 0x02, 0x2B, 0x06}));
}

TEST(OutStreamByType, TextConversions) {
  EXPECT_EQ(byType("-5", 0x02), (Bytes{0x02, 0x01, 0xFB}));
  EXPECT_EQ(byType("junk", 0x02), (Bytes{0x02, 0x01, 0x00}));
  EXPECT_EQ(byType("hi", 0x04), (Bytes{0x04, 0x02, 'h', 'i'}));
  EXPECT_EQ(byType(std::string("a\0b", 3), 0x04), (Bytes{0x04, 0x01, 'a'}));
  EXPECT_EQ(byType("", 0x04), (Bytes{0x04, 0x00}));
  EXPECT_EQ(byType("ignored", 0x05), (Bytes{0x05, 0x00}));
  EXPECT_EQ(byType(".1.3.6", 0x06), (Bytes{0x06, 0x02, 0x2B, 0x06}));
  EXPECT_EQ(byType("4294967295", 0x41),
            (Bytes{0x41, 0x05, 0x00, 0xFF, 0xFF, 0xFF, 0xFF}));
  EXPECT_EQ(byType("360000", 0x43), (Bytes{0x43, 0x03, 0x05, 0x7E, 0x40}));
  EXPECT_EQ(byType("7", 0x47), (Bytes{0x47, 0x01, 0x07}));
}

TEST(OutStreamByType, VarBindWrapsNameAndValue) {
  OutStream out;
  out.addVarBind(VariableBinding{OID("1.3.6.1"), 0x04, "up"});
  EXPECT_EQ(out.bytes(), (Bytes{0x30, 0x09, 0x06, 0x03, 0x2B, 0x06, 0x01,
                                0x04, 0x02, 'u', 'p'}));
}

TEST(Hexdump, SixteenBytesPerLineThenALineEnd) {
  unsigned char bytes[17];
  for (unsigned i = 0; i < 17; ++i) bytes[i] = static_cast<unsigned char>(i * 15);
  testing::internal::CaptureStdout();
  hexdump(bytes, 17);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "00 0f 1e 2d 3c 4b 5a 69 78 87 96 a5 b4 c3 d2 e1 \nf0 \n");
  testing::internal::CaptureStdout();
  hexdump(bytes, 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "\n");
}

}  // namespace
