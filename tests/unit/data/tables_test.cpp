// MapTable, StaticMuxTable, AugmentProxyTable and CountProvider.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "data/augment_proxy_table.h"
#include "data/count_provider.h"
#include "data/data_member.h"
#include "data/ip_packer.h"
#include "data/map_table.h"
#include "data/num_packer.h"
#include "engine/data.h"
#include "data/proxy_data_provider.h"
#include "data/static_mux_table.h"
#include "data/string_packer.h"
#include "data/table_provider.h"
#include "data/table_provider_client.h"

namespace {

struct Route : Data {
  Route(int n, unsigned int a, std::string s) : num(n), addr(a), name(std::move(s)) {}
  int num;
  unsigned int addr;
  std::string name;
};

// A provider that holds its rows in memory and pushes them on every refresh.
class MemoryRows : public TableProvider {
 public:
  std::vector<Data*> rows;
  std::vector<TableProviderClient*> clients;
  std::vector<Data*> written;
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
  MapTableTest() : table(&source) { table.addIndex(&num); }
  DataNumPacker num{dataMember(&Route::num), 0x02};
  MemoryRows source;
  MapTable table;
  Route r1{1, 0, "a"}, r5{5, 0, "b"}, r9{9, 0, "c"};
};

}  // namespace

TEST_F(MapTableTest, SubscribesAndWalksInIndexOrder) {
  ASSERT_EQ(source.clients.size(), 1u);
  EXPECT_EQ(source.clients[0], static_cast<TableProviderClient*>(&table));
  source.rows = {&r9, &r1, &r5};

  EXPECT_EQ(table.getNext(OID()), std::make_pair(OID{1}, static_cast<Data*>(&r1)));
  EXPECT_EQ(table.getNext(OID{3}), std::make_pair(OID{5}, static_cast<Data*>(&r5)));
  EXPECT_EQ(table.getNext(OID{5, 0}), std::make_pair(OID{9}, static_cast<Data*>(&r9)));
  EXPECT_EQ(table.getNext(OID{9}), std::make_pair(OID(), static_cast<Data*>(nullptr)));
  EXPECT_EQ(table.get(OID{5}), &r5);
  EXPECT_EQ(table.get(OID{4}), nullptr);
  EXPECT_EQ(source.refreshes, 6u) << "every read refreshes first";
}

TEST_F(MapTableTest, SameIndexReplacesAndRemoveDrops) {
  Route again{5, 0, "second"};
  table.change(&r5);
  table.change(&again);
  ASSERT_EQ(table.rowsHeld(), 1u);
  source.rows = {&again};
  EXPECT_EQ(table.get(OID{5}), &again);
  table.remove(&r5);  // same index, other record: still that row
  EXPECT_EQ(table.rowsHeld(), 0u);
}

TEST_F(MapTableTest, CountPrefersCountCommand) {
  source.rows = {&r1, &r5};
  source.canCount = true;
  EXPECT_EQ(table.count(), 1000u);
  EXPECT_EQ(source.refreshes, 0u);
  source.canCount = false;
  EXPECT_EQ(table.count(), 2u);
  EXPECT_EQ(source.refreshes, 1u);
}

TEST_F(MapTableTest, SetGoesToProviderButReportsFalse) {
  EXPECT_FALSE(table.set(OID{5}, &r5));
  EXPECT_EQ(source.written, std::vector<Data*>{&r5});
}

TEST(MapTableKey, CompositeIndexBuildsAndStores) {
  MemoryRows source;
  MapTable table(&source);
  DataNumPacker num(dataMember(&Route::num), 0x02);
  DataIPPacker addr(dataMember(&Route::addr), 0x40);
  DataStringPacker name(dataMember(&Route::name), 0x04, 0);
  table.addIndex(&num);
  table.addIndex(&addr);
  table.addIndex(&name);

  Route route{3, 10u | (1u << 24), "ab"};
  OID key = table.getKey(&route);
  EXPECT_EQ(key, (OID{3, 10, 0, 0, 1, 2, 97, 98}));
  Route back{0, 0, ""};
  table.storeKey(&back, key);
  EXPECT_EQ(back.num, 3);
  EXPECT_EQ(back.addr, route.addr);
  EXPECT_EQ(back.name, "ab");

  // A failed step leaves nothing for the packers after it.
  Route partial{0, 0, "keep"};
  table.storeKey(&partial, OID{4, 10, 0, 0, 999, 2, 97, 98});
  EXPECT_EQ(partial.num, 4);
  EXPECT_EQ(partial.addr, 0u);
  EXPECT_EQ(partial.name, "keep");
}

namespace {

Route g_up{1, 0, "up"};
Data* upRow() { return &g_up; }
Data* missingRow() { return nullptr; }

class Settable : public DataProvider {
 public:
  Data* get() override { return &g_up; }
  bool set(Data* record) override { return record == &g_up; }
};

// Adds an augmenting record for every even row number, none for odd ones.
class EvenAugment : public AugmentProxyTable {
 public:
  using AugmentProxyTable::AugmentProxyTable;
  Data* augment(OID const& index, Data* base) override {
    ++calls;
    if (static_cast<Route*>(base)->num % 2 != 0) return nullptr;
    return &extra[index];
  }
  std::map<OID, Data> extra;
  unsigned calls = 0;
};

}  // namespace

TEST(StaticMuxTable, RowsComeFromTheirProviders) {
  ProxyDataProvider up(upRow), missing(missingRow);
  Settable settable;
  StaticMuxTable table;
  table.addProvider(OID{2}, &missing);
  table.addProvider(OID{1}, &up);
  table.addProvider(OID{3}, &up);
  table.addProvider(OID{3}, &settable);  // replaces
  EXPECT_EQ(table.count(), 3u);

  // A row whose provider has nothing is still walked.
  EXPECT_EQ(table.getNext(OID{1}), std::make_pair(OID{2}, static_cast<Data*>(nullptr)));
  EXPECT_EQ(table.getNext(OID{2}).first, (OID{3}));
  EXPECT_EQ(table.getNext(OID{3}), std::make_pair(OID(), static_cast<Data*>(nullptr)));
  EXPECT_EQ(table.get(OID{1}), &g_up);
  EXPECT_EQ(table.get(OID{7}), nullptr);
  EXPECT_TRUE(table.set(OID{3}, &g_up));
  EXPECT_FALSE(table.set(OID{1}, &g_up)) << "a proxy provider is read-only";
  EXPECT_FALSE(table.set(OID{7}, &g_up));
}

TEST(AugmentProxyTable, FollowsBaseRowsReadOnly) {
  Route odd{1, 0, "odd"}, even{2, 0, "even"};
  MemoryRows source;
  source.rows = {&odd, &even};
  MapTable base(&source);
  DataNumPacker num(dataMember(&Route::num), 0x02);
  base.addIndex(&num);
  EvenAugment table(&base);

  EXPECT_EQ(table.get(OID{3}), nullptr);
  EXPECT_EQ(table.calls, 0u) << "no base row, nothing to augment";
  EXPECT_EQ(table.get(OID{2}), &table.extra[OID{2}]);
  // A row the subclass can't augment is returned, not skipped.
  EXPECT_EQ(table.getNext(OID()), std::make_pair(OID{1}, static_cast<Data*>(nullptr)));
  EXPECT_EQ(table.getNext(OID{1}).first, (OID{2}));
  EXPECT_FALSE(table.set(OID{2}, &even));
  EXPECT_EQ(table.count(), base.count());
  EXPECT_EQ(table.count(), 2u);
}

TEST(CountProvider, SameRecordRefreshedFromTable) {
  ProxyDataProvider up(upRow);
  StaticMuxTable table;
  DataNumPacker count(dataMember(&CountProvider::CountData::count), 0x02);
  CountProvider provider(&table);
  Data* first = provider.get();
  EXPECT_EQ(count.get(first), 0);
  table.addProvider(OID{1}, &up);
  table.addProvider(OID{2}, &up);
  Data* second = provider.get();
  EXPECT_EQ(second, first);
  EXPECT_EQ(count.get(second), 2);
  EXPECT_FALSE(provider.set(second));
}
