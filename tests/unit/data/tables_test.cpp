// MapTable, StaticMuxTable, AugmentProxyTable and CountProvider.
#include "data/tables.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "data/packers.h"
#include "data/providers.h"

namespace {

struct Route : Data {
  Route(int n, unsigned int a, std::string s) : num(n), addr(a), name(std::move(s)) {}
  int num;
  unsigned int addr;
  std::string name;
};
using Row = std::pair<OID, Data*>;
const Row kEnd{OID(), nullptr};

// Holds rows in memory and pushes them into its clients on every refresh.
class MemoryRows : public TableProvider {
 public:
  std::vector<Data*> rows, written;
  std::vector<TableProviderClient*> clients;
  unsigned refreshes = 0;
  bool canCount = false;

  bool setData(Data* record) override {
    written.push_back(record);
    return true;
  }
  void subscribe(TableProviderClient* client) override { clients.push_back(client); }
  void updateTables() override {
    ++refreshes;
    for (TableProviderClient* client : clients) {
      client->clear();
      for (Data* row : rows) client->change(row);
    }
  }
  bool getCountCMD(unsigned int& count) override {
    if (!canCount) return TableProvider::getCountCMD(count);
    count = 1000;
    return true;
  }
};

class MapTableTest : public ::testing::Test {
 protected:
  MapTableTest() { table.addIndex(&num); }
  DataNumPacker num{dataMember(&Route::num), 0x02};
  MemoryRows source;
  MapTable table{&source};
  Route r1{1, 0, "a"}, r5{5, 0, "b"}, r9{9, 0, "c"};
};

}  // namespace

TEST_F(MapTableTest, WalksInIndexOrderRefreshingFirst) {
  ASSERT_EQ(source.clients, std::vector<TableProviderClient*>{&table});
  source.rows = {&r9, nullptr, &r1, &r5};  // a null record makes no row
  EXPECT_EQ(table.getNext(OID()), Row(OID{1}, &r1));
  EXPECT_EQ(table.getNext(OID{3}), Row(OID{5}, &r5));
  EXPECT_EQ(table.getNext(OID{5, 0}), Row(OID{9}, &r9));
  EXPECT_EQ(table.getNext(OID{9}), kEnd);
  EXPECT_EQ(table.get(OID{5}), &r5);
  EXPECT_EQ(table.get(OID{4}), nullptr);
  EXPECT_EQ(source.refreshes, 6u);
}

TEST_F(MapTableTest, SameIndexReplacesCountAndSet) {
  Route again{5, 0, "second"};
  source.rows = {&r5, &again, &r9};
  EXPECT_EQ(table.get(OID{5}), &again);
  EXPECT_EQ(table.count(), 2u) << "no count command: refresh and count rows";
  source.canCount = true;
  unsigned before = source.refreshes;
  EXPECT_EQ(table.count(), 1000u);
  EXPECT_EQ(source.refreshes, before);
  table.remove(&r5);  // another record with the same index: same row
  EXPECT_EQ(table.rowsHeld(), 1u);
  EXPECT_FALSE(table.set(OID{9}, &r9)) << "false even when the provider accepts";
  EXPECT_EQ(source.written, std::vector<Data*>{&r9});
}

TEST(MapTableKey, CompositeIndexBuildsAndStores) {
  MemoryRows source;
  MapTable table(&source);
  DataNumPacker num(dataMember(&Route::num), 0x02);
  DataIPPacker addr(dataMember(&Route::addr), 0x40);
  DataStringPacker name(dataMember(&Route::name), 0x04, 0);
  for (Packer* p : std::vector<Packer*>{&num, &addr, &name}) table.addIndex(p);

  Route route{3, 10u | (1u << 24), "ab"}, back{0, 0, ""};
  OID key = table.getKey(&route);
  EXPECT_EQ(key, (OID{3, 10, 0, 0, 1, 2, 97, 98}));
  table.storeKey(&back, key);
  EXPECT_EQ(std::make_tuple(back.num, back.addr, back.name),
            std::make_tuple(3, route.addr, std::string("ab")));
  // A failed step leaves nothing for the packers after it.
  Route partial{0, 0, "keep"};
  table.storeKey(&partial, OID{4, 10, 0, 0, 999, 2, 97, 98});
  EXPECT_EQ(std::make_tuple(partial.num, partial.addr, partial.name),
            std::make_tuple(4, 0u, std::string("keep")));
}

namespace {

Route g_up{1, 0, "up"};
Data* upRow() { return &g_up; }
Data* noRow() { return nullptr; }

class Writable : public ProxyDataProvider {
 public:
  Writable() : ProxyDataProvider(upRow) {}
  bool set(Data* record) override { return record == &g_up; }
};

// Augments even-numbered rows only.
class EvenAugment : public AugmentProxyTable {
 public:
  using AugmentProxyTable::AugmentProxyTable;
  Data* augment(OID const& index, Data* base) override {
    ++calls;
    return static_cast<Route*>(base)->num % 2 ? nullptr : &extra[index];
  }
  std::map<OID, Data> extra;
  unsigned calls = 0;
};

}  // namespace

TEST(StaticMuxTable, RowsComeFromTheirProviders) {
  ProxyDataProvider up(upRow), none(noRow);
  Writable writable;
  StaticMuxTable table;
  table.addProvider(OID{2}, &none);
  table.addProvider(OID{1}, &up);
  table.addProvider(OID{3}, &up);
  table.addProvider(OID{3}, &writable);  // replaces
  EXPECT_EQ(table.count(), 3u);
  EXPECT_EQ(table.getNext(OID{1}), Row(OID{2}, nullptr)) << "not skipped";
  EXPECT_EQ(table.getNext(OID{3}), kEnd);
  EXPECT_EQ(table.get(OID{1}), &g_up);
  EXPECT_EQ(table.get(OID{7}), nullptr);
  EXPECT_TRUE(table.set(OID{3}, &g_up));
  EXPECT_FALSE(table.set(OID{1}, &g_up));
  EXPECT_FALSE(table.set(OID{7}, &g_up));
}

TEST(AugmentProxyTable, FollowsBaseRowsReadOnly) {
  Route even{2, 0, "even"};
  MemoryRows source;
  source.rows = {&g_up, &even};
  MapTable rows(&source);
  DataNumPacker num(dataMember(&Route::num), 0x02);
  rows.addIndex(&num);
  EvenAugment table(&rows);

  EXPECT_EQ(table.get(OID{3}), nullptr);
  EXPECT_EQ(table.calls, 0u) << "no base row, nothing to augment";
  EXPECT_EQ(table.get(OID{2}), &table.extra[OID{2}]);
  EXPECT_EQ(table.getNext(OID()), Row(OID{1}, nullptr)) << "not skipped";
  EXPECT_FALSE(table.set(OID{2}, &even));
  EXPECT_EQ(table.count(), 2u);
}

TEST(CountProvider, OneRecordRefreshedFromTheTable) {
  ProxyDataProvider up(upRow);
  StaticMuxTable table;
  table.addProvider(OID{1}, &up);
  CountProvider counter(&table);
  DataNumPacker count(dataMember(&CountProvider::CountData::count), 0x02);
  Data* first = counter.get();
  EXPECT_EQ(count.get(first), 1);
  table.addProvider(OID{2}, &up);
  EXPECT_EQ(counter.get(), first);
  EXPECT_EQ(count.get(first), 2);
}
