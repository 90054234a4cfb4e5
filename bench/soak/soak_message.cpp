#include "bench/soak/soak_message.h"

#include "asn1/ber.h"
#include "asn1/in_stream.h"
#include "asn1/out_stream.h"
#include "tests/unit/support/snmp_request.h"
#include "usm/v3_reader.h"
#include "usm/v3_writer.h"

namespace bench {

namespace {

// The request's one binding: NULL, or for a SET the OCTET STRING value.
snmp_request::Binding binding(const RequestSpec& spec) {
  using snmp_request::Binding;
  return spec.pduTag == ber::kSetRequest ? Binding(spec.name, spec.value) : Binding(spec.name);
}

// Reads the PDU at the cursor and its first binding, if any.
bool readPdu(InStream& in, SoakReply* out) {
  out->pduTag = in.getType();
  if (in.enterSeq() < 0 || !in.getInt(&out->requestId) || !in.getInt(&out->status) ||
      !in.getInt(&out->index) || in.enterSeq() < 0) {
    return false;
  }
  if (in.atSeqEnd()) return true;
  if (in.enterSeq() < 0 || !in.getOID(&out->name)) return false;
  out->valueTag = in.getType();
  if (!in.getString(&out->value)) return false;
  out->hasBinding = true;
  return true;
}

}  // namespace

V3User Identity::user() const {
  return {name.c_str(), level,   authMethod,           privProtocol,
          nullptr,      nullptr, authPassword.c_str(), privPassword.c_str()};
}

void Identity::localise(const std::string& engineID) {
  if (version == kSnmpV3 && level > kNoAuthNoPriv) {
    localiseKeys(user(), engineID, &authKey, &privKey);
  }
}

uint32_t EngineClock::now() const {
  const auto passed = std::chrono::steady_clock::now() - seenAt;
  return state.time +
         static_cast<uint32_t>(std::chrono::duration_cast<std::chrono::seconds>(passed).count());
}

std::vector<uint8_t> encodeRequest(const Identity& identity, const EngineClock& engine,
                                   const RequestSpec& spec) {
  if (identity.version != kSnmpV3) {
    // Request ids stay below 2^31 (kMaxRequestId): as an int they encode
    // as they would unsigned.
    return snmp_request::communityRequest(identity.version, identity.name, spec.pduTag,
                                          {binding(spec)}, static_cast<int>(spec.id));
  }
  V3ServerInfo remote;
  remote.engineID = engine.state.engineID;
  remote.engineBoots = engine.state.boots;
  V3Info info;
  prepareOutgoing(info, remote, identity.name, identity.level, identity.authMethod,
                  identity.privProtocol, spec.id);
  const uint32_t time = engine.now();
  info.engineTime = time > spec.lagSeconds ? time - spec.lagSeconds : 0;
  return v3Message(info, identity.authKey, identity.privKey, [&](OutStream& out) {
    snmp_request::writePdu(out, spec.pduTag, spec.id, {binding(spec)});
  });
}

bool readSoakReply(const uint8_t* data, size_t n, const KeysFor& keysFor, SoakReply* out) {
  InStream in(data, static_cast<unsigned>(n));
  out->version = in.getVersion();
  if (out->version == kSnmpV1 || out->version == kSnmpV2c) {
    if (!in.getString(&out->community) || !readPdu(in, out)) return false;
    out->id = static_cast<uint32_t>(out->requestId);
    return true;
  }
  if (out->version != kSnmpV3) return false;
  V3Info info;
  int err = kNoReport;
  if (!readV3Info(in, info, err)) return false;
  out->id = info.msgID;
  out->level = info.level;
  out->engineID.assign(info.engineID);
  bool plain = false;
  const Identity* who = keysFor(info.msgID, &plain);
  if (who == nullptr && !plain) return false;
  if (plain) {
    // A report the agent signed with a key the sender lacks (an unknown
    // user's): its PDU is plain text at authNoPriv.
    if (info.level == kAuthPriv) return false;
    clearAuthPrivInfo(info);
    if (!decryptAndCheckSignatureLite(in, info, HmacKey(), 0, PrivKey())) return false;
  } else if (!decryptAndCheckSignatureLite(in, info, who->authKey, who->authMethod, who->privKey)) {
    return false;
  }
  return readPdu(in, out);
}

}  // namespace bench
