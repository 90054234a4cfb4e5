// GetAllProvider over the real bus: paging, sources, clients, count, set and
// expiry.
#include "data/get_all_provider.h"

#include <gtest/gtest.h>

#include <vector>

#include "data/packers.h"
#include "data/tables.h"
#include "engine/data.h"
#include "tests/unit/data/agent_bus.h"

namespace {

constexpr uint32_t kValue = kx::u32_id(0x10001);

struct Entry : Data {
  int id = 0, value = 0;
  void reverseBuild(kx::message& msg) override { msg.setU32(kValue, static_cast<uint32_t>(value)); }
};

// One record per object; objects of value 0 are left out.
void toEntries(const kx::message& object, std::vector<Data*>* out) {
  if (object.getU32(kValue) == 0) return;
  auto* e = new Entry;
  e->id = static_cast<int>(object.getU32(kx::kObjId));
  e->value = static_cast<int>(object.getU32(kValue));
  out->push_back(e);
}

int valueOf(Data* d) { return d ? static_cast<Entry*>(d)->value : -1; }

class GetAllTest : public AgentBusTest {
 protected:
  void SetUp() override {
    AgentBusTest::SetUp();
    byId.addIndex(&idPacker);
    byValue.addIndex(&valuePacker);
  }
  // A list at [path] of n objects from id first on, each of value 10 + id,
  // as a source of the provider.
  ListService& source(uint32_t path, uint32_t first, uint32_t n,
                      unsigned arg = kDefaultGetAllArgument) {
    ListService& s = serve(path);
    for (uint32_t id = first; id < first + n; ++id) s.objects.push_back(listObject(id, 10 + id));
    provider.addSource(toEntries, {path}, arg);
    return s;
  }
  DataNumPacker idPacker{dataMember(&Entry::id), 0x02};
  DataNumPacker valuePacker{dataMember(&Entry::value), 0x02};
  GetAllProvider provider;
  MapTable byId{&provider};
  MapTable byValue{&provider};
};

}  // namespace

TEST_F(GetAllTest, ThreePagesEchoTheContinuationMark) {
  ListService& list = source(20, 1, 5);
  list.pageSize = 2;
  EXPECT_EQ(valueOf(byId.get(OID{5})), 15);
  EXPECT_EQ(list.starts, (std::vector<uint32_t>{0xffffffff, 1002, 1004}));
  EXPECT_EQ(list.args, (std::vector<uint32_t>{5, 5, 5}));
  EXPECT_EQ(byValue.rowsHeld(), 5u);
}

TEST_F(GetAllTest, ErrorOnSecondPageKeepsFirstPageRows) {
  ListService& list = source(20, 1, 5);
  list.pageSize = 2;
  list.failPage = 2;
  testing::internal::CaptureStderr();
  EXPECT_EQ(byId.getNext(OID{1}).first, (OID{2}));
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << "a failed page is not logged";
  EXPECT_EQ(byId.rowsHeld(), 2u);
  EXPECT_EQ(list.starts.size(), 2u);
}

TEST_F(GetAllTest, TwoSourcesFeedBothTablesLastRecordWinning) {
  ListService& first = source(20, 1, 2);
  ListService& second = source(21, 3, 2, 7);
  second.objects.push_back(listObject(2, 99));  // id of a row of the first list
  second.objects.push_back(listObject(8, 0));   // left out by the callback

  EXPECT_EQ(valueOf(byId.get(OID{2})), 99);
  EXPECT_EQ(byId.get(OID{8}), nullptr);
  EXPECT_EQ(byId.rowsHeld(), 4u);
  EXPECT_EQ(byValue.rowsHeld(), 5u) << "both records of id 2, by value";
  EXPECT_EQ(second.args, std::vector<uint32_t>{7});
  EXPECT_EQ(first.starts.size() + second.starts.size(), 2u) << "one fill for both tables";
}

TEST_F(GetAllTest, CountCommandOrRowsAfterAFill) {
  ListService& first = source(20, 1, 3);
  first.objects.push_back(listObject(9, 0));
  ListService& second = source(21, 4, 2);

  EXPECT_EQ(byId.count(), 6u) << "list objects, counted by the services";
  EXPECT_TRUE(first.starts.empty());
  second.answerCount = false;
  unsigned int partial = 0;
  EXPECT_FALSE(provider.getCountCMD(partial));
  EXPECT_EQ(partial, 4u);
  EXPECT_EQ(byId.count(), 5u) << "records held after a fill";
  EXPECT_EQ(first.starts.size(), 1u);
}

TEST_F(GetAllTest, ExpiryEmptiesEveryTableUntilNextRead) {
  ListService& list = source(20, 1, 3);
  byId.getNext(OID());
  advance(10);
  EXPECT_EQ(byValue.rowsHeld(), 3u);
  advance(30);
  EXPECT_EQ(byId.rowsHeld() + byValue.rowsHeld() + provider.cachedRecords(), 0u);
  EXPECT_EQ(valueOf(byValue.getNext(OID()).second), 11);
  EXPECT_EQ(byId.rowsHeld(), 3u);
  EXPECT_EQ(list.starts.size(), 2u);
}

TEST_F(GetAllTest, SetGoesToEverySource) {
  ListService& first = source(20, 1, 1);
  ListService& second = source(21, 1, 0);
  Data* row = byId.get(OID{1});
  ASSERT_NE(row, nullptr);
  static_cast<Entry*>(row)->value = 77;

  second.refuseSet = true;
  testing::internal::CaptureStderr();
  EXPECT_TRUE(provider.setData(row));
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "value refused\n");
  ASSERT_EQ(second.sets.size(), 1u);
  EXPECT_EQ(first.sets.at(0).command(), kx::kCmdSetObj);
  EXPECT_EQ(first.sets.at(0).getU32(kValue), 77u);

  first.refuseSet = true;
  testing::internal::CaptureStderr();
  EXPECT_FALSE(provider.setData(row));
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "value refused\nvalue refused\n");
}
