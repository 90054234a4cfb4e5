// CountProvider: the row count of a table as a one-field record, for scalars
// such as "number of interfaces".  Pair it with a DataNumPacker on
// CountProvider::CountData::count.
#ifndef DATA_COUNT_PROVIDER_H_
#define DATA_COUNT_PROVIDER_H_

#include "engine/data.h"
#include "engine/data_provider.h"

class Table;

class CountProvider : public DataProvider {
 public:
  class CountData : public Data {
   public:
    int count = 0;
  };

  // table: not owned; must outlive the provider.
  explicit CountProvider(Table* table) : table_(table) {}

  // Refreshes the embedded record from the table's count() and returns it
  // (always the same record, owned by the provider).
  Data* get() override;
  // Read-only: false.
  bool set(Data*) override { return false; }

 private:
  Table* table_;
  CountData data_;
};

#endif  // DATA_COUNT_PROVIDER_H_
