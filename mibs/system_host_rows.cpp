#include "mibs/system_host_rows.h"

#include "engine/data_provider.h"
#include "mibs/system_records.h"

DataProvider* resourceProvider = nullptr;

namespace {

// Storage and device types of the host-resources registry.
const OID kStorageOther = {1, 3, 6, 1, 2, 1, 25, 2, 1, 1};
const OID kStorageFixedDisk = {1, 3, 6, 1, 2, 1, 25, 2, 1, 4};
const OID kDeviceProcessor = {1, 3, 6, 1, 2, 1, 25, 3, 1, 3};

// Defined after the types in this file, so they are built after them.
StorageData g_diskRow(kDiskRowIndex, kStorageFixedDisk, "disk");
StorageData g_memoryRow(kMemoryRowIndex, kStorageOther, "main memory");
ProcessorData g_processorRow(kDeviceProcessor);

const ResourceData* currentResources() {
  return resourceProvider ? static_cast<const ResourceData*>(resourceProvider->get()) : nullptr;
}

}  // namespace

Data* diskRow() {
  if (const ResourceData* r = currentResources()) {
    g_diskRow.size = r->diskTotal;
    g_diskRow.used = r->diskUsed;
  }
  return &g_diskRow;
}

Data* memoryRow() {
  if (const ResourceData* r = currentResources()) {
    g_memoryRow.size = r->memoryTotal;
    g_memoryRow.used = r->memoryUsed;
  }
  return &g_memoryRow;
}

Data* processorRow() {
  if (const ResourceData* r = currentResources()) g_processorRow.load = r->processorLoad;
  g_processorRow.index = kProcessorRowIndex;
  return &g_processorRow;
}
