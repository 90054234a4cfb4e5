// InterfacesCountersTable: the traffic counters of the interface table's
// rows, one bus fetch per interface per cache life.
//
// Rows follow the interface table.  The first read of a row's counters asks
// the list service for that interface (get object, with the counters
// request flag) and keeps the record; later reads serve it from the map
// until the cache expires (idle 25 ticks or 95 ticks after the first fill),
// which drops every record at once.  A failed fetch leaves the row's
// counters at zero for that cache life.
#ifndef MIBS_INTERFACES_COUNTERS_TABLE_H_
#define MIBS_INTERFACES_COUNTERS_TABLE_H_

#include <cstdint>
#include <map>
#include <memory>

#include "data/augment_proxy_table.h"
#include "data/cache_update_timeout.h"
#include "mibs/interfaces_records.h"

// The counters cache's limits, in ticks: shorter-lived than the interface
// list, so that counters move between polls.
constexpr unsigned int kCountersIdleTicks = 25;
constexpr unsigned int kCountersAgeTicks = 95;
// Sent in u32 0xfe000c with each counters fetch.
constexpr uint32_t kCountersRequestFlag = 256;

class InterfacesCountersTable : public AugmentProxyTable, public CacheUpdateTimeout {
 public:
  // interfaces: the interface table (records are InterfaceData); not owned,
  // must outlive this table.
  explicit InterfacesCountersTable(Table* interfaces);
  // Deletes the cached records.
  ~InterfacesCountersTable() override;

  // The counters of the interface baseRecord (an InterfaceData), from the
  // map or fetched now.  Never null.  The record stays owned by this table
  // and lives until the cache expires.
  Data* augment(OID const& index, Data* baseRecord) override;

  // Nothing to do up front: rows are fetched one by one as they are read.
  void updateCache() override {}
  // Drops every cached record.
  void clearCache() override;

  // Interfaces whose counters are cached now (for tests and diagnostics).
  size_t cachedRows() const { return counters_.size(); }

 private:
  std::map<uint32_t, std::unique_ptr<InterfaceCounters>> counters_;
};

#endif  // MIBS_INTERFACES_COUNTERS_TABLE_H_
