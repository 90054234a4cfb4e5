#include "mibs/interfaces_mib.h"

#include "asn1/ber.h"
#include "data/bignum_packer.h"
#include "data/count_provider.h"
#include "data/data_member.h"
#include "data/get_all_provider.h"
#include "data/map_table.h"
#include "data/num_packer.h"
#include "data/string_packer.h"
#include "engine/leafs.h"
#include "kx/snmp_keys.h"
#include "mibs/interfaces_counters_table.h"
#include "mibs/interfaces_records.h"
#include "traps/link_traps.h"
#include "traps/trap_subscribers.h"

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
