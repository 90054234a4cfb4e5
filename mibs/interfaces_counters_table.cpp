#include "mibs/interfaces_counters_table.h"

#include "data/bus.h"

InterfacesCountersTable::InterfacesCountersTable(Table* interfaces)
    : AugmentProxyTable(interfaces), CacheUpdateTimeout(kCountersIdleTicks, kCountersAgeTicks) {}

InterfacesCountersTable::~InterfacesCountersTable() = default;

Data* InterfacesCountersTable::augment(OID const&, Data* baseRecord) {
  // Lets the cache expire (or stay) before the map is consulted.
  accessData();
  const uint32_t id = static_cast<uint32_t>(static_cast<InterfaceData*>(baseRecord)->id);
  auto found = counters_.find(id);
  if (found != counters_.end()) return found->second.get();

  // Kept (zeroed) even when the fetch fails, so a silent service costs one
  // time-out per cache life, not one per read.
  InterfaceCounters* counters =
      counters_.emplace(id, std::make_unique<InterfaceCounters>()).first->second.get();
  kx::message request;
  request.setCommand(kx::kCmdGetObj);
  request.setDstPath(kInterfacesPath);
  request.setU32(kx::kObjId, id);
  request.setU32(kx::kGetAllArg, kCountersRequestFlag);
  kx::message reply = busExchange(request);
  if (!kx::isError(reply)) counters->fill(reply);
  return counters;
}

void InterfacesCountersTable::clearCache() { counters_.clear(); }
