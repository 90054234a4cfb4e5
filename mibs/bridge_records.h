// Records of the bridge MIB: the bridge itself and its forwarding entries.
#ifndef MIBS_BRIDGE_RECORDS_H_
#define MIBS_BRIDGE_RECORDS_H_

#include <vector>

#include "engine/data.h"
#include "kx/message.h"

class GetFirstProvider;

// The provider of the bridge whose objects are served: the first interface
// (service path [20, 0]) that BridgeData::build accepts.  Set once by
// buildBridgeMib (not owned); while it is null no forwarding entry is kept.
extern GetFirstProvider* bridgeProvider;

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
  // must equal the id of bridgeProvider's object.  Entries of other bridges
  // are left out.
  static void build(const kx::message& object, std::vector<Data*>* out);

  int port = 0;                        // u32 0x1
  std::vector<unsigned char> address;  // raw 0x2, the table's index
  int status = kLearned;               // kSelf when bool 0x4 is set
};

#endif  // MIBS_BRIDGE_RECORDS_H_
