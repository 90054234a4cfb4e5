// Records of the IP module's address and neighbour tables.
//
// Addresses are u32s in the agent's form (network order in memory), as the
// IP packers expect.
#ifndef MIBS_IP_RECORDS_H_
#define MIBS_IP_RECORDS_H_

#include <string>
#include <vector>

#include "engine/data.h"
#include "kx/message.h"

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

#endif  // MIBS_IP_RECORDS_H_
