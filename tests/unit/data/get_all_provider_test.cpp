// GetAllProvider over the real bus: paging, sources, clients, count, set and
// expiry.
#include <gtest/gtest.h>

#include <vector>

#include "bus_fixture.h"
#include "data/data_member.h"
#include "data/get_all_provider.h"
#include "data/map_table.h"
#include "data/num_packer.h"
#include "engine/data.h"

namespace {

constexpr uint32_t kValue = kx::u32_id(0x10001);

struct Entry : Data {
  int id = 0;
  int value = 0;
  void reverseBuild(kx::message& msg) override {
    msg.setU32(kx::kObjId, static_cast<uint32_t>(id));
    msg.setU32(kValue, static_cast<uint32_t>(value));
  }
};

// One record per object, except objects of value 0, which are left out.
void toEntries(const kx::message& object, std::vector<Data*>* out) {
  if (object.getU32(kValue) == 0) return;
  auto* e = new Entry;
  e->id = static_cast<int>(object.getU32(kx::kObjId));
  e->value = static_cast<int>(object.getU32(kValue));
  out->push_back(e);
}

int valueOf(Data* d) { return d ? static_cast<Entry*>(d)->value : -1; }

class GetAllTest : public BusTest {
 protected:
  // A table of the provider's rows indexed by id, and one indexed by value.
  void SetUp() override {
    BusTest::SetUp();
    byId.addIndex(&idPacker);
    byValue.addIndex(&valuePacker);
  }
  void fill(ListService& s, uint32_t firstId, uint32_t n) {
    for (uint32_t i = 0; i < n; ++i) s.objects.push_back(listObject(firstId + i, 10 + firstId + i));
  }
  DataNumPacker idPacker{dataMember(&Entry::id), 0x02};
  DataNumPacker valuePacker{dataMember(&Entry::value), 0x02};
  GetAllProvider provider;
  MapTable byId{&provider};
  MapTable byValue{&provider};
};

}  // namespace

TEST_F(GetAllTest, ThreePagesEchoTheContinuationMark) {
  ListService& list = serve(20);
  fill(list, 1, 5);
  list.pageSize = 2;
  provider.addSource(toEntries, {20});
  EXPECT_EQ(valueOf(byId.get(OID{5})), 15);
  EXPECT_EQ(list.startsSeen, (std::vector<uint32_t>{0xffffffff, 1002, 1004}));
  EXPECT_EQ(list.getAllArgsSeen, (std::vector<uint32_t>{5, 5, 5}));
  EXPECT_EQ(byValue.rowsHeld(), 5u);
}

TEST_F(GetAllTest, ErrorOnSecondPageKeepsFirstPageRows) {
  ListService& list = serve(20);
  fill(list, 1, 5);
  list.pageSize = 2;
  list.failPage = 2;
  provider.addSource(toEntries, {20});
  testing::internal::CaptureStderr();
  EXPECT_EQ(byId.getNext(OID{1}).first, (OID{2}));
  EXPECT_EQ(byId.getNext(OID{2}).second, nullptr);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << "a failed page is not logged";
  EXPECT_EQ(byId.rowsHeld(), 2u);
  EXPECT_EQ(list.getAllCalls, 2u);
}

TEST_F(GetAllTest, TwoSourcesFeedBothTablesLastRecordWinning) {
  ListService& first = serve(20);
  ListService& second = serve(21);
  fill(first, 1, 2);
  fill(second, 3, 2);
  second.objects.push_back(listObject(2, 99));  // same id as a row of the first list
  second.objects.push_back(listObject(8, 0));   // left out by the callback
  provider.addSource(toEntries, {20});
  provider.addSource(toEntries, {21}, 7);

  EXPECT_EQ(valueOf(byId.get(OID{2})), 99);
  EXPECT_EQ(byId.rowsHeld(), 4u);
  EXPECT_EQ(byId.get(OID{8}), nullptr);
  // The second table sees every record, both of id 2 included.
  EXPECT_EQ(byValue.rowsHeld(), 5u);
  EXPECT_NE(byValue.get(OID{12}), nullptr);
  EXPECT_NE(byValue.get(OID{14}), nullptr);
  EXPECT_EQ(provider.cachedRecords(), 5u);
  EXPECT_EQ(second.getAllArgsSeen, std::vector<uint32_t>{7});
  EXPECT_EQ(first.getAllCalls + second.getAllCalls, 2u) << "one fill serves both tables";
}

TEST_F(GetAllTest, CountFallsBackWhenOneSourceCannotCount) {
  ListService& first = serve(20);
  ListService& second = serve(21);
  fill(first, 1, 3);
  first.objects.push_back(listObject(9, 0));
  fill(second, 4, 2);
  provider.addSource(toEntries, {20});
  provider.addSource(toEntries, {21});

  // Both answer: list objects are counted, nothing is fetched.
  EXPECT_EQ(byId.count(), 6u);
  EXPECT_EQ(first.getAllCalls, 0u);
  unsigned int partial = 0;
  second.answerCount = false;
  EXPECT_FALSE(provider.getCountCMD(partial));
  EXPECT_EQ(partial, 4u);
  // The table then counts the rows of a fill: records, not objects.
  EXPECT_EQ(byId.count(), 5u);
  EXPECT_EQ(first.getAllCalls, 1u);
}

TEST_F(GetAllTest, ExpiryEmptiesEveryTableUntilNextRead) {
  ListService& list = serve(20);
  fill(list, 1, 3);
  provider.addSource(toEntries, {20});
  byId.getNext(OID());
  ASSERT_EQ(byValue.rowsHeld(), 3u);
  advance(10);
  EXPECT_EQ(byId.rowsHeld(), 3u);
  advance(30);
  EXPECT_EQ(byId.rowsHeld(), 0u);
  EXPECT_EQ(byValue.rowsHeld(), 0u);
  EXPECT_EQ(provider.cachedRecords(), 0u);
  EXPECT_EQ(valueOf(byValue.getNext(OID()).second), 11);
  EXPECT_EQ(byId.rowsHeld(), 3u);
  EXPECT_EQ(list.getAllCalls, 2u);
}

TEST_F(GetAllTest, SetGoesToEverySource) {
  ListService& first = serve(20);
  ListService& second = serve(21);
  fill(first, 1, 1);
  provider.addSource(toEntries, {20});
  provider.addSource(toEntries, {21});
  Data* row = byId.get(OID{1});
  ASSERT_NE(row, nullptr);
  static_cast<Entry*>(row)->value = 77;

  second.refuseSet = true;
  testing::internal::CaptureStderr();
  EXPECT_FALSE(byId.set(OID{1}, row)) << "the table reports false whatever happened";
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "value refused\n");
  ASSERT_EQ(first.setsSeen.size(), 1u);
  EXPECT_EQ(first.setsSeen[0].command(), kx::kCmdSetObj);
  EXPECT_EQ(first.setsSeen[0].getU32(kValue), 77u);
  EXPECT_EQ(second.setsSeen.size(), 1u);

  first.refuseSet = true;
  testing::internal::CaptureStderr();
  EXPECT_FALSE(provider.setData(row));
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "value refused\nvalue refused\n");
  second.refuseSet = false;
  testing::internal::CaptureStderr();
  EXPECT_TRUE(provider.setData(row));
  testing::internal::GetCapturedStderr();
}
