// The storage and processor rows read through the resource record, and the
// settings provider of sysContact and sysLocation.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "asn1/oid.h"
#include "engine/data_provider.h"
#include "kx/message.h"
#include "mibs/system_mib.h"

namespace {

// Serves whatever record the test puts in it; counts reads.
class FakeResources : public DataProvider {
 public:
  std::unique_ptr<ResourceData> record;
  int reads = 0;
  Data* get() override {
    ++reads;
    return record.get();
  }
  bool set(Data*) override { return false; }
};

class HostRowsTest : public ::testing::Test {
 protected:
  void SetUp() override { resourceProvider = &resources; }
  void TearDown() override { resourceProvider = nullptr; }
  void report(int memTotal, int memUsed, int diskTotal, int diskUsed, int load) {
    resources.record = std::make_unique<ResourceData>();
    resources.record->memoryTotal = memTotal;
    resources.record->memoryUsed = memUsed;
    resources.record->diskTotal = diskTotal;
    resources.record->diskUsed = diskUsed;
    resources.record->processorLoad = load;
  }
  FakeResources resources;
};

StorageData* storage(Data* d) { return static_cast<StorageData*>(d); }
ProcessorData* processor(Data* d) { return static_cast<ProcessorData*>(d); }

}  // namespace

TEST_F(HostRowsTest, EachRowCopiesItsOwnFiguresOnEveryRead) {
  report(262144, 81920, 131072, 32768, 7);
  StorageData* disk = storage(diskRow());
  StorageData* memory = storage(memoryRow());
  ProcessorData* cpu = processor(processorRow());
  EXPECT_EQ(resources.reads, 3);

  EXPECT_EQ(disk->index, 1);
  EXPECT_EQ(disk->description, "disk");
  EXPECT_EQ(disk->type, OID("1.3.6.1.2.1.25.2.1.4"));
  EXPECT_EQ(disk->size, 131072);
  EXPECT_EQ(disk->used, 32768);

  EXPECT_EQ(memory->index, 2);
  EXPECT_EQ(memory->description, "main memory");
  // hrStorageOther, deliberately not the RAM type.
  EXPECT_EQ(memory->type, OID("1.3.6.1.2.1.25.2.1.1"));
  EXPECT_EQ(memory->size, 262144);
  EXPECT_EQ(memory->used, 81920);

  EXPECT_EQ(cpu->index, 1);
  EXPECT_EQ(cpu->type, OID("1.3.6.1.2.1.25.3.1.3"));
  EXPECT_EQ(cpu->load, 7);

  report(1, 2, 3, 4, 55);
  EXPECT_EQ(storage(diskRow())->size, 3);
  EXPECT_EQ(storage(memoryRow())->used, 2);
  EXPECT_EQ(processor(processorRow())->load, 55);
}

TEST_F(HostRowsTest, RowsKeepTheirLastValuesWithoutARecord) {
  report(100, 50, 10, 5, 9);
  diskRow();
  memoryRow();
  processorRow();
  resources.record.reset();
  EXPECT_EQ(storage(diskRow())->used, 5);
  EXPECT_EQ(storage(memoryRow())->size, 100);
  EXPECT_EQ(processor(processorRow())->load, 9);
  resourceProvider = nullptr;
  EXPECT_EQ(storage(diskRow())->size, 10);
}

namespace {

kx::message g_settings;
kx::message currentSettings() { return g_settings; }

}  // namespace

TEST(ConfigInfoProvider, RefreshesContactAndLocationOnEveryGetAndRefusesSets) {
  ConfigInfoProvider provider(currentSettings);
  g_settings = kx::message();
  g_settings.setString(0x20000002, "noc@example.net");
  g_settings.setString(0x20000003, "rack 4");
  g_settings.setString(0x20000004, "harbor");
  Data* record = provider.get();
  ASSERT_EQ(record, static_cast<Data*>(&provider));
  EXPECT_EQ(provider.contact, "noc@example.net");
  EXPECT_EQ(provider.location, "rack 4");

  g_settings.setString(0x20000003, "rack 5");
  g_settings.erase(0x20000002);
  provider.get();
  EXPECT_EQ(provider.contact, "");
  EXPECT_EQ(provider.location, "rack 5");

  EXPECT_FALSE(provider.set(record));
}

TEST(ConfigInfoProvider, WithoutAnAgentTheStringsAreEmpty) {
  ConfigInfoProvider provider;
  provider.contact = "stale";
  EXPECT_NE(provider.get(), nullptr);
  EXPECT_EQ(provider.contact, "");
}
