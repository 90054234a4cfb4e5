#include "data/count_provider.h"

#include "engine/table.h"

Data* CountProvider::get() {
  data_.count = table_ ? static_cast<int>(table_->count()) : 0;
  return &data_;
}
