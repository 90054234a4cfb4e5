// The example plug-in's trap: an item of the example service changed.
//
// The subscriber "example-items" (a generator an operator switches on with
// "kxctl snmp set trap-generators=...,example-items") subscribes the agent
// to the change events of the list at [77, 2].  Each event becomes the
// enterprise trap 1.3.6.1.4.1.32473.1.99, specific 1 (snmpTrapOID.0
// 1.3.6.1.4.1.32473.1.99.0.1 in v2c), carrying the item's row of
// exampleTable: its id and, unless the item was removed, its name.
#include "example_traps.h"

#include <string>
#include <vector>

#include "asn1/oid.h"
#include "example_records.h"
#include "kx/message.h"
#include "traps/trap_sources.h"

namespace {

const std::vector<uint32_t> kListPath = {77, 2};
// The event kind the service announces changes with; the agent turns
// events of this kind into traps.
constexpr uint32_t kChangeEvent = 0x10004;
constexpr unsigned kInteger = 0x02;
constexpr unsigned kOctetString = 0x04;

const OID kExample = {1, 3, 6, 1, 4, 1, 32473, 1, 99};
const OID kItemEntry = kExample + 4 + 1;
constexpr int kItemChanged = 1;

int itemTrapMaker(std::vector<VariableBinding>& bindings, const kx::message& event, OID& trapOid,
                  int& generic, int& specific) {
  // Only events of this service: every maker sees every trap request.
  const std::vector<uint32_t>* from = event.findU32Array(kx::kSrcPath);
  if (from == nullptr || *from != kListPath || !event.has(kx::kObjId)) return 0;
  const unsigned id = event.getU32(kx::kObjId);
  trapOid = kExample;
  generic = kGenericEnterpriseSpecific;
  specific = kItemChanged;
  bindings.push_back({kItemEntry + 1 + id, kInteger, std::to_string(id)});
  if (const std::string* name = event.findString(example::kItemName))
    bindings.push_back({kItemEntry + 2 + id, kOctetString, *name});
  return 1;
}

void subscribeItems() {
  addTrapMaker(itemTrapMaker);
  subscribeToEvents(kListPath, kChangeEvent, kx::message());
}

void unsubscribeItems() {
  removeTrapMaker(itemTrapMaker);
  unsubscribeFromEvents(kListPath, kChangeEvent, kx::message());
}

}  // namespace

namespace example {

void addTraps() { scribers.push_back({"example-items", subscribeItems, unsubscribeItems}); }

}  // namespace example
