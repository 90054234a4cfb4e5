// The storage and processor rows read through the resource record on every
// read, and keep their last values when there is none.
#include <gtest/gtest.h>

#include <memory>

#include "engine/data_provider.h"
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

TEST_F(HostRowsTest, EachRowCopiesItsOwnFiguresOnEveryReadAndKeepsThemWithoutARecord) {
  report(262144, 81920, 131072, 32768, 7);
  EXPECT_EQ(storage(diskRow())->used, 32768);
  report(1, 2, 3, 4, 55);
  EXPECT_EQ(storage(diskRow())->size, 3);
  EXPECT_EQ(storage(memoryRow())->used, 2);
  EXPECT_EQ(processor(processorRow())->load, 55);
  EXPECT_EQ(resources.reads, 4);

  resources.record.reset();
  EXPECT_EQ(storage(diskRow())->used, 4);
  EXPECT_EQ(storage(memoryRow())->size, 1);
  EXPECT_EQ(processor(processorRow())->load, 55);
  resourceProvider = nullptr;
  EXPECT_EQ(storage(diskRow())->size, 3);
}
