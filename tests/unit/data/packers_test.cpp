// The packer family: BER values, SET decoding and index forms.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "asn1/out_stream.h"
#include "data/bignum_packer.h"
#include "data/data_member.h"
#include "data/ip_packer.h"
#include "data/num_packer.h"
#include "data/oid_packer.h"
#include "data/string_packer.h"
#include "engine/context.h"

namespace {

// A module record: several fields behind a vtable, so the member-pointer
// conversion has to land on the right offsets.
struct Row : Data {
  int num = 0;
  unsigned long long big = 0;
  std::string name;
  std::vector<unsigned char> mac;
  OID oid;
  unsigned int ip = 0;
};

using Bytes = std::vector<uint8_t>;

Bytes packed(Packer& packer, const Data* record) {
  unsigned char none[1] = {0};
  Context ctx(none, 0);
  packer.pack(ctx, record);
  return ctx.out.bytes();
}

// Runs unpack over the BER bytes of one SET value.
void unpackFrom(Packer& packer, Data* record, Bytes ber) {
  Context ctx(ber.data(), static_cast<unsigned>(ber.size()));
  packer.unpack(record, ctx);
}

// 10.0.0.1 as the agent keeps it: first octet in the low byte.
constexpr unsigned int kTenDotOne = 10u | (1u << 24);

}  // namespace

TEST(NumPacker, PacksWithTagAndDecodesSet) {
  Row row;
  row.num = -2;
  DataNumPacker packer(dataMember(&Row::num), 0x02);
  EXPECT_EQ(packed(packer, &row), (Bytes{0x02, 0x01, 0xfe}));
  unpackFrom(packer, &row, {0x02, 0x01, 0x05});
  EXPECT_EQ(row.num, 5);
  // A value that can't be read leaves the record alone.
  unpackFrom(packer, &row, {0x02, 0x05, 0x01});
  EXPECT_EQ(row.num, 5);
}

TEST(NumPacker, ConstantConsumesSetValueAndKeepsItsOwn) {
  Row row;
  ConstNumPacker constant(42, 0x41);
  DataNumPacker field(dataMember(&Row::num), 0x02);
  Bytes two{0x02, 0x01, 0x05, 0x02, 0x01, 0x07};
  Context ctx(two.data(), static_cast<unsigned>(two.size()));
  constant.unpack(&row, ctx);
  field.unpack(&row, ctx);
  EXPECT_EQ(row.num, 7) << "the constant must read its value off the stream";
  EXPECT_EQ(packed(constant, nullptr), (Bytes{0x41, 0x01, 0x2a}));
}

TEST(NumPacker, IndexForm) {
  Row row;
  row.num = -1;
  DataNumPacker packer(dataMember(&Row::num), 0x02);
  EXPECT_EQ(packer.getAsKey(&row), (OID{4294967295u}));

  Row back;
  EXPECT_EQ(packer.setFromKey(&back, OID{7, 1, 2}), (OID{1, 2}));
  EXPECT_EQ(back.num, 7);
  EXPECT_TRUE(packer.setFromKey(&back, OID()).empty());
  EXPECT_EQ(back.num, 7);
}

TEST(StringPacker, VariableLengthIndexRoundTrip) {
  Row row;
  row.name = "ab";
  DataStringPacker packer(dataMember(&Row::name), 0x04, 0);
  EXPECT_EQ(packer.getAsKey(&row), (OID{2, 97, 98}));
  row.name.clear();
  EXPECT_EQ(packer.getAsKey(&row), (OID{0}));

  Row back;
  EXPECT_EQ(packer.setFromKey(&back, OID{2, 97, 98, 9}), (OID{9}));
  EXPECT_EQ(back.name, "ab");
  // Length not below the arcs present, or a byte of 256: refused, unchanged.
  EXPECT_TRUE(packer.setFromKey(&back, OID{3, 97, 98}).empty());
  EXPECT_TRUE(packer.setFromKey(&back, OID{1, 256, 4}).empty());
  EXPECT_EQ(back.name, "ab");
}

TEST(StringPacker, FixedLengthKeyIsReadBackLengthPrefixed) {
  Row row;
  row.mac = {0x4c, 0x5e, 0x0c, 0x00, 0x00, 0x01};
  DataRawPacker packer(dataMember(&Row::mac), 0x04, 6);
  EXPECT_EQ(packer.getAsKey(&row), (OID{0x4c, 0x5e, 0x0c, 0, 0, 1}));

  // The six key bytes are read as a length-prefixed string: the first byte
  // is a length.  This keeps the asymmetry with getAsKey on purpose.
  Row back;
  EXPECT_EQ(packer.setFromKey(&back, OID{2, 10, 20, 30, 40, 50, 7}), (OID{7}));
  EXPECT_EQ(back.mac, (std::vector<unsigned char>{10, 20}));
  // A real hardware address starts with a "length" too large to read.
  EXPECT_TRUE(packer.setFromKey(&back, packer.getAsKey(&row)).empty());
  EXPECT_TRUE(packer.setFromKey(&back, OID{1, 2, 3}).empty());
  EXPECT_EQ(back.mac, (std::vector<unsigned char>{10, 20}));
}

TEST(StringPacker, KeyOfWrongFixedLengthIsEmptyAndReported) {
  Row row;
  row.mac = {1, 2, 3, 4, 5};
  DataRawPacker packer(dataMember(&Row::mac), 0x04, 6);
  testing::internal::CaptureStderr();
  OID key = packer.getAsKey(&row);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "inconsistent key length\n");
  EXPECT_TRUE(key.empty());
}

TEST(StringPacker, SetTracesValueAndKeepsBytes) {
  Row row;
  DataStringPacker text(dataMember(&Row::name), 0x04, 0);
  testing::internal::CaptureStderr();
  unpackFrom(text, &row, {0x04, 0x05, 'h', 'e', 'l', 'l', 'o'});
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "unpacked s = hello\n");
  EXPECT_EQ(row.name, "hello");

  DataRawPacker raw(dataMember(&Row::mac), 0x04, 0);
  testing::internal::CaptureStderr();
  unpackFrom(raw, &row, {0x04, 0x03, 0x00, 0xff, 0x80});
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(row.mac, (std::vector<unsigned char>{0x00, 0xff, 0x80}));
  EXPECT_EQ(packed(raw, &row), (Bytes{0x04, 0x03, 0x00, 0xff, 0x80}));
  ConstStringPacker constant("up", 0x04, 0);
  EXPECT_EQ(packed(constant, nullptr), (Bytes{0x04, 0x02, 'u', 'p'}));
}

TEST(OIDPacker, CountPrefixedIndexAndValue) {
  Row row;
  row.oid = OID{1, 3, 6};
  DataOIDPacker packer(dataMember(&Row::oid), 0x06);
  EXPECT_EQ(packed(packer, &row), (Bytes{0x06, 0x02, 0x2b, 0x06}));
  EXPECT_EQ(packer.getAsKey(&row), (OID{3, 1, 3, 6}));

  Row back;
  EXPECT_EQ(packer.setFromKey(&back, OID{3, 1, 3, 6, 9}), (OID{9}));
  EXPECT_EQ(back.oid, (OID{1, 3, 6}));
  EXPECT_TRUE(packer.setFromKey(&back, OID{5, 1, 2}).empty());
  EXPECT_EQ(back.oid, (OID{1, 3, 6}));

  unpackFrom(packer, &back, {0x06, 0x03, 0x2b, 0x06, 0x01});
  EXPECT_EQ(back.oid, (OID{1, 3, 6, 1}));
}

TEST(IPPacker, FirstOctetFirstOnWireAndInIndex) {
  Row row;
  row.ip = kTenDotOne;
  DataIPPacker packer(dataMember(&Row::ip), 0x40);
  EXPECT_EQ(packed(packer, &row), (Bytes{0x40, 0x04, 10, 0, 0, 1}));
  EXPECT_EQ(packer.getAsKey(&row), (OID{10, 0, 0, 1}));

  Row back;
  EXPECT_EQ(packer.setFromKey(&back, OID{192, 168, 1, 20, 3}), (OID{3}));
  EXPECT_EQ(back.ip, 192u | (168u << 8) | (1u << 16) | (20u << 24));
  EXPECT_TRUE(packer.setFromKey(&back, OID{10, 0, 0, 300}).empty());
  EXPECT_TRUE(packer.setFromKey(&back, OID{10, 0, 0}).empty());
  EXPECT_EQ(back.ip, 192u | (168u << 8) | (1u << 16) | (20u << 24));
}

TEST(IPPacker, SetTakesOnlyFourOctets) {
  Row row;
  DataIPPacker packer(dataMember(&Row::ip), 0x40);
  testing::internal::CaptureStderr();
  unpackFrom(packer, &row, {0x40, 0x05, 1, 2, 3, 4, 5});
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(row.ip, 0u);
  unpackFrom(packer, &row, {0x40, 0x04, 10, 0, 0, 1});
  EXPECT_EQ(row.ip, kTenDotOne);
}

TEST(BignumPacker, SixtyFourBitValueButNoIndexForm) {
  Row row;
  row.big = 1ULL << 40;
  DataBignumPacker packer(dataMember(&Row::big), 0x46);
  EXPECT_EQ(packed(packer, &row), (Bytes{0x46, 0x06, 0x01, 0, 0, 0, 0, 0}));
  unpackFrom(packer, &row, {0x46, 0x02, 0x01, 0x00});
  EXPECT_EQ(row.big, 256u);

  testing::internal::CaptureStderr();
  EXPECT_TRUE(packer.getAsKey(&row).empty());
  EXPECT_TRUE(packer.setFromKey(&row, OID{1, 2}).empty());
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "BUG: Packer::getAsKey called\nBUG: Packer::setFromKey called\n");
  EXPECT_EQ(row.big, 256u);
}
