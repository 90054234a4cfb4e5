// Registration in the MIB tree, the community list, the error classes and
// the base packer's index operations.
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>

#include "engine/access_error.h"
#include "engine/columnar_leaf.h"
#include "engine/pdu_operations.h"
#include "engine/scalar_leaf.h"
#include "test_mib.h"

namespace engine_test {
namespace {

// A leaf that answers GET with a fixed INTEGER and counts its destruction.
class TaggedLeaf : public Leaf {
 public:
  TaggedLeaf(int value, int* destroyed) : value_(value), destroyed_(destroyed) {}
  ~TaggedLeaf() override { ++*destroyed_; }
  bool get(Context& ctx) override {
    ctx.out.addOID(ctx.name + ctx.oid, 0x06);
    ctx.out.add(value_, 0x02);
    return true;
  }
  bool getNext(Context&) override { return false; }
  bool set(Context&) override { return false; }

 private:
  int value_;
  int* destroyed_;
};

class Registration : public testing::Test {
 protected:
  void SetUp() override { leafs.clear(); }
  void TearDown() override { leafs.clear(); }
};

TEST_F(Registration, SecondLeafUnderOneKeyWinsAndFirstIsKept) {
  int destroyed = 0;
  TaggedLeaf first(1, &destroyed);
  TaggedLeaf second(2, &destroyed);
  const OID key("1.3.6.1.4.1.32473.1");
  addLeaf(key, &first);
  addLeaf(key, &second);
  EXPECT_EQ(leafs.size(), 1u);
  EXPECT_EQ(leafs[key], &second);
  EXPECT_EQ(destroyed, 0);  // the replaced leaf is neither freed nor used

  std::vector<unsigned char> none;
  Context ctx(none.data(), 0);
  ctx.oid = key + 0;
  ASSERT_EQ(snmpGet(ctx), 0u);
  const std::vector<unsigned char> value = {0x02, 0x01, 0x02};
  ASSERT_GE(ctx.out.bytes().size(), value.size());
  EXPECT_TRUE(std::equal(value.begin(), value.end(),
                         ctx.out.bytes().end() - value.size()));
}

TEST_F(Registration, HelpersRegisterLeavesOfTheirKind) {
  TextPacker packer(std::string("c"), 0x04);
  FakeTable table;
  addScalarLeaf(OID("1.3.6.1.2.1.1.1"), &packer, nullptr);
  addColumnarLeaf(OID("1.3.6.1.2.1.2.2.1.1"), &packer, &table);
  ASSERT_EQ(leafs.size(), 2u);
  Leaf* scalar = leafs.begin()->second;
  Leaf* column = std::next(leafs.begin())->second;
  EXPECT_NE(dynamic_cast<ScalarLeaf*>(scalar), nullptr);
  EXPECT_NE(dynamic_cast<ColumnarLeaf*>(column), nullptr);
  leafs.clear();
  delete scalar;
  delete column;
}

TEST_F(Registration, MapIsWalkedInOidOrder) {
  int destroyed = 0;
  TaggedLeaf a(1, &destroyed), b(2, &destroyed), c(3, &destroyed);
  addLeaf(OID("1.3.7"), &c);
  addLeaf(OID("1.3.6.0"), &b);
  addLeaf(OID("1.3.6"), &a);
  std::vector<Leaf*> order;
  for (const auto& entry : leafs) order.push_back(entry.second);
  EXPECT_EQ(order, (std::vector<Leaf*>{&a, &b, &c}));
}

// --- communities -----------------------------------------------------------

TEST(CommunityListTest, ItemStartsWithDocumentedDefaults) {
  CommunityList::Item item;
  EXPECT_EQ(item.id, 0xffffffffu);
  EXPECT_TRUE(item.name.empty());
  EXPECT_EQ(item.address, 0u);
  EXPECT_EQ(item.addressMask, 0u);
  EXPECT_FALSE(item.readAccess);
  EXPECT_FALSE(item.writeAccess);
  EXPECT_EQ(item.security, 0u);
  EXPECT_EQ(item.authMethod, 0u);
  EXPECT_TRUE(item.authKey.empty());
  EXPECT_EQ(item.encryptionProtocol, 0u);
  EXPECT_TRUE(item.privKey.empty());
  EXPECT_TRUE(item.authPassword.empty());
  EXPECT_TRUE(item.encryptionPassword.empty());
}

TEST(CommunityListTest, FindMatchesWholeNameCaseSensitivelyFirstFirst) {
  CommunityList list;
  for (const char* n : {"public", "Public", "public"}) {
    auto* item = new CommunityList::Item;
    item->name = n;
    list.items.push_back(item);
  }
  EXPECT_EQ(list.find("public"), list.items.begin());
  EXPECT_EQ(list.find("Public"), list.items.begin() + 1);
  EXPECT_EQ(list.find("publi"), list.items.end());
  EXPECT_EQ(list.find("public2"), list.items.end());
  EXPECT_EQ(list.find(""), list.items.end());
}

// An item that reports its destruction, as a keeper's subclass might.
struct CountedItem : CommunityList::Item {
  explicit CountedItem(int* deleted) : deleted(deleted) {}
  ~CountedItem() override { ++*deleted; }
  int* deleted;
};

TEST(CommunityListTest, ListDeletesItsItems) {
  int deleted = 0;
  {
    CommunityList list;
    list.items.push_back(new CountedItem(&deleted));
    list.items.push_back(new CountedItem(&deleted));
  }
  EXPECT_EQ(deleted, 2);
}

// --- error classes ---------------------------------------------------------

std::vector<unsigned char> applied(const AccessError& error, uint8_t* flag) {
  std::vector<unsigned char> none;
  Context ctx(none.data(), 0);
  error.apply(ctx);
  *flag = ctx.error;
  return {ctx.out.bytes().begin(), ctx.out.bytes().end()};
}

TEST(AccessErrors, EachAppliesItsStatus) {
  uint8_t flag = 9;
  EXPECT_TRUE(applied(AccessError(), &flag).empty());
  EXPECT_EQ(flag, 0);
  EXPECT_EQ(applied(PathNotExists(), &flag),
            (std::vector<unsigned char>{0x02, 0x01, 0x02}));
  EXPECT_EQ(flag, 1);
  EXPECT_EQ(applied(InvalidOID(), &flag),
            (std::vector<unsigned char>{0x02, 0x01, 0x05}));
  EXPECT_EQ(flag, 0);
  EXPECT_EQ(applied(MiscError(), &flag),
            (std::vector<unsigned char>{0x02, 0x01, 0x05}));
  EXPECT_EQ(flag, 0);
}

// --- base packer -----------------------------------------------------------

TEST(PackerBase, IndexOperationsReportBugAndYieldEmptyOid) {
  NumPacker packer(&Row::num, 0x02);
  Row row;
  row.num = 5;
  testing::internal::CaptureStderr();
  EXPECT_TRUE(packer.getAsKey(&row).empty());
  EXPECT_TRUE(packer.setFromKey(&row, OID("7.1.2")).empty());
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "BUG: Packer::getAsKey called\n"
            "BUG: Packer::setFromKey called\n");
  EXPECT_EQ(row.num, 5);
}

TEST(ContextTest, CopiesItsInput) {
  std::vector<unsigned char> bytes = {0x30, 0x03, 0x02, 0x01, 0x01};
  Context ctx(bytes.data(), bytes.size());
  bytes.assign(bytes.size(), 0);
  EXPECT_EQ(ctx.in.getVersion(), 1);
  EXPECT_EQ(ctx.error, 0);
}

}  // namespace
}  // namespace engine_test
