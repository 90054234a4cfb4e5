// The packer family: BER values, SET decoding and index forms.
#include "data/packers.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "engine/context.h"

namespace {

// Several fields behind a vtable, so the member-pointer conversion has to
// land on the right offsets.
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

// Decodes SET values from ber, in order, with each packer.
void unpack(std::vector<Packer*> packers, Data* record, Bytes ber) {
  Context ctx(ber.data(), static_cast<unsigned>(ber.size()));
  for (Packer* p : packers) p->unpack(record, ctx);
}

constexpr unsigned int kTenDotOne = 10u | (1u << 24);  // first octet lowest

}  // namespace

TEST(NumPacker, ValueSetAndIndex) {
  Row row;
  row.num = -2;
  DataNumPacker field(dataMember(&Row::num), 0x02);
  ConstNumPacker constant(42, 0x41);
  EXPECT_EQ(packed(field, &row), (Bytes{0x02, 0x01, 0xfe}));
  EXPECT_EQ(field.getAsKey(&row), (OID{4294967294u}));
  // The constant reads its value off the stream and drops it.
  unpack({&constant, &field}, &row, {0x02, 0x01, 0x05, 0x02, 0x01, 0x07});
  EXPECT_EQ(row.num, 7);
  EXPECT_EQ(packed(constant, &row), (Bytes{0x41, 0x01, 0x2a}));
  unpack({&field}, &row, {0x02, 0x05, 0x01});  // truncated: unchanged
  EXPECT_EQ(row.num, 7);

  Row back;
  EXPECT_EQ(field.setFromKey(&back, OID{9, 1, 2}), (OID{1, 2}));
  EXPECT_EQ(back.num, 9);
  EXPECT_TRUE(field.setFromKey(&back, OID()).empty());
  EXPECT_EQ(back.num, 9);
}

TEST(StringPacker, VariableLengthIndexRoundTrip) {
  Row row, back;
  DataStringPacker packer(dataMember(&Row::name), 0x04, 0);
  EXPECT_EQ(packer.getAsKey(&row), (OID{0}));
  row.name = "ab";
  EXPECT_EQ(packer.getAsKey(&row), (OID{2, 97, 98}));
  EXPECT_EQ(packer.setFromKey(&back, OID{2, 97, 98, 9}), (OID{9}));
  EXPECT_EQ(back.name, "ab");
  // A length not below the arcs present, or a byte of 256: refused.
  EXPECT_TRUE(packer.setFromKey(&back, OID{3, 97, 98}).empty());
  EXPECT_TRUE(packer.setFromKey(&back, OID{1, 256, 4}).empty());
  EXPECT_EQ(back.name, "ab");
}

TEST(StringPacker, FixedLengthKeyIsReadBackLengthPrefixed) {
  Row row, back;
  row.mac = {0x4c, 0x5e, 0x0c, 0x00, 0x00, 0x01};
  DataRawPacker packer(dataMember(&Row::mac), 0x04, 6);
  EXPECT_EQ(packer.getAsKey(&row), (OID{0x4c, 0x5e, 0x0c, 0, 0, 1}));
  // Deliberate asymmetry: the six key bytes are read length-prefixed.
  EXPECT_EQ(packer.setFromKey(&back, OID{2, 10, 20, 30, 40, 50, 7}), (OID{7}));
  EXPECT_EQ(back.mac, (std::vector<unsigned char>{10, 20}));
  // So a real hardware address (first byte 0x4c) can't be read back.
  EXPECT_TRUE(packer.setFromKey(&back, packer.getAsKey(&row)).empty());
  EXPECT_TRUE(packer.setFromKey(&back, OID{1, 2, 3}).empty());
  EXPECT_EQ(back.mac, (std::vector<unsigned char>{10, 20}));

  row.mac.pop_back();
  testing::internal::CaptureStderr();
  EXPECT_TRUE(packer.getAsKey(&row).empty());
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "inconsistent key length\n");
}

TEST(StringPacker, SetIsTracedAndKeepsEveryByte) {
  Row row;
  DataStringPacker text(dataMember(&Row::name), 0x04, 0);
  DataRawPacker raw(dataMember(&Row::mac), 0x04, 0);
  testing::internal::CaptureStderr();
  unpack({&text, &raw}, &row, {0x04, 0x02, 'u', 'p', 0x04, 0x03, 0x00, 0xff, 0x80});
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            std::string("unpacked s = up\nunpacked s = \0\xff\x80\n", 33));
  EXPECT_EQ(row.name, "up");
  EXPECT_EQ(packed(raw, &row), (Bytes{0x04, 0x03, 0x00, 0xff, 0x80}));
}

TEST(OIDPacker, CountPrefixedIndexAndValue) {
  Row row, back;
  row.oid = OID{1, 3, 6};
  DataOIDPacker packer(dataMember(&Row::oid), 0x06);
  EXPECT_EQ(packed(packer, &row), (Bytes{0x06, 0x02, 0x2b, 0x06}));
  EXPECT_EQ(packer.getAsKey(&row), (OID{3, 1, 3, 6}));
  EXPECT_EQ(packer.setFromKey(&back, OID{3, 1, 3, 6, 9}), (OID{9}));
  EXPECT_EQ(back.oid, (OID{1, 3, 6}));
  EXPECT_TRUE(packer.setFromKey(&back, OID{5, 1, 2}).empty());
}

TEST(IPPacker, FirstOctetFirstOnWireAndInIndex) {
  Row row, back;
  row.ip = kTenDotOne;
  DataIPPacker packer(dataMember(&Row::ip), 0x40);
  EXPECT_EQ(packed(packer, &row), (Bytes{0x40, 0x04, 10, 0, 0, 1}));
  EXPECT_EQ(packer.getAsKey(&row), (OID{10, 0, 0, 1}));
  EXPECT_EQ(packer.setFromKey(&back, OID{10, 0, 0, 1, 3}), (OID{3}));
  EXPECT_EQ(back.ip, kTenDotOne);
  EXPECT_TRUE(packer.setFromKey(&back, OID{10, 0, 0, 300}).empty());
  EXPECT_TRUE(packer.setFromKey(&back, OID{10, 0, 0}).empty());

  // Only a 4-octet SET value is stored; anything else is dropped silently.
  testing::internal::CaptureStderr();
  unpack({&packer}, &back, {0x40, 0x05, 1, 2, 3, 4, 5});
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(back.ip, kTenDotOne);
  unpack({&packer}, &back, {0x40, 0x04, 192, 0, 2, 1});
  EXPECT_EQ(back.ip, 192u | (2u << 16) | (1u << 24));
}
