// SingleProvider: a DataProvider that caches one record for a short while.
//
// The first read fetches a record (getData) and keeps it until the cache
// expires (idle 25 ticks, age 200 ticks by default; see CacheUpdateTimeout),
// so a walk over the scalars of one record costs one fetch.
#ifndef DATA_SINGLE_PROVIDER_H_
#define DATA_SINGLE_PROVIDER_H_

#include "data/cache_update_timeout.h"
#include "engine/data_provider.h"

class SingleProvider : public DataProvider, public CacheUpdateTimeout {
 public:
  SingleProvider();
  // Deletes the cached record.
  ~SingleProvider() override;

  // The cached record (fetched first when the cache is empty); may be null.
  // The provider keeps ownership; the record lives until the cache expires.
  Data* get() override;
  // Writes record back through setData; true on success.  The cached record
  // keeps whatever the caller wrote into it.
  bool set(Data* record) override;

  void clearCache() override;
  void updateCache() override;

  // A freshly fetched record (the caller owns it), or null.
  virtual Data* getData() = 0;
  // Writes record back to its owner; true on success.
  virtual bool setData(Data* record) = 0;

 private:
  Data* cached_ = nullptr;
};

#endif  // DATA_SINGLE_PROVIDER_H_
