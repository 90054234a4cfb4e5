// The soak run's messages: requests of one binding from any identity (a
// v1 or v2c community, a v3 user at its level), built with the agent's own
// encoder and user-based security code, and a reader of the replies that
// checks v3 MACs and decrypts.
//
// Replies are untrusted: the reader goes through InStream, whose every
// read is bounds-checked, and refuses what does not parse.
#ifndef BENCH_SOAK_SOAK_MESSAGE_H_
#define BENCH_SOAK_SOAK_MESSAGE_H_

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "asn1/oid.h"
#include "bench/load/v3_traffic.h"
#include "usm/key_derivation.h"
#include "usm/privacy.h"

namespace bench {

// The version numbers on the wire.
constexpr int kSnmpV1 = 0;
constexpr int kSnmpV2c = 1;
constexpr int kSnmpV3 = 3;

// Who sends: a community (v1, v2c: name is the community string) or a v3
// user at a level.  The keys are localised to the agent's engine ID
// (localise) whenever it or a password changes.  Not copyable (the keys
// own OpenSSL states).
struct Identity {
  std::string label;  // for the report: "v3 authPriv SHA-512+AES-256"
  int version = 0;
  std::string name;
  unsigned level = 0;
  uint32_t authMethod = 0;
  uint32_t privProtocol = 0;
  std::string authPassword;
  std::string privPassword;
  HmacKey authKey;
  PrivKey privKey;

  // The user as localiseKeys takes it; valid while this identity is
  // unchanged.
  V3User user() const;
  void localise(const std::string& engineID);
};

// The agent's engine as a discovery saw it, and its clock since then.
struct EngineClock {
  EngineState state;
  std::chrono::steady_clock::time_point seenAt;
  // The engine time now, never ahead of the agent's: the reported whole
  // seconds plus the whole seconds passed since.
  uint32_t now() const;
};

// One request: tag kGetRequest, kGetNextRequest or kSetRequest (ber.h), one
// binding (NULL, or for a SET the OCTET STRING value).  v3: id is also the
// msgID, and the engine time lags the agent's by lagSeconds.
struct RequestSpec {
  uint8_t pduTag = 0;
  uint32_t id = 0;
  OID name;
  std::string value;
  uint32_t lagSeconds = 0;
};

// Encodes spec as identity sends it to engine.
std::vector<uint8_t> encodeRequest(const Identity& identity, const EngineClock& engine,
                                   const RequestSpec& spec);

// What the checks look at in a reply.
struct SoakReply {
  int version = -1;
  uint32_t id = 0;  // request-id (v1, v2c) or msgID (v3)
  std::string community;
  // v3
  unsigned level = 0;
  std::string engineID;
  // The PDU and its first binding.
  int pduTag = -1;
  int requestId = 0;
  int status = 0;
  int index = 0;
  bool hasBinding = false;
  OID name;
  int valueTag = -1;
  std::string value;
};

// How a v3 reply is opened: with the sender's keys (the MAC must match),
// or (keys null) read as plain text, for reports the agent signs with a
// key the sender does not have.
using KeysFor = std::function<const Identity*(uint32_t msgID, bool* plain)>;

// Reads a reply.  False when it does not parse, or for v3 when keysFor
// knows no request of its msgID, its MAC is wrong or it cannot be
// decrypted.
bool readSoakReply(const uint8_t* data, size_t n, const KeysFor& keysFor, SoakReply* out);

}  // namespace bench

#endif  // BENCH_SOAK_SOAK_MESSAGE_H_
