#include "bench/load/v3_traffic.h"

#include "asn1/ber.h"
#include "asn1/in_stream.h"
#include "asn1/out_stream.h"
#include "bench/load/agent_peers.h"
#include "tests/unit/support/snmp_request.h"
#include "usm/privacy.h"
#include "usm/v3_reader.h"
#include "usm/v3_writer.h"

namespace bench {

namespace {

constexpr int kVersion3 = 3;
// One reply in this many is checked through (MAC, decryption, answer);
// the others by their msgID and security level.
constexpr uint64_t kFullCheckEvery = 8;

// A v3 GET of oid (none when empty) as info says, encrypted and signed.
std::vector<uint8_t> getRequest(V3Info& info, const HmacKey& authKey, const PrivKey& privKey,
                                const OID& oid) {
  return v3Message(info, authKey, privKey, [&](OutStream& out) {
    using snmp_request::Binding;
    snmp_request::writePdu(out, ber::kGetRequest, info.msgID,
                           oid.empty() ? std::vector<Binding>() : std::vector<Binding>{oid});
  });
}

}  // namespace

std::vector<uint8_t> v3Message(V3Info& info, const HmacKey& authKey, const PrivKey& privKey,
                               const std::function<void(OutStream&)>& writePdu) {
  info.msgFlags |= kFlagReportable;
  OutStream out;
  out.startSeq(ber::kSequence);
  out.add(kVersion3, ber::kInteger);
  writeV3Info(out, info);
  writePdu(out);
  cryptPacket(out, info, privKey);
  out.endSeq();
  signPacket(out, info, authKey);
  return out.bytes();
}

void localiseKeys(const V3User& user, const std::string& engineID, HmacKey* authKey,
                  PrivKey* privKey) {
  const evp_md_st* md = methods[user.authMethod].digest();
  authKey->assign(bKeyToDKey(aKeyToBKey(passwordToAKey(user.authPassword, md), engineID, md), md),
                  md);
  privKey->assign(extendPrivKey(aKeyToBKey(passwordToAKey(user.privPassword, md), engineID, md),
                                user.privProtocol, md),
                  user.privProtocol);
}

std::vector<uint8_t> discoveryRequest(uint32_t msgID) {
  V3ServerInfo unknown;
  V3Info info;
  prepareOutgoing(info, unknown, "", kNoAuthNoPriv, 0, 0, msgID);
  return getRequest(info, HmacKey(), PrivKey(), OID());
}

bool discoverEngine(uint16_t port, std::chrono::milliseconds timeout, EngineState* engine) {
  std::vector<uint8_t> reply;
  if (!ask(port, discoveryRequest(kMinRequestId), timeout, nullptr, &reply)) {
    return false;
  }
  InStream in(reply.data(), static_cast<unsigned>(reply.size()));
  V3Info report;
  int err = kNoReport;
  if (in.getVersion() != kVersion3 || !readV3Info(in, report, err)) return false;
  engine->engineID.assign(report.engineID);
  engine->boots = report.engineBoots;
  engine->time = report.engineTime;
  return true;
}

V3Traffic::V3Traffic(const V3User& user, const EngineState& engine, const std::string& oid)
    : user_(user), oid_(oid.c_str()), requests_(kSlots) {
  localiseKeys(user, engine.engineID, &authKey_, &privKey_);
  V3ServerInfo remote;
  remote.engineID = engine.engineID;
  remote.engineBoots = engine.boots;
  for (uint64_t i = 0; i < kSlots; ++i) {
    V3Info info;
    prepareOutgoing(info, remote, user.name, user.level, user.authMethod, user.privProtocol,
                    static_cast<uint32_t>(kMinRequestId + i));
    info.engineTime = engine.time;
    requests_[i] = getRequest(info, authKey_, privKey_, oid_);
  }
}

bool V3Traffic::read(const uint8_t* data, size_t n, uint64_t* id, bool* ok) {
  InStream in(data, static_cast<unsigned>(n));
  V3Info info;
  int err = kNoReport;
  if (in.getVersion() != kVersion3 || !readV3Info(in, info, err) || info.msgID < kMinRequestId ||
      info.msgID - kMinRequestId >= kSlots) {
    return false;
  }
  *id = info.msgID - kMinRequestId;
  // Checking a reply costs the generator about what answering it costs
  // the agent; checking all of them would make it the bottleneck.
  if (++replies_ % kFullCheckEvery != 0) {
    *ok = info.level == user_.level;
    return true;
  }
  int requestId = 0, status = -1, index = 0;
  OID name;
  *ok = info.level == user_.level &&
        decryptAndCheckSignatureLite(in, info, authKey_, user_.authMethod, privKey_) &&
        in.getType() == static_cast<int>(ber::kResponse) && in.enterSeq() >= 0 &&
        in.getInt(&requestId) && static_cast<uint32_t>(requestId) == info.msgID &&
        in.getInt(&status) && status == 0 && in.getInt(&index) && in.enterSeq() >= 0 &&
        in.enterSeq() >= 0 && in.getOID(&name) && name == oid_ &&
        in.getType() != static_cast<int>(ber::kNull) && in.getType() < kFirstException;
  return true;
}

}  // namespace bench
