#include "data/single_provider.h"

#include "engine/data.h"

SingleProvider::SingleProvider() : CacheUpdateTimeout(kProviderIdleTicks, kProviderAgeTicks) {}

SingleProvider::~SingleProvider() { delete cached_; }

Data* SingleProvider::get() {
  accessData();
  return cached_;
}

bool SingleProvider::set(Data* record) { return setData(record); }

void SingleProvider::clearCache() {
  delete cached_;
  cached_ = nullptr;
}

void SingleProvider::updateCache() {
  // A refill without an expiry in between (invalidateData does clear first,
  // but keep the old record from leaking whatever the order).
  delete cached_;
  cached_ = getData();
}
