#include "mibs/ip_mib.h"

#include "asn1/ber.h"
#include "data/bignum_packer.h"
#include "data/const_leaves.h"
#include "data/count_provider.h"
#include "data/data_member.h"
#include "data/get_all_provider.h"
#include "data/ip_packer.h"
#include "data/map_table.h"
#include "data/num_packer.h"
#include "data/oid_packer.h"
#include "data/string_packer.h"
#include "engine/leafs.h"
#include "mibs/ip_queues.h"
#include "mibs/ip_records.h"
#include "mibs/ip_routes.h"

namespace {

using ber::kInteger;
using ber::kOctetString;
using ber::kObjectId;
using ber::kIpAddress;
using ber::kCounter32;
using ber::kGauge32;
using ber::kCounter64;

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
