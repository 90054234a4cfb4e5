// The interfaces module: ifNumber, ifTable and ifXTable.
#ifndef MIBS_INTERFACES_MIB_H_
#define MIBS_INTERFACES_MIB_H_

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "data/providers.h"
#include "data/tables.h"
#include "engine/data.h"
#include "kx/message.h"

// The interface kind of the platform (u32 0x10001 of an interface object)
// mapped to the ifType and ifSpeed the interfaces table shows.

// Kinds whose speed is not fixed by the kind alone.
constexpr uint32_t kKindEthernet = 1;  // speed from the interface's speed index
constexpr uint32_t kKindVlan = 30;     // speed index of the parent interface

// What a kind shows.  For Ethernet and VLAN interfaces speedFromIndex is
// set and speed is meaningless: the caller looks the speed index up.
struct InterfaceKindInfo {
  int ifType;
  int speed;
  bool speedFromIndex;
};

// Any kind, also one the platform does not define: unknown kinds are
// type 1 (other) at 10 Mbit/s.
InterfaceKindInfo interfaceKindInfo(uint32_t kind);

// The speed of an Ethernet speed index: 0 = 10 Mbit/s, 1 = 100 Mbit/s,
// 2 = 1 Gbit/s; any larger index gives 0.
int speedOfIndex(uint32_t index);

// Records of the interfaces module.
//
// InterfaceData is one row of the interface list (service [20, 0]);
// InterfaceCounters holds the traffic counters of one interface, fetched on
// demand from the same service.  Fields are ints where a packer reads them
// as INTEGER, Counter32 or Gauge32 (the bits of a u32 are kept as they are).

// The interface list's bus address.
extern const std::vector<unsigned int> kInterfacesPath;

class InterfaceData : public Data {
 public:
  int id = 0;  // bus object id: the row index and ifIndex
  int mtu = 0;
  int speed = 0;
  int ifType = 0;
  int operStatus = 0;   // 1 running, 2 not
  int adminStatus = 0;  // 1 enabled, 2 disabled
  std::string name;
  std::vector<unsigned char> hwAddress;  // empty when the interface has none

  // The interface list's conversion: appends one record per object.  For a
  // VLAN the parent interface is asked for its speed index over the bus
  // (synchronously); a failed lookup reads as speed index 0.
  static void build(kx::message const& object, std::vector<Data*>* out);
  // The record of one object, without appending it anywhere.
  static InterfaceData* fromMessage(kx::message const& object);
};

class InterfaceCounters : public Data {
 public:
  // The 64-bit counters twice: low 32 bits for the Counter32 columns and
  // whole for the Counter64 ones, so both always come from one fetch.
  int inOctets = 0;
  int outOctets = 0;
  int inPackets = 0;
  int outPackets = 0;
  unsigned long long inOctets64 = 0;
  unsigned long long outOctets64 = 0;
  unsigned long long inPackets64 = 0;
  unsigned long long outPackets64 = 0;
  int inErrors = 0;
  int outErrors = 0;
  int inDiscards = 0;
  int outDiscards = 0;

  // Copies the counters of an interface object; absent fields read as 0.
  void fill(kx::message const& object);
};

// InterfacesCountersTable: the traffic counters of the interface table's
// rows, one bus fetch per interface per cache life.
//
// Rows follow the interface table.  The first read of a row's counters asks
// the list service for that interface (get object, with the counters
// request flag) and keeps the record; later reads serve it from the map
// until the cache expires (idle 25 ticks or 95 ticks after the first fill),
// which drops every record at once.  A failed fetch leaves the row's
// counters at zero for that cache life.

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

// Registers ifNumber (1.3.6.1.2.1.2.1), the ifTable (1.3.6.1.2.1.2.2.1) and
// the ifXTable (1.3.6.1.2.1.31.1.1.1), indexed by the platform's interface
// id.  Rows come from the interface list at [20, 0]; each row's counters are
// fetched from the same service when first read.  Then primes the
// link-state map from the same list and appends the "interfaces" trap
// subscriber (traps/link_traps.h).  Call once at start-up,
// after the agent's looper exists (busExchange); everything it allocates lives
// for the rest of the run.
void buildInterfacesMib();

#endif  // MIBS_INTERFACES_MIB_H_
