// BER encoding: minimal integers, lengths, back-patched sequences, OIDs,
// values from text and the error placeholders.
#include "asn1/out_stream.h"

#include <gtest/gtest.h>

#include <climits>
#include <sstream>
#include <string>
#include <vector>

#include "asn1/in_stream.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

template <class T>
Bytes encoded(T value, unsigned int tag) {
  OutStream out;
  out.add(value, tag);
  return out.bytes();
}

// Bytes from hex text: "02 01 ff".
Bytes hex(const std::string& text) {
  Bytes b;
  std::istringstream in(text);
  for (unsigned int v; in >> std::hex >> v;) b.push_back(static_cast<std::uint8_t>(v));
  return b;
}

TEST(OutStreamInteger, SignedMinimalAtEveryBoundaryAndReadsBack) {
  const std::pair<int, const char*> cases[] = {{0, "02 01 00"},
                                               {-1, "02 01 ff"},
                                               {127, "02 01 7f"},
                                               {128, "02 02 00 80"},
                                               {-128, "02 01 80"},
                                               {-129, "02 02 ff 7f"},
                                               {32767, "02 02 7f ff"},
                                               {32768, "02 03 00 80 00"},
                                               {-32768, "02 02 80 00"},
                                               {-32769, "02 03 ff 7f ff"},
                                               {INT_MIN, "02 04 80 00 00 00"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.first);
    const Bytes want = hex(c.second);
    EXPECT_EQ(encoded(c.first, 2), want);
    InStream in(want.data(), want.size());
    int back = 0;
    EXPECT_TRUE(in.getInt(&back) && back == c.first);
  }
}

TEST(OutStreamInteger, UnsignedTakesALeadingZeroFromTheTopBit) {
  EXPECT_EQ(encoded(0x7FFFFFFFu, 0x41), hex("41 04 7f ff ff ff"));
  EXPECT_EQ(encoded(0x80000000u, 0x41), hex("41 05 00 80 00 00 00"));
  const Bytes max32 = encoded(0xFFFFFFFFu, 0x41);
  EXPECT_EQ(max32, hex("41 05 00 ff ff ff ff"));
  InStream in(max32.data(), max32.size());
  int back = 0;
  EXPECT_TRUE(in.getInt(&back) && back == -1);  // the same 32 bits
  EXPECT_EQ(encoded(1ull << 32, 0x46), hex("46 05 01 00 00 00 00"));
  EXPECT_EQ(encoded((1ull << 63) - 1, 0x46), hex("46 08 7f ff ff ff ff ff ff ff"));
  EXPECT_EQ(encoded(1ull << 63, 0x46), hex("46 09 00 80 00 00 00 00 00 00 00"));
  EXPECT_EQ(encoded(~0ull, 0x46), hex("46 09 00 ff ff ff ff ff ff ff ff"));
}

TEST(OutStreamSequence, LengthWidenedInPlaceFrom128Bytes) {
  const std::pair<std::size_t, const char*> cases[] = {
      {127, "30 7f"},       {128, "30 81 80"},    {255, "30 81 ff"},
      {256, "30 82 01 00"}, {300, "30 82 01 2c"}, {65535, "30 82 ff ff"}};
  for (const auto& [content, header_hex] : cases) {
    SCOPED_TRACE(content);
    const Bytes header = hex(header_hex);
    // One OCTET STRING whose tag, length and body fill exactly content.
    const std::size_t len_octets = content - 2 < 128 ? 1 : content - 3 < 256 ? 2 : 3;
    const std::string body(content - 1 - len_octets, 'v');
    OutStream out;
    out.startSeq(0x30);
    out.add(body, 0x04);
    out.endSeq();
    const Bytes& b = out.bytes();
    ASSERT_EQ(b.size(), header.size() + content);
    EXPECT_EQ(Bytes(b.begin(), b.begin() + header.size()), header);
    OutStream len;
    len.addLen(content);
    EXPECT_EQ(len.bytes(), Bytes(header.begin() + 1, header.end()));

    InStream in(b.data(), b.size());
    std::string back;
    EXPECT_EQ(in.enterSeq(), static_cast<int>(content));
    EXPECT_TRUE(in.getString(&back) && back == body && in.atEnd());
  }
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
  EXPECT_EQ(Bytes(b.begin(), b.begin() + 6), hex("30 81 ce 02 02 00"));
  EXPECT_EQ(Bytes(b.end() - 3, b.end()), hex("02 01 05"));
}

TEST(OutStreamOid, ArcsInBase128WithTheFirstTwoShared) {
  const std::pair<const char*, const char*> cases[] = {
      {"1.3.840", "06 03 2b 86 48"},
      {"2.39.127.128", "06 04 77 7f 81 00"},
      {"1.3.268435455", "06 05 2b ff ff ff 7f"},
      {"1.3.268435456", "06 06 2b 81 80 80 80 00"},
      {"0.0.4294967295", "06 06 00 8f ff ff ff 7f"}};
  for (const auto& [text, want] : cases) {
    SCOPED_TRACE(text);
    OutStream out;
    out.addOID(OID(text), 0x06);
    EXPECT_EQ(out.bytes(), hex(want));
    InStream in(out.bytes().data(), out.size());
    OID back;
    EXPECT_TRUE(in.getOID(&back) && back == OID(text));
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
  out.endSeq();
  EXPECT_EQ(out.size(), 0u);
  out.startSeq(0x30);
  out.add(std::string(65536 - 4, 'z'), 0x04);  // 65536 content bytes
  out.endSeq();
  out.endSeq();  // the refused sequence was closed all the same
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "SNMP OutStream: cannot encode OID shorter that 2\n"
            "SNMP OutStream: encoding invalid OID\n"
            "SNMP OutStream: encoding invalid OID\n"
            "SNMP OutStream: building invalid bitstring\n"
            "SNMP OutStream: building invalid bitstring\n"
            "SNMP OutStream: no sequence\n"
            "SNMP OutStream: sequence too long\n"
            "SNMP OutStream: no sequence\n");
  EXPECT_EQ(out.bytes()[1], 0x00);
}

Bytes byType(const std::string& text, unsigned int type) {
  OutStream out;
  out.addByType(text, type);
  return out.bytes();
}

TEST(OutStreamByType, IpAddressIsVariableLengthGaugeAndCounter64Omitted) {
  EXPECT_EQ(byType("0.0.0.1", 0x40), (Bytes{0x40, 0x01, 0x01}));
  EXPECT_EQ(byType("192.168.1.1", 0x40), (Bytes{0x40, 0x05, 0x00, 0xC0, 0xA8, 0x01, 0x01}));
  EXPECT_TRUE(byType("5", 0x42).empty());
  EXPECT_TRUE(byType("5", 0x46).empty());
  OutStream out;
  out.addVarBind(VariableBinding{OID("1.3.6"), 0x42, "5"});
  EXPECT_EQ(out.bytes(), (Bytes{0x30, 0x04, 0x06, 0x02, 0x2B, 0x06}));  // name only
}

TEST(OutStreamByType, TextConversions) {
  EXPECT_EQ(byType("-5", 0x02), (Bytes{0x02, 0x01, 0xFB}));
  EXPECT_EQ(byType(std::string("a\0b", 3), 0x04), (Bytes{0x04, 0x01, 'a'}));
  EXPECT_EQ(byType("x", 0x05), (Bytes{0x05, 0x00}));
  EXPECT_EQ(byType(".1.3.6", 0x06), (Bytes{0x06, 0x02, 0x2B, 0x06}));
  EXPECT_EQ(byType("4294967295", 0x41), (Bytes{0x41, 0x05, 0x00, 0xFF, 0xFF, 0xFF, 0xFF}));
  EXPECT_EQ(byType("360000", 0x43), (Bytes{0x43, 0x03, 0x05, 0x7E, 0x40}));
  EXPECT_EQ(byType("7", 0x47), (Bytes{0x47, 0x01, 0x07}));
}

}  // namespace
