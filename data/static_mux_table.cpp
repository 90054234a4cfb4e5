#include "data/static_mux_table.h"

#include "engine/data_provider.h"

Data* StaticMuxTable::get(OID const& index) {
  auto it = rows_.find(index);
  return it == rows_.end() || !it->second ? nullptr : it->second->get();
}

std::pair<OID, Data*> StaticMuxTable::getNext(OID const& index) {
  auto it = rows_.upper_bound(index);
  if (it == rows_.end()) return {OID(), nullptr};
  return {it->first, it->second ? it->second->get() : nullptr};
}

Data* StaticMuxTable::getNextRow(OID const& index, OID* next) {
  auto it = rows_.upper_bound(index);
  if (it == rows_.end()) return nullptr;
  *next = it->first;
  return it->second ? it->second->get() : nullptr;
}

bool StaticMuxTable::set(OID const& index, Data* record) {
  auto it = rows_.find(index);
  return it != rows_.end() && it->second && it->second->set(record);
}

unsigned int StaticMuxTable::count() { return static_cast<unsigned int>(rows_.size()); }

void StaticMuxTable::addProvider(OID const& index, DataProvider* provider) {
  rows_[index] = provider;
}
