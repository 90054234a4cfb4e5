#include "usm/v3_writer.h"

#include <algorithm>
#include <cstring>

#include "asn1/ber.h"
#include "usm/key_derivation.h"

namespace {

// The largest UDP payload over IPv4: what a trap's receiver can take.
constexpr uint32_t kOutgoingMaxSize = 65507;
// The program's own pad octet for block ciphers.
constexpr uint8_t kPadOctet = 0x05;
// The placeholder MAC of outgoing messages.
constexpr char kZeroMac[kMaxMacLength] = {};

void addView(OutStream& out, std::string_view bytes) {
  out.add(reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<unsigned>(bytes.size()),
          ber::kOctetString);
}

std::string_view saltView(const V3Info& info) {
  return std::string_view(reinterpret_cast<const char*>(info.salt), kSaltLength);
}

}  // namespace

void prepareOutgoing(V3Info& info, const V3ServerInfo& server, std::string_view userName,
                     unsigned level, uint32_t authMethod, uint32_t privProtocol, uint32_t msgID) {
  info.msgID = msgID;
  info.msgMaxSize = kOutgoingMaxSize;
  info.msgFlags = 0;
  info.level = std::min(level, kAuthPriv);
  if (info.level >= kAuthNoPriv) info.msgFlags |= kFlagAuth;
  if (info.level == kAuthPriv) info.msgFlags |= kFlagPriv;
  info.msgSecurityModel = kUsmSecurityModel;
  info.engineID = server.engineID;
  info.contextEngineID = server.engineID;
  info.contextName = std::string_view();
  info.engineBoots = server.engineBoots;
  info.engineTime = server.engineTime();
  info.userName = userName;
  const AuthMethod* m = ::authMethod(authMethod);
  info.authParams = std::string_view();
  if (info.level >= kAuthNoPriv && m != nullptr)
    info.authParams = std::string_view(kZeroMac, m->macLength);
  info.privParams = std::string_view();
  if (info.level == kAuthPriv) {
    makeSalt(privProtocol, server.engineBoots, info.salt);
    info.privParams = saltView(info);
  }
}

void writeV3Info(OutStream& out, const V3Info& info) {
  out.startSeq(ber::kSequence);  // msgGlobalData
  out.add(info.msgID, ber::kInteger);
  out.add(info.msgMaxSize, ber::kInteger);
  out.add(&info.msgFlags, 1, ber::kOctetString);
  out.add(info.msgSecurityModel, ber::kInteger);
  out.endSeq();

  out.startSeq(ber::kOctetString);  // msgSecurityParameters
  out.startSeq(ber::kSequence);
  addView(out, info.engineID);
  out.add(info.engineBoots, ber::kInteger);
  out.add(info.engineTime, ber::kInteger);
  addView(out, info.userName);
  addView(out, info.authParams);
  out.setMark(OutStream::kAuthParamsMark,
              static_cast<uint32_t>(out.size() - info.authParams.size()));
  addView(out, info.privParams);
  out.endSeq();
  out.endSeq();

  if (info.level == kAuthPriv) out.startSeq(ber::kOctetString);  // encryptedPDU
  out.setMark(OutStream::kScopedPduMark, static_cast<uint32_t>(out.size()));
  out.startSeq(ber::kSequence);
  addView(out, info.contextEngineID);
  addView(out, info.contextName);
}

void cryptPacket(OutStream& out, const V3Info& info, const PrivKey& privKey) {
  out.endSeq();  // the scoped PDU
  if (info.level != kAuthPriv) return;
  const std::size_t start = out.mark(OutStream::kScopedPduMark);
  bool done = false;
  if (!privKey.empty() && info.privParams.size() == kSaltLength) {
    while ((out.size() - start) % privKey.protocol()->blockSize != 0) {
      out.append(&kPadOctet, 1);
    }
    done = privKey.crypt(reinterpret_cast<const uint8_t*>(info.privParams.data()), info.engineBoots,
                         info.engineTime, out.mutableData() + start, out.size() - start, true);
  }
  if (!done) out.truncate(start);
  out.endSeq();  // encryptedPDU
}

void signPacket(OutStream& out, const V3Info& info, const HmacKey& authKey) {
  if (info.level == kNoAuthNoPriv) return;
  const std::size_t position = out.mark(OutStream::kAuthParamsMark);
  const std::size_t length = info.authParams.size();
  if (position == 0 || position + length > out.size()) return;
  uint8_t* placeholder = out.mutableData() + position;
  std::memset(placeholder, 0, length);
  uint8_t digest[kMaxDigestLength];
  const unsigned n = authKey.digest(out.mutableData(), out.size(), position, length, digest);
  std::memcpy(placeholder, digest, std::min<std::size_t>(length, n));
}
