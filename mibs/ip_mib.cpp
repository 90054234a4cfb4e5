#include "mibs/ip_mib.h"

#include <arpa/inet.h>

#include "asn1/ber.h"
#include "data/get_all_provider.h"
#include "data/packers.h"
#include "data/providers.h"
#include "data/tables.h"
#include "engine/leafs.h"

namespace {

constexpr uint32_t kInvalid = kx::bool_id(0xfe0008);
constexpr uint32_t kDisabled = kx::bool_id(0xfe000a);
constexpr uint32_t kDynamic = kx::bool_id(0xfe0007);

constexpr uint32_t kAddress = kx::be32_id(0x1);
constexpr uint32_t kNetmask = kx::be32_id(0x3);
constexpr uint32_t kAddressInterface = kx::u32_id(0x5);

constexpr uint32_t kNeighbourAddress = kx::be32_id(0x1);
constexpr uint32_t kNeighbourInterface = kx::u32_id(0x3);
constexpr uint32_t kNeighbourHwAddress = kx::raw_id(0x2);

}  // namespace

bool ipObjectInactive(kx::message const& object) {
  return object.getBool(kInvalid) || object.getBool(kDisabled);
}

void IpAddressData::build(kx::message const& object, std::vector<Data*>* out) {
  if (ipObjectInactive(object)) return;
  auto* d = new IpAddressData;
  d->address = object.getBe32(kAddress);
  d->ifIndex = static_cast<int>(object.getU32(kAddressInterface));
  d->netmask = object.getBe32(kNetmask);
  out->push_back(d);
}

void ArpEntryData::build(kx::message const& object, std::vector<Data*>* out) {
  auto* d = new ArpEntryData;
  d->ifIndex = static_cast<int>(object.getU32(kNeighbourInterface));
  d->netAddress = object.getBe32(kNeighbourAddress);
  if (object.getBool(kInvalid))
    d->type = kNeighbourInvalid;
  else
    d->type = object.getBool(kDynamic) ? kNeighbourDynamic : kNeighbourStatic;
  if (const kx::message::raw* hw = object.findRaw(kNeighbourHwAddress))
    d->hwAddress.assign(hw->begin(), hw->end());
  out->push_back(d);
}

namespace {

constexpr uint32_t kDestination = kx::be32_id(0x1);
constexpr uint32_t kMask = kx::be32_id(0x2);
constexpr uint32_t kConnectedNextHop = kx::be32_id(0x3);
constexpr uint32_t kKind = kx::u32_id(0x7);
constexpr uint32_t kMetric = kx::u32_id(0x8);
constexpr uint32_t kGateways = kx::u32_array_id(0x4);    // be32 elements
constexpr uint32_t kInterfaces = kx::u32_array_id(0x5);  // one per gateway
constexpr uint32_t kGatewayOn = kx::u32_array_id(0x6);   // 0 = gateway disabled

constexpr uint32_t kKindConnected = 2;

// An element of an optional u32 array, or 0 when there is none.
uint32_t elementOr0(const std::vector<uint32_t>* array, size_t i) {
  return array && i < array->size() ? (*array)[i] : 0;
}

}  // namespace

RouteKindCodes routeKindCodes(uint32_t kind) {
  switch (kind) {
    case kKindConnected:
      return {3, 1, 3, 2};
    case 3:
      return {4, 2, 4, 3};
    case 4:
      return {4, 8, 4, 8};
    case 6:
      return {4, 13, 4, 13};
    case 8:
      return {4, 14, 4, 14};
    case 30:
      return {4, 2, 4, 3};
    case 31:
      return {4, 1, 3, 2};
    default:  // 5, 7, 9 to 29, and every kind outside 2 to 31
      return {4, 1, 1, 1};
  }
}

void RouteData::build(kx::message const& object, std::vector<Data*>* out) {
  if (ipObjectInactive(object)) return;
  const uint32_t kind = object.getU32(kKind);
  const RouteKindCodes codes = routeKindCodes(kind);
  auto record = [&](unsigned int nextHop, uint32_t ifIndex) {
    auto* d = new RouteData;
    d->destination = object.getBe32(kDestination);
    d->mask = object.getBe32(kMask);
    d->metric = static_cast<int>(object.getU32(kMetric));
    d->nextHop = nextHop;
    d->routeType = codes.routeType;
    d->cidrType = codes.cidrType;
    d->cidrProto = codes.cidrProto;
    d->routeProto = codes.routeProto;
    d->ifIndex = static_cast<int>(ifIndex);
    out->push_back(d);
  };

  const std::vector<uint32_t>* gateways = object.findU32Array(kGateways);
  const std::vector<uint32_t>* interfaces = object.findU32Array(kInterfaces);
  const bool noGateways = gateways == nullptr || gateways->empty();
  if (noGateways && kind == kKindConnected) {
    record(object.getBe32(kConnectedNextHop), elementOr0(interfaces, 0));
    return;
  }
  if (interfaces == nullptr || noGateways) return;
  const std::vector<uint32_t>* enabled = object.findU32Array(kGatewayOn);
  for (size_t i = 0; i < gateways->size(); ++i) {
    if (enabled && i < enabled->size() && (*enabled)[i] == 0) continue;
    // Array elements carry addresses first octet most significant, like
    // every u32 address of the bus.
    record(htonl((*gateways)[i]), elementOr0(interfaces, i));
  }
}

namespace {

constexpr uint32_t kName = kx::string_id(0x2);

constexpr uint32_t kTargets = kx::u32_array_id(0x69);  // be32 elements
constexpr uint32_t kAddress3 = kx::be32_id(0x65);
constexpr uint32_t kAddress4 = kx::be32_id(0x67);
constexpr uint32_t kValue = kx::u32_id(0x68);
constexpr uint32_t kCounter1 = kx::u64_id(0x12c);
constexpr uint32_t kCounter2 = kx::u64_id(0xc8);
constexpr uint32_t kCounter3 = kx::u32_id(0x12d);
constexpr uint32_t kCounter4 = kx::u32_id(0xc9);

constexpr uint32_t kTreeTexts = kx::string_array_id(0xc);
constexpr uint32_t kTreeValue = kx::u32_id(0x1);
constexpr uint32_t kTreeCounter64 = kx::u64_id(0xc8);
constexpr uint32_t kTreeCounter = kx::u32_id(0xc9);

}  // namespace

void QueueData::build(kx::message const& object, std::vector<Data*>* out) {
  auto* d = new QueueData;
  d->id = static_cast<int>(object.getU32(kx::kObjId));
  d->name = object.getString(kName);
  const std::vector<uint32_t>* targets = object.findU32Array(kTargets);
  if (targets && targets->size() >= 2) {
    // Elements carry addresses first octet most significant.
    d->address1 = htonl((*targets)[0]);
    d->address2 = htonl((*targets)[1]);
  }
  d->address3 = object.getBe32(kAddress3);
  d->address4 = object.getBe32(kAddress4);
  d->value = static_cast<int>(object.getU32(kValue));
  d->counter1 = object.getU64(kCounter1);
  d->counter2 = object.getU64(kCounter2);
  d->counter3 = static_cast<int>(object.getU32(kCounter3));
  d->counter4 = static_cast<int>(object.getU32(kCounter4));
  out->push_back(d);
}

void QueueTreeData::build(kx::message const& object, std::vector<Data*>* out) {
  auto* d = new QueueTreeData;
  d->id = static_cast<int>(object.getU32(kx::kObjId));
  d->name = object.getString(kName);
  const std::vector<std::string> texts = object.getStringArray(kTreeTexts);
  if (!texts.empty()) d->firstText = texts.front();
  d->value = static_cast<int>(object.getU32(kTreeValue));
  d->counter64 = object.getU64(kTreeCounter64);
  d->counterLow = static_cast<int>(static_cast<uint32_t>(d->counter64));
  d->counter = static_cast<int>(object.getU32(kTreeCounter));
  out->push_back(d);
}

namespace {

using ber::kCounter32;
using ber::kCounter64;
using ber::kGauge32;
using ber::kInteger;
using ber::kIpAddress;
using ber::kObjectId;
using ber::kOctetString;

// The queue services take this get-all argument instead of the default.
constexpr unsigned kQueueGetAllArgument = 7;

const OID kIp("1.3.6.1.2.1.4");
const OID kIpAddrEntry("1.3.6.1.2.1.4.20.1");
const OID kIpNetToMediaEntry("1.3.6.1.2.1.4.22.1");
const OID kIpCidrRouteNumber("1.3.6.1.2.1.4.24.3");
const OID kIpCidrRouteEntry("1.3.6.1.2.1.4.24.4.1");
const OID kIpRouteEntry("1.3.6.1.2.1.4.21.1");
const OID kQueueEntry("1.3.6.1.4.1.32473.1.1.2.1.1");
const OID kQueueTreeEntry("1.3.6.1.4.1.32473.1.1.2.2.1");

// A MapTable over a new provider with one source.
MapTable* listTable(GetAllProvider::Convert convert, std::vector<unsigned int> const& path,
                    unsigned getAllArgument = kDefaultGetAllArgument) {
  auto* provider = new GetAllProvider();
  provider->addSource(convert, path, getAllArgument);
  return new MapTable(provider);
}

template <class Record>
Packer* num(int Record::*member, unsigned tag) {
  return new DataNumPacker(dataMember(member), tag);
}
template <class Record>
Packer* ip(unsigned int Record::*member) {
  return new DataIPPacker(dataMember(member), kIpAddress);
}
template <class Record>
Packer* str(std::string Record::*member) {
  return new DataStringPacker(dataMember(member), kOctetString, 0);
}
template <class Record>
Packer* counter64(unsigned long long Record::*member) {
  return new DataBignumPacker(dataMember(member), kCounter64);
}

void buildAddressTable() {
  MapTable* table = listTable(IpAddressData::build, {20, 1});
  Packer* address = ip(&IpAddressData::address);
  table->addIndex(address);
  addColumnarLeaf(kIpAddrEntry + 1, address, table);
  addColumnarLeaf(kIpAddrEntry + 2, num(&IpAddressData::ifIndex, kInteger), table);
  addColumnarLeaf(kIpAddrEntry + 3, ip(&IpAddressData::netmask), table);
  // The broadcast column is 1 for every address on purpose.
  addColumnarLeaf(kIpAddrEntry + 4, new ConstNumPacker(1, kInteger), table);
  addColumnarLeaf(kIpAddrEntry + 5, new ConstNumPacker(65535, kInteger), table);
}

void buildNetToMediaTable() {
  MapTable* table = listTable(ArpEntryData::build, {20, 8});
  Packer* ifIndex = num(&ArpEntryData::ifIndex, kInteger);
  Packer* netAddress = ip(&ArpEntryData::netAddress);
  table->addIndex(ifIndex);
  table->addIndex(netAddress);
  addColumnarLeaf(kIpNetToMediaEntry + 1, ifIndex, table);
  addColumnarLeaf(kIpNetToMediaEntry + 2,
                  new DataRawPacker(dataMember(&ArpEntryData::hwAddress), kOctetString, 0), table);
  addColumnarLeaf(kIpNetToMediaEntry + 3, netAddress, table);
  addColumnarLeaf(kIpNetToMediaEntry + 4, num(&ArpEntryData::type, kInteger), table);
}

void buildRouteTables() {
  auto* provider = new GetAllProvider();
  provider->addSource(RouteData::build, {44, 1});
  Packer* destination = ip(&RouteData::destination);
  Packer* mask = ip(&RouteData::mask);
  Packer* nextHop = ip(&RouteData::nextHop);
  Packer* ifIndex = num(&RouteData::ifIndex, kInteger);
  Packer* metric1 = num(&RouteData::metric, kInteger);
  Packer* unusedMetric = new ConstNumPacker(-1, kInteger);
  Packer* zero = new ConstNumPacker(0, kInteger);
  Packer* noInfo = new ConstOIDPacker(OID{0, 0}, kObjectId);

  // ipCidrRouteTable: one row per gateway; the TOS part of the index is
  // always 0.
  auto* cidr = new MapTable(provider);
  cidr->addIndex(destination);
  cidr->addIndex(mask);
  cidr->addIndex(zero);
  cidr->addIndex(nextHop);
  addScalarLeaf(kIpCidrRouteNumber,
                new DataNumPacker(dataMember(&CountProvider::CountData::count), kGauge32),
                new CountProvider(cidr));
  auto cidrColumn = [&](unsigned column, Packer* packer) {
    addColumnarLeaf(kIpCidrRouteEntry + column, packer, cidr);
  };
  cidrColumn(1, destination);
  cidrColumn(2, mask);
  cidrColumn(3, zero);  // ipCidrRouteTos
  cidrColumn(4, nextHop);
  cidrColumn(5, ifIndex);
  cidrColumn(6, num(&RouteData::cidrType, kInteger));
  cidrColumn(7, num(&RouteData::cidrProto, kInteger));
  cidrColumn(8, zero);  // ipCidrRouteAge
  cidrColumn(9, noInfo);
  cidrColumn(10, zero);  // ipCidrRouteNextHopAS
  cidrColumn(11, metric1);
  for (unsigned column = 12; column <= 15; ++column) cidrColumn(column, unusedMetric);
  cidrColumn(16, new ConstNumPacker(1, kInteger));  // ipCidrRouteStatus: active

  // ipRouteTable: the same records by destination only.
  auto* routes = new MapTable(provider);
  routes->addIndex(destination);
  auto routeColumn = [&](unsigned column, Packer* packer) {
    addColumnarLeaf(kIpRouteEntry + column, packer, routes);
  };
  routeColumn(1, destination);
  routeColumn(2, ifIndex);
  routeColumn(3, metric1);
  for (unsigned column = 4; column <= 6; ++column) routeColumn(column, unusedMetric);
  routeColumn(7, nextHop);
  routeColumn(8, num(&RouteData::routeType, kInteger));
  routeColumn(9, num(&RouteData::routeProto, kInteger));
  routeColumn(10, zero);  // ipRouteAge
  routeColumn(11, mask);
  routeColumn(12, unusedMetric);  // ipRouteMetric5
  routeColumn(13, noInfo);
}

// Both queue tables start at column 2: their id is the index and no column.
void buildQueueTables() {
  MapTable* queues = listTable(QueueData::build, {20, 9}, kQueueGetAllArgument);
  queues->addIndex(num(&QueueData::id, kInteger));
  Packer* queueColumns[] = {str(&QueueData::name),
                            ip(&QueueData::address1),
                            ip(&QueueData::address2),
                            ip(&QueueData::address3),
                            ip(&QueueData::address4),
                            num(&QueueData::value, kInteger),
                            counter64(&QueueData::counter1),
                            counter64(&QueueData::counter2),
                            num(&QueueData::counter3, kCounter32),
                            num(&QueueData::counter4, kCounter32)};
  unsigned column = 2;
  for (Packer* packer : queueColumns) addColumnarLeaf(kQueueEntry + column++, packer, queues);

  MapTable* tree = listTable(QueueTreeData::build, {20, 12}, kQueueGetAllArgument);
  tree->addIndex(num(&QueueTreeData::id, kInteger));
  Packer* treeColumns[] = {str(&QueueTreeData::name),
                           str(&QueueTreeData::firstText),
                           num(&QueueTreeData::value, kInteger),
                           num(&QueueTreeData::counterLow, kCounter32),
                           num(&QueueTreeData::counter, kCounter32),
                           counter64(&QueueTreeData::counter64)};
  column = 2;
  for (Packer* packer : treeColumns) addColumnarLeaf(kQueueTreeEntry + column++, packer, tree);
}

}  // namespace

void buildIpMib() {
  addScalarConstNumLeaf(kIp + 1, 1, kInteger);    // ipForwarding: forwarding
  addScalarConstNumLeaf(kIp + 2, 255, kInteger);  // ipDefaultTTL
  buildAddressTable();
  buildNetToMediaTable();
  buildRouteTables();
  buildQueueTables();
}
