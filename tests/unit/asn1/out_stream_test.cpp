// BER encoding: minimal integers, lengths, back-patched sequences, OIDs,
// values from text and the error placeholders.
#include "asn1/out_stream.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "asn1/hexdump.h"
#include "asn1/in_stream.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

template <class T>
Bytes encoded(T value, unsigned int tag) {
  OutStream out;
  out.add(value, tag);
  return out.bytes();
}

TEST(OutStreamInteger, MinimalAtEveryBoundaryAndReadsBack) {
  const struct {
    int v;
    Bytes want;
  } cases[] = {
      {0, {2, 1, 0x00}},
      {-1, {2, 1, 0xFF}},
      {127, {2, 1, 0x7F}},
      {128, {2, 2, 0x00, 0x80}},
      {-128, {2, 1, 0x80}},
      {-129, {2, 2, 0xFF, 0x7F}},
      {32767, {2, 2, 0x7F, 0xFF}},
      {32768, {2, 3, 0x00, 0x80, 0x00}},
      {-32768, {2, 2, 0x80, 0x00}},
      {-32769, {2, 3, 0xFF, 0x7F, 0xFF}},
      {INT_MAX, {2, 4, 0x7F, 0xFF, 0xFF, 0xFF}},
      {INT_MIN, {2, 4, 0x80, 0x00, 0x00, 0x00}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.v);
    EXPECT_EQ(encoded(c.v, 2), c.want);
    InStream in(c.want.data(), c.want.size());
    int back = 0;
    EXPECT_TRUE(in.getInt(&back) && in.atEnd());
    EXPECT_EQ(back, c.v);
  }
}

TEST(OutStreamInteger, UnsignedTakesALeadingZeroFromTheTopBit) {
  const struct {
    unsigned int v;
    Bytes want;
  } cases32[] = {
      {0u, {0x41, 1, 0x00}},
      {128u, {0x41, 2, 0x00, 0x80}},
      {32768u, {0x41, 3, 0x00, 0x80, 0x00}},
      {0x7FFFFFFFu, {0x41, 4, 0x7F, 0xFF, 0xFF, 0xFF}},
      {0x80000000u, {0x41, 5, 0x00, 0x80, 0x00, 0x00, 0x00}},
      {0xFFFFFFFFu, {0x41, 5, 0x00, 0xFF, 0xFF, 0xFF, 0xFF}},
  };
  for (const auto& c : cases32) {
    SCOPED_TRACE(c.v);
    EXPECT_EQ(encoded(c.v, 0x41), c.want);
    InStream in(c.want.data(), c.want.size());  // five octets read back
    int back = 0;
    EXPECT_TRUE(in.getInt(&back));
    EXPECT_EQ(static_cast<unsigned int>(back), c.v);
  }
  const struct {
    unsigned long long v;
    Bytes want;
  } cases64[] = {
      {0ull, {0x46, 1, 0x00}},
      {1ull << 32, {0x46, 5, 0x01, 0, 0, 0, 0}},
      {(1ull << 63) - 1, {0x46, 8, 0x7F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}},
      {1ull << 63, {0x46, 9, 0x00, 0x80, 0, 0, 0, 0, 0, 0, 0}},
      {~0ull, {0x46, 9, 0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}},
  };
  for (const auto& c : cases64) {
    SCOPED_TRACE(c.v);
    EXPECT_EQ(encoded(c.v, 0x46), c.want);
  }
}

TEST(OutStreamSequence, LengthWidenedInPlaceFrom128Bytes) {
  const struct {
    std::size_t content;
    Bytes header;
  } cases[] = {
      {127, {0x30, 0x7F}},
      {128, {0x30, 0x81, 0x80}},
      {255, {0x30, 0x81, 0xFF}},
      {256, {0x30, 0x82, 0x01, 0x00}},
      {300, {0x30, 0x82, 0x01, 0x2C}},
      {65535, {0x30, 0x82, 0xFF, 0xFF}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.content);
    // One OCTET STRING whose tag, length and body fill exactly c.content.
    const std::size_t len_octets = c.content - 2 < 128 ? 1 : c.content - 3 < 256 ? 2 : 3;
    const std::string body(c.content - 1 - len_octets, 'v');
    OutStream out;
    out.startSeq(0x30);
    out.add(body, 0x04);
    out.endSeq();
    const Bytes& b = out.bytes();
    ASSERT_EQ(b.size(), c.header.size() + c.content);
    EXPECT_EQ(Bytes(b.begin(), b.begin() + c.header.size()), c.header);
    OutStream len;
    len.addLen(c.content);
    EXPECT_EQ(len.bytes(), Bytes(c.header.begin() + 1, c.header.end()));

    InStream in(b.data(), b.size());
    std::string back;
    EXPECT_EQ(in.enterSeq(), static_cast<int>(c.content));
    EXPECT_TRUE(in.getString(&back) && in.atEnd());
    EXPECT_EQ(back, body);
  }
}

TEST(OutStreamSequence, FailuresAreLoggedAndPopped) {
  OutStream out;
  out.startSeq(0x30);
  out.add(std::string(65536 - 4, 'z'), 0x04);  // 65536 content bytes
  testing::internal::CaptureStdout();
  out.endSeq();
  out.endSeq();
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "SNMP OutStream: sequence too long\n"
            "SNMP OutStream: no sequence\n");
  EXPECT_EQ(out.bytes()[1], 0x00);
  EXPECT_EQ(out.size(), 65538u);
}

TEST(OutStreamSequence, WideningShiftsSetMarksButNotErrorPlaceholders) {
  OutStream out;
  out.startSeq(0x30);
  out.setMark(OutStream::kAuthParamsMark, 2);
  out.addErrorStatus(0);  // value byte at offset 4
  out.add(std::string(200, 'a'), 0x04);
  out.endSeq();  // one length octet inserted at offset 2
  EXPECT_EQ(out.mark(OutStream::kAuthParamsMark), 3u);
  EXPECT_EQ(out.mark(OutStream::kScopedPduMark), 0u);
  out.addErrorStatus(2);  // too late: lands on the placeholder's length
  out.addErrorIndex(0x105);
  const Bytes& b = out.bytes();
  EXPECT_EQ(Bytes(b.begin(), b.begin() + 6), (Bytes{0x30, 0x81, 0xCE, 0x02, 0x02, 0x00}));
  EXPECT_EQ(Bytes(b.end() - 3, b.end()), (Bytes{0x02, 0x01, 0x05}));
}

TEST(OutStreamOid, ArcsInBase128WithTheFirstTwoShared) {
  const struct {
    OID oid;
    Bytes want;
  } cases[] = {
      {OID("1.3.840"), {0x06, 0x03, 0x2B, 0x86, 0x48}},
      {OID("2.39.127.128"), {0x06, 0x04, 0x77, 0x7F, 0x81, 0x00}},
      {OID("1.3.268435455"), {0x06, 0x05, 0x2B, 0xFF, 0xFF, 0xFF, 0x7F}},
      {OID("1.3.268435456"), {0x06, 0x06, 0x2B, 0x81, 0x80, 0x80, 0x80, 0}},
      {OID("0.0.4294967295"), {0x06, 0x06, 0, 0x8F, 0xFF, 0xFF, 0xFF, 0x7F}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.oid.str());
    OutStream out;
    out.addOID(c.oid, 0x06);
    EXPECT_EQ(out.bytes(), c.want);
    InStream in(c.want.data(), c.want.size());
    OID back;
    EXPECT_TRUE(in.getOID(&back));
    EXPECT_EQ(back, c.oid);
  }
}

TEST(OutStreamRefused, NothingWrittenAndOneLineLogged) {
  OutStream out;
  const unsigned char bits[] = {0x08, 0x80};
  testing::internal::CaptureStdout();
  out.addOID(OID("1"), 0x06);
  out.addOID(OID("3.0"), 0x06);
  out.addOID(OID("1.40"), 0x06);
  out.addBits(bits, 2, 0x03);
  out.addBits(bits, 0, 0x03);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "SNMP OutStream: cannot encode OID shorter that 2\n"
            "SNMP OutStream: encoding invalid OID\n"
            "SNMP OutStream: encoding invalid OID\n"
            "SNMP OutStream: building invalid bitstring\n"
            "SNMP OutStream: building invalid bitstring\n");
  EXPECT_EQ(out.size(), 0u);
}

Bytes byType(const std::string& text, unsigned int type) {
  OutStream out;
  out.addByType(text, type);
  return out.bytes();
}

TEST(OutStreamByType, IpAddressIsVariableLength) {
  EXPECT_EQ(byType("0.0.0.1", 0x40), (Bytes{0x40, 0x01, 0x01}));
  EXPECT_EQ(byType("192.168.1.1", 0x40), (Bytes{0x40, 0x05, 0x00, 0xC0, 0xA8, 0x01, 0x01}));
}

TEST(OutStreamByType, GaugeAndCounter64AreOmittedLeavingTheName) {
  EXPECT_TRUE(byType("5", 0x42).empty());
  EXPECT_TRUE(byType("5", 0x46).empty());
  OutStream out;
  out.addVarBind(VariableBinding{OID("1.3.6"), 0x42, "5"});
  EXPECT_EQ(out.bytes(), (Bytes{0x30, 0x04, 0x06, 0x02, 0x2B, 0x06}));
}

TEST(OutStreamByType, TextConversions) {
  EXPECT_EQ(byType("-5", 0x02), (Bytes{0x02, 0x01, 0xFB}));
  EXPECT_EQ(byType(std::string("a\0b", 3), 0x04), (Bytes{0x04, 0x01, 'a'}));
  EXPECT_EQ(byType("x", 0x05), (Bytes{0x05, 0x00}));
  EXPECT_EQ(byType(".1.3.6", 0x06), (Bytes{0x06, 0x02, 0x2B, 0x06}));
  EXPECT_EQ(byType("4294967295", 0x41), (Bytes{0x41, 0x05, 0x00, 0xFF, 0xFF, 0xFF, 0xFF}));
  EXPECT_EQ(byType("360000", 0x43), (Bytes{0x43, 0x03, 0x05, 0x7E, 0x40}));
  OutStream out;
  out.addVarBind(VariableBinding{OID("1.3.6.1"), 0x47, "7"});
  EXPECT_EQ(out.bytes(), (Bytes{0x30, 0x08, 0x06, 0x03, 0x2B, 0x06, 0x01, 0x47, 1, 7}));
}

TEST(Hexdump, SixteenBytesPerLineThenALineEnd) {
  unsigned char bytes[17];
  for (unsigned i = 0; i < 17; ++i) bytes[i] = static_cast<unsigned char>(i * 15);
  testing::internal::CaptureStdout();
  hexdump(bytes, 17);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "00 0f 1e 2d 3c 4b 5a 69 78 87 96 a5 b4 c3 d2 e1 \nf0 \n");
}

}  // namespace
