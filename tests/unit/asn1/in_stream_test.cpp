// BER decoding: lengths, integers, OIDs, strings, sequences, and how failed
// reads report and leave the stream.
#include "asn1/in_stream.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

// A read that fails must print exactly `output` and leave the cursor where
// it was, so that the stream stays usable.
void expectFailure(const Bytes& b, const std::function<bool(InStream&)>& read,
                   const std::string& output) {
  SCOPED_TRACE(output);
  InStream in(b.data(), b.size());
  testing::internal::CaptureStdout();
  EXPECT_FALSE(read(in));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), output);
  EXPECT_EQ(in.position(), 0u);
}

TEST(InStreamFailure, EachReasonPrintsItsLineAndKeepsTheCursor) {
  int i = 42;
  unsigned long long u = 42;
  std::string s = "keep";
  OID oid("9");
  std::vector<unsigned char> bits;
  auto len = [](InStream& in) { return in.getLen() >= 0; };
  auto getInt = [&i](InStream& in) { return in.getInt(&i); };
  auto get64 = [&u](InStream& in) { return in.get64(&u); };
  auto getOid = [&oid](InStream& in) { return in.getOID(&oid); };
  auto getBits = [&bits](InStream& in) { return in.getBits(&bits); };
  const std::string p = "SNMP InStream: ";
  expectFailure({0x80}, len, p + "we don't support indefinite lengths\n");
  expectFailure({0x85, 0, 0, 0, 0, 1}, len, p + "we can't support data lengths that long\n");
  expectFailure({0x84, 1, 2, 3}, len, p + "malformed in getLen\n");
  expectFailure({0x84, 0x80, 0, 0, 0}, len, "");  // 2^31: negative, silent
  expectFailure({}, getInt, "");
  expectFailure({2, 5, 1, 0, 0, 0, 0}, getInt, p + "I don't support such large integers 2\n");
  expectFailure({2, 6, 0, 0, 0, 0, 0, 1}, getInt, p + "I don't support such large integers\n");
  expectFailure({2, 2, 1}, getInt, p + "get int overflow of message\n");
  expectFailure({0x46, 9, 0, 0x80, 0, 0, 0, 0, 0, 0, 0}, get64, p + "invalig counter64 size\n");
  expectFailure({0x46, 3, 1}, get64, p + "get 64 overflow of message\n");
  expectFailure(
      {4, 5, 'a', 'b'}, [&s](InStream& in) { return in.getString(&s); },
      p + "get string overflow of message\n");
  expectFailure(
      {5, 1, 0}, [](InStream& in) { return in.getNull(); }, p + "malformed null\n");
  expectFailure({3, 0}, getBits, p + "Invalid bitstring\n");
  expectFailure({3, 1, 8}, getBits, p + "Invalid bitstring\n");
  expectFailure({3, 3, 0}, getBits, p + "get bits overflow of message\n");
  expectFailure({6, 5, 0x2B, 6}, getOid, p + "get oid overflow of message2 5 4\n");
  expectFailure({6, 2, 0x2B, 0x80}, getOid, p + "malformed oid\n");  // arc hits the end
  expectFailure(
      {0x30, 5, 2, 1, 1}, [](InStream& in) { return in.enterSeq() >= 0; }, "");
  EXPECT_TRUE(i == 42 && u == 42 && s == "keep" && oid == OID("9") && bits.empty());
}

TEST(InStreamNumber, SignExtensionFiveOctetIntAndUnsigned64) {
  const Bytes b = {0x81, 0x05,                                // non-minimal length
                   0x02, 0x00,                                // 0
                   0x02, 0x02, 0xFF, 0x7F,                    // -129
                   0x41, 0x04, 0x80, 0,    0,    0,           // INT_MIN, any tag
                   0x02, 0x05, 0x00, 0xFF, 0xFF, 0xFF, 0xFF,  // leading 0: -1
                   0x46, 0x08, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFE};
  InStream in(b.data(), b.size());
  EXPECT_EQ(in.getLen(), 5);
  for (int want : {0, -129, INT32_MIN, -1}) {
    int v = 42;
    EXPECT_TRUE(in.getInt(&v) && v == want) << want;
  }
  unsigned long long u = 0;
  EXPECT_TRUE(in.get64(&u) && u == 0xFFFFFFFFFFFFFFFEull);  // no sign extension
  EXPECT_TRUE(in.atEnd());
}

TEST(InStreamOid, FirstOctetHoldsTwoArcsUncapped) {
  const struct {
    Bytes b;
    OID oid;
  } cases[] = {
      {{6, 0}, OID("0.0")},
      {{6, 1, 0x2B}, OID("1.3")},
      {{6, 3, 0x2B, 0x86, 0x48}, OID("1.3.840")},
      {{6, 1, 0x78}, OID("3.0")},
      {{6, 6, 0x2B, 0x9F, 0xFF, 0xFF, 0xFF, 0x7F}, OID("1.3.4294967295")},  // 37 bits wrap
  };
  for (const auto& c : cases) {
    InStream in(c.b.data(), c.b.size());
    OID oid;
    EXPECT_TRUE(in.getOID(&oid) && in.atEnd());
    EXPECT_EQ(oid, c.oid);
  }
}

TEST(InStreamOid, UnterminatedArcRunsIntoTheFollowingBytes) {
  // The content ends inside an arc, which takes the next byte (meant as the
  // following NULL's tag).
  const Bytes b = {0x06, 0x02, 0x2B, 0x81, 0x05, 0x00};
  InStream in(b.data(), b.size());
  OID oid;
  EXPECT_TRUE(in.getOID(&oid) && oid == OID("1.3.133"));
  EXPECT_EQ(in.position(), 5u);
}

TEST(InStreamSequence, ExitSkipsUnreadContentAndAnyTagReadsAsString) {
  // SEQUENCE { SEQUENCE { INTEGER 1, INTEGER 2 }, INTEGER 3 }
  const Bytes b = {0x30, 11, 0x30, 6, 2, 1, 1, 2, 1, 2, 2, 1, 3};
  InStream in(b.data(), b.size());
  int v = 0;
  std::string s;
  EXPECT_EQ(in.enterSeq(), 11);
  EXPECT_EQ(in.enterSeq(), 6);
  EXPECT_TRUE(in.getInt(&v) && v == 1);
  EXPECT_FALSE(in.atSeqEnd());
  in.exitSeq();
  EXPECT_TRUE(in.getString(&s) && s == "\x03");
  EXPECT_TRUE(in.atSeqEnd());
  in.exitSeq();
  testing::internal::CaptureStdout();
  in.exitSeq();
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "SNMP InStream: exitSeq when seqEndp is empty!\n");
  EXPECT_TRUE(in.atEnd());
  in.reset();
  EXPECT_EQ(in.enterSeq(), 11);  // from the start, nothing of the old nesting left
}

TEST(InStreamVersion, ReadOnceThenCached) {
  const Bytes good = {0x30, 0x03, 0x02, 0x01, 0x03};
  InStream v3(good.data(), good.size());
  EXPECT_EQ(v3.getVersion(), 3);
  EXPECT_EQ(v3.getVersion(), 3);
  EXPECT_TRUE(v3.atEnd());
  const Bytes bad = {0x30, 0x02, 0x02, 0x05};
  InStream in(bad.data(), bad.size());
  testing::internal::CaptureStdout();
  EXPECT_EQ(in.getVersion(), -1);
  EXPECT_EQ(in.getVersion(), -1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "SNMP InStream: get int overflow of message\n");
}

}  // namespace
