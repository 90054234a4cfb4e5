#include "data/augment_proxy_table.h"

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
