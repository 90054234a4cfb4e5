// The fixed rows of hrStorageTable, hrDeviceTable and hrProcessorTable.
//
// The rows are process-wide records whose index, type and description are
// fixed; each read through its row function copies the current sizes or
// load from the resource record into the row.  The row functions are the
// ProxyDataProviders' functions: the rows stay owned here.
#ifndef MIBS_SYSTEM_HOST_ROWS_H_
#define MIBS_SYSTEM_HOST_ROWS_H_

#include <string>

#include "asn1/oid.h"
#include "engine/data.h"

class DataProvider;

// One storage area: hrStorageEntry.
class StorageData : public Data {
 public:
  StorageData(int index, OID const& type, std::string const& description)
      : index(index), type(type), description(description) {}

  int index;
  OID type;
  std::string description;
  int size = 0;  // in the units the resource service reports
  int used = 0;
};

// The processor: hrDeviceEntry and hrProcessorEntry.
class ProcessorData : public Data {
 public:
  explicit ProcessorData(OID const& type) : type(type) {}

  int index = 0;
  int load = 0;
  OID type;
};

// Row indexes of the storage table.
constexpr unsigned int kDiskRowIndex = 1;
constexpr unsigned int kMemoryRowIndex = 2;
// Row index of the processor in the device and processor tables.
constexpr unsigned int kProcessorRowIndex = 1;

// The provider of the ResourceData record the rows are refreshed from.
// Set once by buildSystemMib (not owned); while it is null, or has no
// record, the rows keep the values they were last given.
extern DataProvider* resourceProvider;

// The disk row (index 1): disk total and used.
Data* diskRow();
// The main-memory row (index 2): memory total and used.  Typed as
// hrStorageOther, not as RAM, on purpose.
Data* memoryRow();
// The processor row (index 1): processor load.
Data* processorRow();

#endif  // MIBS_SYSTEM_HOST_ROWS_H_
