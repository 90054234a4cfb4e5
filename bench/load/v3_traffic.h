// SNMPv3 load: one user's GETs, built ahead of the run with the agent's
// own user-based security code (keys, MAC, ciphers), and the replies
// checked the same way: their MAC, their decryption, the answer inside.
#ifndef BENCH_LOAD_V3_TRAFFIC_H_
#define BENCH_LOAD_V3_TRAFFIC_H_

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "asn1/oid.h"
#include "asn1/out_stream.h"
#include "bench/load/load_window.h"
#include "usm/key_derivation.h"
#include "usm/privacy.h"
#include "usm/v3_info.h"

namespace bench {

// What a discovery learns of an agent's engine.
struct EngineState {
  std::string engineID;
  uint32_t boots = 0;
  uint32_t time = 0;
};

// A discovery: a GET without bindings at noAuthNoPriv, with no engine ID
// and no user; request-id and msgID are msgID.
std::vector<uint8_t> discoveryRequest(uint32_t msgID);
// Sends a discovery (noAuthNoPriv, no engine ID, no user) to port until
// the report comes back or timeout passes; false without one.
bool discoverEngine(uint16_t port, std::chrono::milliseconds timeout, EngineState* engine);

struct V3User {
  const char* name;
  unsigned level;           // 1: authNoPriv, 2: authPriv
  uint32_t authMethod;      // index into `methods`
  uint32_t privProtocol;    // index into `protocols`
  const char* netSnmpAuth;  // the same, as net-snmp's createUser spells them
  const char* netSnmpPriv;
  const char* authPassword;
  const char* privPassword;
};

// Localises user's passwords to engineID: the authentication key, and the
// privacy key (set up below authPriv too, and then unused).
void localiseKeys(const V3User& user, const std::string& engineID, HmacKey* authKey,
                  PrivKey* privKey);

// One v3 message: info's header (made reportable) around the PDU that
// writePdu appends (opened and closed there), encrypted and signed as info
// says.
std::vector<uint8_t> v3Message(V3Info& info, const HmacKey& authKey, const PrivKey& privKey,
                               const std::function<void(OutStream&)>& writePdu);

// kSlots GETs of one OID by user to one engine, request ids (and msgIDs)
// repeating every kSlots sends.  They carry the engine's boots and time as
// discovered, so they stay inside a 15-second time window for 15 seconds.
class V3Traffic : public Traffic {
 public:
  V3Traffic(const V3User& user, const EngineState& engine, const std::string& oid);
  const std::vector<uint8_t>& request(uint64_t seq) override { return requests_[seq % kSlots]; }
  // Expected: the user's level; and for every eighth reply also a right
  // MAC and a Response without error whose first binding is the OID with a
  // value.
  bool read(const uint8_t* data, size_t n, uint64_t* id, bool* ok) override;
  uint64_t idCycle() const override { return kSlots; }

 private:
  V3User user_;
  HmacKey authKey_;
  PrivKey privKey_;
  OID oid_;
  std::vector<std::vector<uint8_t>> requests_;
  uint64_t replies_ = 0;
};

}  // namespace bench

#endif  // BENCH_LOAD_V3_TRAFFIC_H_
