#include "data/tables.h"

#include "engine/data_provider.h"
#include "engine/packer.h"

MapTable::MapTable(TableProvider* provider) : provider_(provider) {
  if (provider_) provider_->subscribe(this);
}

Data* MapTable::get(OID const& index) {
  if (provider_) provider_->updateTables();
  auto it = rows_.find(index);
  return it == rows_.end() ? nullptr : it->second;
}

std::pair<OID, Data*> MapTable::getNext(OID const& index) {
  if (provider_) provider_->updateTables();
  auto it = rows_.upper_bound(index);
  if (it == rows_.end()) return {OID(), nullptr};
  return {it->first, it->second};
}

Data* MapTable::getNextRow(OID const& index, OID* next) {
  if (provider_) provider_->updateTables();
  auto it = rows_.upper_bound(index);
  if (it == rows_.end()) return nullptr;
  *next = it->first;
  return it->second;
}

bool MapTable::set(OID const&, Data* record) {
  if (provider_) provider_->setData(record);
  return false;
}

unsigned int MapTable::count() {
  unsigned int n = 0;
  if (provider_ && provider_->getCountCMD(n)) return n;
  if (provider_) provider_->updateTables();
  return static_cast<unsigned int>(rows_.size());
}

void MapTable::addIndex(Packer* packer) { indexes_.push_back(packer); }

OID MapTable::getKey(Data const* record) const {
  OID key;
  for (Packer* packer : indexes_) key += packer->getAsKey(record);
  return key;
}

void MapTable::storeKey(Data* record, OID const& index) const {
  OID rest = index;
  for (Packer* packer : indexes_) rest = packer->setFromKey(record, rest);
}

void MapTable::clear() { rows_.clear(); }

// A null record would make a row that GETNEXT stops at and can't answer.
void MapTable::change(Data* record) {
  if (record) rows_[getKey(record)] = record;
}

void MapTable::remove(Data* record) {
  if (record) rows_.erase(getKey(record));
}

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

Data* AugmentProxyTable::get(OID const& index) {
  Data* record = base_->get(index);
  return record ? augment(index, record) : nullptr;
}

std::pair<OID, Data*> AugmentProxyTable::getNext(OID const& index) {
  std::pair<OID, Data*> next = base_->getNext(index);
  if (next.second) next.second = augment(next.first, next.second);
  return next;
}

Data* AugmentProxyTable::getNextRow(OID const& index, OID* next) {
  Data* record = base_->getNextRow(index, next);
  return record ? augment(*next, record) : nullptr;
}

bool AugmentProxyTable::set(OID const&, Data*) { return false; }

unsigned int AugmentProxyTable::count() { return base_->count(); }
