// An example plug-in: three kinds of object under 1.3.6.1.4.1.32473.1.99.
//
//   .1.0      exampleVersion  OCTET STRING, a constant
//   .2.0      exampleMotd     OCTET STRING, read from [77, 1], writable
//   .3.0      exampleVisitors Counter32, read from [77, 1]
//   .4.1.C.I  exampleTable    rows of the list at [77, 2], index I = the
//                             object's id; columns 1 id, 2 name, 3 level
//   .0.1      exampleItemChanged, a trap sent when an item changes
//                             (generator "example-items", example_traps.cpp)
//
// The agent loads every *.so below its plug-in directory and calls
// autorun() once, before it answers the first request.  Everything made
// here is handed to the MIB tree and lives until the process ends: leaves,
// packers, providers and tables are never freed.
#include <vector>

#include "asn1/oid.h"
#include "data/get_all_provider.h"
#include "data/packers.h"
#include "data/providers.h"
#include "data/tables.h"
#include "engine/leafs.h"
#include "example_records.h"
#include "example_traps.h"
#include "kx/message.h"

namespace {

using example::ItemData;
using example::MotdData;

constexpr unsigned kInteger = 0x02;
constexpr unsigned kOctetString = 0x04;
constexpr unsigned kCounter32 = 0x41;
constexpr unsigned kGauge32 = 0x42;

const OID kExample = {1, 3, 6, 1, 4, 1, 32473, 1, 99};
const std::vector<unsigned int> kSettingsPath = {77, 1};
const std::vector<unsigned int> kListPath = {77, 2};

void addScalars() {
  addScalarConstStringLeaf(kExample + 1, "sarn example plug-in 1.0", kOctetString);

  // One provider for both scalars: a walk over them costs one bus request.
  auto* settings = new GetProvider(MotdData::build, kSettingsPath, kx::kCmdGet, kx::kCmdSet);
  addScalarLeaf(kExample + 2, new DataStringPacker(dataMember(&MotdData::motd), kOctetString, 0),
                settings);
  addScalarLeaf(kExample + 3, new DataNumPacker(dataMember(&MotdData::visitors), kCounter32),
                settings);
}

void addTable() {
  auto* rows = new GetAllProvider();
  rows->addSource(ItemData::build, kListPath);
  auto* table = new MapTable(rows);
  // The index column's packer also makes the row's index.
  auto* id = new DataNumPacker(dataMember(&ItemData::id), kInteger);
  table->addIndex(id);

  const OID entry = kExample + 4 + 1;
  addColumnarLeaf(entry + 1, id, table);
  addColumnarLeaf(entry + 2, new DataStringPacker(dataMember(&ItemData::name), kOctetString, 0),
                  table);
  addColumnarLeaf(entry + 3, new DataNumPacker(dataMember(&ItemData::level), kGauge32), table);
}

}  // namespace

extern "C" void autorun() {
  addScalars();
  addTable();
  example::addTraps();
}
