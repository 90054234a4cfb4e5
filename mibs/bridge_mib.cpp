#include "mibs/bridge_mib.h"

#include <cstdint>
#include <vector>

#include "asn1/ber.h"
#include "asn1/oid.h"
#include "data/get_all_provider.h"
#include "data/packers.h"
#include "data/providers.h"
#include "data/tables.h"
#include "engine/leafs.h"
#include "kx/message.h"

namespace {

// The provider of the bridge whose objects are served: the first interface
// (service path [20, 0]) that BridgeData::build accepts.  Set once by
// buildBridgeMib; while it is null no forwarding entry is kept.
GetFirstProvider* bridgeProvider = nullptr;

constexpr uint32_t kInterfaceKind = kx::u32_id(0x10001);
constexpr uint32_t kBridgeAddress = kx::raw_id(0x3e9);
constexpr uint32_t kBridgePriority = kx::u32_id(0x2);

constexpr uint32_t kFdbPort = kx::u32_id(0x1);
constexpr uint32_t kFdbAddress = kx::raw_id(0x2);
constexpr uint32_t kFdbLocal = kx::bool_id(0x4);
constexpr uint32_t kFdbBridge = kx::u32_id(0x5);  // interface id of the bridge

}  // namespace

Data* BridgeData::build(const kx::message& object) {
  if (object.getU32(kInterfaceKind) != kBridgeKind) return nullptr;
  auto* b = new BridgeData;
  b->address = object.getRaw(kBridgeAddress);
  b->priority = static_cast<int>(object.getU32(kBridgePriority));
  return b;
}

void FdbEntryData::build(const kx::message& object, std::vector<Data*>* out) {
  if (!bridgeProvider || object.getU32(kFdbBridge) != bridgeProvider->getFirstObjId()) return;
  auto* e = new FdbEntryData;
  e->port = static_cast<int>(object.getU32(kFdbPort));
  e->address = object.getRaw(kFdbAddress);
  e->status = object.getBool(kFdbLocal) ? kSelf : kLearned;
  out->push_back(e);
}

namespace {

constexpr uint32_t kValue = kx::u32_id(0xd);
constexpr uint32_t kTemperature = kx::u32_id(0xe);
constexpr uint32_t kPowerSource = kx::u32_id(0xc);
// Read when the power source is missing; names no source, so it shows "n/a".
constexpr uint32_t kNoPowerSource = 42;
constexpr int kTenthsPerDegree = 10;

const char* powerSourceText(uint32_t source) {
  switch (source) {
    case 0:
      return "aux";
    case 1:
      return "main";
    case 2:
      return "none";
    default:
      return "n/a";
  }
}

}  // namespace

Data* HealthData::build(const kx::message& msg) {
  auto* h = new HealthData;
  h->value = static_cast<int>(msg.getU32(kValue));
  const auto degrees =
      static_cast<int32_t>(msg.getU32(kTemperature, static_cast<uint32_t>(kNoTemperature)));
  // Multiplied in 32-bit unsigned arithmetic: a wild reading wraps instead
  // of overflowing.
  h->temperature = static_cast<int>(static_cast<uint32_t>(degrees) * kTenthsPerDegree);
  h->powerSource = powerSourceText(msg.getU32(kPowerSource, kNoPowerSource));
  return h;
}

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

namespace {

using ber::kInteger;
using ber::kOctetString;

const std::vector<unsigned int> kHealthPath = {12, 1};
const OID kHealth = {1, 3, 6, 1, 4, 1, 32473, 1, 1, 3};

}  // namespace

void buildHealthMib() {
  auto* health = new GetProvider(HealthData::build, kHealthPath, kx::kCmdGet, kx::kCmdSet);
  addScalarLeaf(kHealth + 8, new DataNumPacker(dataMember(&HealthData::value), kInteger), health);
  addScalarLeaf(kHealth + 9,
                new DataStringPacker(dataMember(&HealthData::powerSource), kOctetString, 0),
                health);
  addScalarLeaf(kHealth + 10, new DataNumPacker(dataMember(&HealthData::temperature), kInteger),
                health);
}
