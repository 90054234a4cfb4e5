// The IP module: the IP group scalars, ipAddrTable, ipNetToMediaTable,
// ipCidrRouteTable with ipCidrRouteNumber, ipRouteTable and the two
// enterprise queue tables under 1.3.6.1.4.1.32473.1.1.2.
#ifndef MIBS_IP_MIB_H_
#define MIBS_IP_MIB_H_

#include <cstdint>
#include <string>
#include <vector>

#include "engine/data.h"
#include "kx/message.h"

// Records of the IP module's address and neighbour tables.
//
// Addresses are u32s in the agent's form (network order in memory), as the
// IP packers expect.

// One row of ipAddrTable, from the address list [20, 1].
class IpAddressData : public Data {
 public:
  unsigned int address = 0;
  int ifIndex = 0;
  unsigned int netmask = 0;

  // Appends one record, or none for a disabled or invalid address.
  static void build(kx::message const& object, std::vector<Data*>* out);
};

// ipNetToMediaType values.
constexpr int kNeighbourInvalid = 2;
constexpr int kNeighbourDynamic = 3;
constexpr int kNeighbourStatic = 4;

// One row of ipNetToMediaTable, from the neighbour list [20, 8].
class ArpEntryData : public Data {
 public:
  int ifIndex = 0;
  unsigned int netAddress = 0;
  int type = 0;  // invalid, dynamic or static (above)
  std::vector<unsigned char> hwAddress;

  // Appends one record for every neighbour, invalid ones included.
  static void build(kx::message const& object, std::vector<Data*>* out);
};

// True when a list object is marked invalid (bool 0xfe0008) or disabled
// (bool 0xfe000a): such addresses and routes are left out of the tables.
bool ipObjectInactive(kx::message const& object);

// Routes: one RouteData per gateway of a route of the route list [44, 1].
//
// Both route tables read these records: ipCidrRouteTable indexes them by
// destination, mask, TOS 0 and next hop (one row per gateway), the older
// ipRouteTable by destination alone (so the last gateway of a destination
// wins there).

// How the routing service's route kind (u32 0x7) shows in the route tables.
// The two protocol columns deliberately code the same kind differently.
struct RouteKindCodes {
  int routeType;   // ipRouteType
  int routeProto;  // ipRouteProto
  int cidrType;    // ipCidrRouteType
  int cidrProto;   // ipCidrRouteProto
};

// Any kind; kinds outside 2..31 get 4, 1, 1, 1.
RouteKindCodes routeKindCodes(uint32_t kind);

class RouteData : public Data {
 public:
  unsigned int destination = 0;
  unsigned int mask = 0;
  int metric = 0;
  unsigned int nextHop = 0;
  int routeType = 0;
  int cidrType = 0;
  int cidrProto = 0;
  int routeProto = 0;
  int ifIndex = 0;

  // The route list's conversion.  A connected route without gateways makes
  // one record (next hop be32 0x3, the first interface of u32[] 0x5).
  // Otherwise, when the interface array u32[] 0x5 is present, one record
  // per gateway of be32[] 0x4, skipping those marked 0 in u32[] 0x6.
  // Disabled and invalid routes make none.
  static void build(kx::message const& object, std::vector<Data*>* out);
};

// Records of the two enterprise queue tables (1.3.6.1.4.1.32473.1.1.2.1
// and .2.2): the queue list [20, 9] and the queue tree [20, 12].

// One queue of the queue list.
class QueueData : public Data {
 public:
  int id = 0;
  std::string name;
  unsigned int address1 = 0;  // the first two targets of be32[] 0x69,
  unsigned int address2 = 0;  // both 0 when it holds fewer than two
  unsigned int address3 = 0;
  unsigned int address4 = 0;
  int value = 0;
  unsigned long long counter1 = 0;
  unsigned long long counter2 = 0;
  int counter3 = 0;
  int counter4 = 0;

  // Appends one record per object.
  static void build(kx::message const& object, std::vector<Data*>* out);
};

// One queue of the queue tree.
class QueueTreeData : public Data {
 public:
  int id = 0;
  std::string name;
  std::string firstText;  // first element of string[] 0xc, or empty
  int value = 0;
  int counterLow = 0;  // low 32 bits of counter64
  int counter = 0;
  unsigned long long counter64 = 0;

  // Appends one record per object.
  static void build(kx::message const& object, std::vector<Data*>* out);
};

// Registers every object of the module.  Rows come from the address list
// [20, 1], the neighbour list [20, 8], the route list [44, 1] (both route
// tables share one provider) and the queue lists [20, 9] and [20, 12].  Call
// once at start-up, after the agent's looper exists (busExchange); everything it
// allocates lives for the rest of the run.
void buildIpMib();

#endif  // MIBS_IP_MIB_H_
