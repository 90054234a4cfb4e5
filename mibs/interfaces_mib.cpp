#include "mibs/interfaces_mib.h"

#include "asn1/ber.h"
#include "data/get_all_provider.h"
#include "data/packers.h"
#include "data/providers.h"
#include "data/tables.h"
#include "engine/leafs.h"
#include "kx/snmp_keys.h"
#include "traps/link_traps.h"
#include "traps/trap_sources.h"

namespace {

// Speeds of the Ethernet speed index, in bits per second.
constexpr int kSpeedByIndex[] = {10000000, 100000000, 1000000000};
constexpr uint32_t kSpeedIndexCount = sizeof(kSpeedByIndex) / sizeof(kSpeedByIndex[0]);

constexpr int kTenMbit = 10000000;

}  // namespace

int speedOfIndex(uint32_t index) { return index < kSpeedIndexCount ? kSpeedByIndex[index] : 0; }

InterfaceKindInfo interfaceKindInfo(uint32_t kind) {
  switch (kind) {
    case kKindEthernet:
      return {6, 0, true};
    case 2:
      return {188, 2000000, false};
    case 5:
    case 13:
    case 24:
    case 35:
      return {71, 11000000, false};
    case 6:
      return {188, kTenMbit, false};
    case 7:
    case 8:
    case 23:
    case 28:
      return {118, 64000, false};
    case 10:
    case 11:
    case 16:
    case 18:
    case 33:
    case 34:
      return {23, kTenMbit, false};
    case 12:
      return {209, 100000000, false};
    case 15:
    case 22:
      return {63, 64000, false};
    case 17:
      return {131, kTenMbit, false};
    case 19:
    case 20:
      return {23, 57600, false};
    case 21:
      return {131, 128000, false};
    case 27:
      return {32, 64000, false};
    case kKindVlan:
      return {135, 0, true};
    default:
      return {1, kTenMbit, false};
  }
}

const std::vector<unsigned int> kInterfacesPath = {20, 0};

namespace {

// Fields of an interface object.
constexpr uint32_t kKind = kx::u32_id(0x10001);
constexpr uint32_t kName = kx::string_id(0x10006);
constexpr uint32_t kRunning = kx::bool_id(0x1000e);
constexpr uint32_t kMtu = kx::u32_id(0x10064);
constexpr uint32_t kSpeedIndex = kx::u32_id(0x3f2);
constexpr uint32_t kParent = kx::u32_id(0x7d2);
constexpr uint32_t kHwAddress = kx::raw_id(0x3e9);
constexpr uint32_t kDisabled = kx::bool_id(0xfe000a);

constexpr uint32_t kInOctets = kx::u64_id(0x100fc);
constexpr uint32_t kOutOctets = kx::u64_id(0x100fd);
constexpr uint32_t kInPackets = kx::u64_id(0x100fe);
constexpr uint32_t kOutPackets = kx::u64_id(0x100ff);
constexpr uint32_t kInErrors = kx::u32_id(0x100fa);
constexpr uint32_t kOutErrors = kx::u32_id(0x100fb);
constexpr uint32_t kInDiscards = kx::u32_id(0x100f8);
constexpr uint32_t kOutDiscards = kx::u32_id(0x100f9);

// The speed index of another interface, read from the list service.
uint32_t parentSpeedIndex(uint32_t parent) {
  kx::message request;
  request.setCommand(kx::kCmdGetObj);
  request.setDstPath(kInterfacesPath);
  request.setU32(kx::kObjId, parent);
  // An error reply has no speed index: it reads as 0 like any absent field.
  return busExchange(request).getU32(kSpeedIndex);
}

int low32(uint64_t v) { return static_cast<int>(static_cast<uint32_t>(v)); }

}  // namespace

InterfaceData* InterfaceData::fromMessage(kx::message const& object) {
  auto* d = new InterfaceData;
  d->id = static_cast<int>(object.getU32(kx::kObjId));
  d->mtu = static_cast<int>(object.getU32(kMtu));
  const InterfaceKindInfo kind = interfaceKindInfo(object.getU32(kKind));
  d->ifType = kind.ifType;
  d->speed = kind.speed;
  if (kind.speedFromIndex) {
    const uint32_t index = object.getU32(kKind) == kKindVlan
                               ? parentSpeedIndex(object.getU32(kParent))
                               : object.getU32(kSpeedIndex);
    d->speed = speedOfIndex(index);
  }
  d->operStatus = object.getBool(kRunning) ? 1 : 2;
  d->adminStatus = object.getBool(kDisabled) ? 2 : 1;
  d->name = object.getString(kName);
  if (const kx::message::raw* hw = object.findRaw(kHwAddress))
    d->hwAddress.assign(hw->begin(), hw->end());
  return d;
}

void InterfaceData::build(kx::message const& object, std::vector<Data*>* out) {
  out->push_back(fromMessage(object));
}

void InterfaceCounters::fill(kx::message const& object) {
  inOctets64 = object.getU64(kInOctets);
  outOctets64 = object.getU64(kOutOctets);
  inPackets64 = object.getU64(kInPackets);
  outPackets64 = object.getU64(kOutPackets);
  inOctets = low32(inOctets64);
  outOctets = low32(outOctets64);
  inPackets = low32(inPackets64);
  outPackets = low32(outPackets64);
  inErrors = static_cast<int>(object.getU32(kInErrors));
  outErrors = static_cast<int>(object.getU32(kOutErrors));
  inDiscards = static_cast<int>(object.getU32(kInDiscards));
  outDiscards = static_cast<int>(object.getU32(kOutDiscards));
}

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

namespace {

using ber::kCounter32;
using ber::kCounter64;
using ber::kGauge32;
using ber::kInteger;
using ber::kOctetString;
using ber::kTimeTicks;

const OID kIfNumber("1.3.6.1.2.1.2.1");
const OID kIfEntry("1.3.6.1.2.1.2.2.1");
const OID kIfXEntry("1.3.6.1.2.1.31.1.1.1");

Packer* num(int InterfaceData::*member, unsigned tag) {
  return new DataNumPacker(dataMember(member), tag);
}
Packer* counter32(int InterfaceCounters::*member) {
  return new DataNumPacker(dataMember(member), kCounter32);
}
Packer* counter64(unsigned long long InterfaceCounters::*member) {
  return new DataBignumPacker(dataMember(member), kCounter64);
}

}  // namespace

void buildInterfacesMib() {
  auto* provider = new GetAllProvider();
  provider->addSource(InterfaceData::build, kInterfacesPath);
  auto* interfaces = new MapTable(provider);
  Packer* ifIndex = num(&InterfaceData::id, kInteger);
  interfaces->addIndex(ifIndex);
  auto* counters = new InterfacesCountersTable(interfaces);

  auto* ifCount = new CountProvider(interfaces);
  addScalarLeaf(kIfNumber,
                new DataNumPacker(dataMember(&CountProvider::CountData::count), kInteger), ifCount);

  // ifTable, in registration order: the columns with a source first, then
  // the constant ones.
  auto ifColumn = [&](unsigned column, Packer* packer, Table* table) {
    addColumnarLeaf(kIfEntry + column, packer, table);
  };
  ifColumn(1, ifIndex, interfaces);
  ifColumn(2, new DataStringPacker(dataMember(&InterfaceData::name), kOctetString, 0), interfaces);
  ifColumn(3, num(&InterfaceData::ifType, kInteger), interfaces);
  ifColumn(4, num(&InterfaceData::mtu, kInteger), interfaces);
  ifColumn(5, num(&InterfaceData::speed, kGauge32), interfaces);
  ifColumn(6, new DataRawPacker(dataMember(&InterfaceData::hwAddress), kOctetString, 0),
           interfaces);
  ifColumn(7, num(&InterfaceData::adminStatus, kInteger), interfaces);
  ifColumn(8, num(&InterfaceData::operStatus, kInteger), interfaces);
  ifColumn(10, counter32(&InterfaceCounters::inOctets), counters);
  ifColumn(11, counter32(&InterfaceCounters::inPackets), counters);
  ifColumn(13, counter32(&InterfaceCounters::inDiscards), counters);
  ifColumn(14, counter32(&InterfaceCounters::inErrors), counters);
  ifColumn(16, counter32(&InterfaceCounters::outOctets), counters);
  ifColumn(17, counter32(&InterfaceCounters::outPackets), counters);
  ifColumn(19, counter32(&InterfaceCounters::outDiscards), counters);
  ifColumn(20, counter32(&InterfaceCounters::outErrors), counters);
  ifColumn(9, new ConstNumPacker(0, kTimeTicks), interfaces);   // ifLastChange
  ifColumn(12, new ConstNumPacker(0, kCounter32), interfaces);  // ifInNUcastPkts
  ifColumn(15, new ConstNumPacker(0, kCounter32), interfaces);  // ifInUnknownProtos
  ifColumn(18, new ConstNumPacker(0, kCounter32), interfaces);  // ifOutNUcastPkts
  ifColumn(21, new ConstNumPacker(0, kGauge32), interfaces);    // ifOutQLen

  // ifXTable.  ifHighSpeed stays 0 on purpose, even where ifSpeed is known.
  auto ifXColumn = [&](unsigned column, Packer* packer, Table* table) {
    addColumnarLeaf(kIfXEntry + column, packer, table);
  };
  ifXColumn(1, new DataStringPacker(dataMember(&InterfaceData::name), kOctetString, 0), interfaces);
  ifXColumn(6, counter64(&InterfaceCounters::inOctets64), counters);
  ifXColumn(7, counter64(&InterfaceCounters::inPackets64), counters);
  ifXColumn(10, counter64(&InterfaceCounters::outOctets64), counters);
  ifXColumn(11, counter64(&InterfaceCounters::outPackets64), counters);
  for (unsigned column : {2u, 3u, 4u, 5u})  // multicast and broadcast packets
    ifXColumn(column, new ConstNumPacker(0, kCounter32), interfaces);
  for (unsigned column : {8u, 9u, 12u, 13u})  // their 64-bit forms
    ifXColumn(column, new ConstBignumPacker(0, kCounter64), interfaces);
  ifXColumn(15, new ConstNumPacker(0, kGauge32), interfaces);  // ifHighSpeed

  // Link traps: the states the interfaces start in, and the generator that
  // switches the traps on.
  primeLinkStates();
  scribers.push_back({snmp::kInterfacesGeneratorName, interfacesSubscribe, interfacesUnsubscribe});
}
