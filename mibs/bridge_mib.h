// The bridge and health module: the bridge address, two spanning-tree
// scalars and the forwarding database of the first bridge, and the
// enterprise health scalars; their records.
#ifndef MIBS_BRIDGE_MIB_H_
#define MIBS_BRIDGE_MIB_H_

#include <string>
#include <vector>

#include "engine/data.h"
#include "kx/message.h"

// The bridge: the first bridge interface of the router.
class BridgeData : public Data {
 public:
  // Interface kind (u32 0x10001) of a bridge.
  static constexpr unsigned int kBridgeKind = 12;

  // A record for a bridge interface; null (leave it out) for any other
  // kind.  The caller owns the record.
  static Data* build(const kx::message& object);

  std::vector<unsigned char> address;  // raw 0x3e9
  int priority = 0;                    // u32 0x2
};

// One learned or static host of the bridge's forwarding table (service path
// [16, 3]).
class FdbEntryData : public Data {
 public:
  // dot1dTpFdbStatus of an entry the bridge learned, and of one of its own.
  static constexpr int kLearned = 3;
  static constexpr int kSelf = 4;

  // Appends a record only for an entry of the served bridge: its u32 0x5
  // must equal the id of the interface the bridge objects come from (the
  // first that BridgeData::build accepts).  Entries of other bridges, and
  // every entry before buildBridgeMib, are left out.
  static void build(const kx::message& object, std::vector<Data*>* out);

  int port = 0;                        // u32 0x1
  std::vector<unsigned char> address;  // raw 0x2, the table's index
  int status = kLearned;               // kSelf when bool 0x4 is set
};

// HealthData: the router's health readings (service path [12, 1]).
class HealthData : public Data {
 public:
  // Temperature shown when the board reports none, in degrees: absolute
  // zero, so a missing sensor reads as an impossible -273.0.
  static constexpr int kNoTemperature = -273;

  // Never fails; the caller owns the record.  Power source u32 0xc: 1
  // "main", 0 "aux", 2 "none", anything else (a missing field too) "n/a".
  static Data* build(const kx::message& msg);

  int value = 0;        // u32 0xd, reported unchanged
  int temperature = 0;  // u32 0xe (signed degrees) in tenths of a degree
  std::string powerSource;
};

// Registers dot1dBaseBridgeAddress, the spanning-tree protocol scalar
// (1.3.6.1.2.1.17.2.1), dot1dStpPriority and dot1dTpFdbTable.  Call once at start-up; everything
// it allocates lives for the rest of the process.
void buildBridgeMib();

// Registers the health value, power source and temperature under the
// enterprise health group.  Call once at start-up; everything it allocates
// lives for the rest of the process.
void buildHealthMib();

#endif  // MIBS_BRIDGE_MIB_H_
