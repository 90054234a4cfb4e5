// Records of the interfaces module.
//
// InterfaceData is one row of the interface list (service [20, 0]);
// InterfaceCounters holds the traffic counters of one interface, fetched on
// demand from the same service.  Fields are ints where a packer reads them
// as INTEGER, Counter32 or Gauge32 (the bits of a u32 are kept as they are).
#ifndef MIBS_INTERFACES_RECORDS_H_
#define MIBS_INTERFACES_RECORDS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "engine/data.h"
#include "kx/message.h"

// The interface list's bus address.
extern const std::vector<unsigned int> kInterfacesPath;

class InterfaceData : public Data {
 public:
  int id = 0;  // bus object id: the row index and ifIndex
  int mtu = 0;
  int speed = 0;
  int ifType = 0;
  int operStatus = 0;   // 1 running, 2 not
  int adminStatus = 0;  // 1 enabled, 2 disabled
  std::string name;
  std::vector<unsigned char> hwAddress;  // empty when the interface has none

  // The interface list's conversion: appends one record per object.  For a
  // VLAN the parent interface is asked for its speed index over the bus
  // (synchronously); a failed lookup reads as speed index 0.
  static void build(kx::message const& object, std::vector<Data*>* out);
  // The record of one object, without appending it anywhere.
  static InterfaceData* fromMessage(kx::message const& object);
};

class InterfaceCounters : public Data {
 public:
  // The 64-bit counters twice: low 32 bits for the Counter32 columns and
  // whole for the Counter64 ones, so both always come from one fetch.
  int inOctets = 0;
  int outOctets = 0;
  int inPackets = 0;
  int outPackets = 0;
  unsigned long long inOctets64 = 0;
  unsigned long long outOctets64 = 0;
  unsigned long long inPackets64 = 0;
  unsigned long long outPackets64 = 0;
  int inErrors = 0;
  int outErrors = 0;
  int inDiscards = 0;
  int outDiscards = 0;

  // Copies the counters of an interface object; absent fields read as 0.
  void fill(kx::message const& object);
};

#endif  // MIBS_INTERFACES_RECORDS_H_
