#include "mibs/bridge_mib.h"

#include <vector>

#include "asn1/ber.h"
#include "asn1/oid.h"
#include "data/const_leaves.h"
#include "data/data_member.h"
#include "data/get_all_provider.h"
#include "data/get_first_provider.h"
#include "data/map_table.h"
#include "data/num_packer.h"
#include "data/string_packer.h"
#include "engine/leafs.h"
#include "mibs/bridge_records.h"

namespace {

using ber::kInteger;
using ber::kOctetString;
// Hardware addresses are six octets, also as a table index.
constexpr unsigned int kMacLength = 6;
// The spanning-tree protocol scalar (17.2.1) reports ieee8021d.
constexpr int kStpIeee8021d = 3;

const std::vector<unsigned int> kInterfacePath = {20, 0};
const std::vector<unsigned int> kHostPath = {16, 3};

const OID kDot1dBridge = {1, 3, 6, 1, 2, 1, 17};

}  // namespace

void buildBridgeMib() {
  bridgeProvider = new GetFirstProvider(BridgeData::build, kInterfacePath);
  addScalarLeaf(kDot1dBridge + OID{1, 1},
                new DataRawPacker(dataMember(&BridgeData::address), kOctetString, kMacLength),
                bridgeProvider);
  addScalarConstNumLeaf(kDot1dBridge + OID{2, 1}, kStpIeee8021d, kInteger);
  addScalarLeaf(kDot1dBridge + OID{2, 2},
                new DataNumPacker(dataMember(&BridgeData::priority), kInteger), bridgeProvider);

  auto* hosts = new GetAllProvider();
  hosts->addSource(FdbEntryData::build, kHostPath);
  auto* table = new MapTable(hosts);
  // The address column is the index itself.
  auto* address = new DataRawPacker(dataMember(&FdbEntryData::address), kOctetString, kMacLength);
  table->addIndex(address);
  const OID entry = kDot1dBridge + OID{4, 3, 1};
  addColumnarLeaf(entry + 1, address, table);
  addColumnarLeaf(entry + 2, new DataNumPacker(dataMember(&FdbEntryData::port), kInteger), table);
  addColumnarLeaf(entry + 3, new DataNumPacker(dataMember(&FdbEntryData::status), kInteger), table);
}
