// Registration in the MIB tree, the community list and the error classes.
#include "engine/leafs.h"

#include <gtest/gtest.h>

#include "engine/pdu_operations.h"
#include "test_mib.h"

namespace engine_test {
namespace {

class Registration : public testing::Test {
 protected:
  void SetUp() override { leafs.clear(); }
  void TearDown() override { leafs.clear(); }
};

TEST_F(Registration, SecondLeafUnderOneKeyWins) {
  TextPacker first("first"), second("second");
  ScalarLeaf a(&first, nullptr), b(&second, nullptr);
  const OID key("1.3.6.1.4.1.32473.1");
  addLeaf(key, &a);
  addLeaf(key, &b);
  EXPECT_EQ(leafs.size(), 1u);
  std::vector<unsigned char> none;
  Context ctx(none.data(), 0);
  ctx.oid = key + 0;
  ASSERT_EQ(snmpGet(ctx), 0u);
  EXPECT_EQ(written(ctx).at(0).second.second, "second");
}

// Reports its destruction, as a keeper's subclass of Item might.
struct CountedItem : CommunityList::Item {
  CountedItem(const char* n, int* deleted) : deleted(deleted) { name = n; }
  ~CountedItem() override { ++*deleted; }
  int* deleted;
};

TEST(CommunityListTest, FindIsExactAndFirstWinsAndListOwnsItems) {
  int deleted = 0;
  {
    CommunityList list;
    for (const char* n : {"public", "Public", "public"}) {
      list.items.push_back(new CountedItem(n, &deleted));
    }
    EXPECT_EQ(list.find("public"), list.items.begin());
    EXPECT_EQ(list.find("Public"), list.items.begin() + 1);
    for (const char* miss : {"publi", "public2", ""}) {
      EXPECT_EQ(list.find(miss), list.items.end()) << miss;
    }
  }
  EXPECT_EQ(deleted, 3);
}

TEST(AccessErrors, EachAppliesItsStatus) {
  struct Case {
    const AccessError& error;
    std::vector<unsigned char> out;
    uint8_t flag;
  };
  const Case cases[] = {{AccessError(), {}, 0},
                        {PathNotExists(), {0x02, 0x01, 0x02}, 1},
                        {InvalidOID(), {0x02, 0x01, 0x05}, 0},
                        {MiscError(), {0x02, 0x01, 0x05}, 0}};
  for (const Case& c : cases) {
    std::vector<unsigned char> none;
    Context ctx(none.data(), 0);
    c.error.apply(ctx);
    EXPECT_EQ(ctx.out.bytes(), c.out);
    EXPECT_EQ(ctx.error, c.flag);
  }
}

}  // namespace
}  // namespace engine_test
