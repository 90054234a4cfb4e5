// The v3 path of createReply: user-based security around the PDU.
#include <cstdint>

#include "asn1/ber.h"
#include "engine/community_list.h"
#include "engine/context.h"
#include "engine/reply_pdu.h"
#include "usm/v3_reader.h"
#include "usm/v3_writer.h"

namespace {

constexpr uint32_t kUnknownUserMethod = 0;  // MD5, with empty keys

bool peerAllowed(const CommunityList::Item& item, uint32_t peer) {
  return (peer & item.addressMask) == (item.address & item.addressMask);
}

}  // namespace

bool createV3Reply(Context& ctx, uint32_t peer) {
  // Without a local engine there is no user-based security to check with.
  if (ctx.v3Server == nullptr) return false;
  V3Info& info = ctx.v3;
  int err = kNoReport;
  if (!readV3Info(ctx.in, info, err)) return drop("!ctx.in.readV3Info(v3_err)");

  ctx.community.assign(info.userName);
  CommunityList::Item* item = findCommunity(ctx.community);
  if (item != nullptr && info.level < item->security && err == kNoReport) {
    err = kUnsupportedSecLevel;
  }
  // Deliberately, an unknown user is checked against empty keys (so a MAC
  // from it is a wrong digest) before it is reported as unknown.
  HmacKey unknownKey;
  const Key noKey;
  const PrivKey noPrivKey;
  if (info.level >= kAuthNoPriv) {
    if (item != nullptr) {
      item->ensureKeys(ctx.v3Server->engineID);
    } else {
      unknownKey.assign(noKey, methods[kUnknownUserMethod].digest());
    }
  }
  const HmacKey& authKey = item ? item->authKey : unknownKey;
  const uint32_t authMethod = item ? item->authMethod : kUnknownUserMethod;
  const PrivKey& privKey = item ? item->privKey : noPrivKey;
  const uint32_t privProtocol = item ? item->encryptionProtocol : 0;
  if (!decryptAndCheckSignature(ctx.in, info, err, authKey, authMethod, privKey, privProtocol,
                                *ctx.v3Server)) {
    return drop("decryptAndCheckSignature failed");
  }

  if (err == kNoReport && (item == nullptr || !peerAllowed(*item, peer))) {
    clearAuthPrivInfo(info);
    err = kUnknownUserName;
  }
  const bool report = err != kNoReport;
  if (report) {
    ++Context::v3counters[err];
    ctx.v3ReportKind = static_cast<uint32_t>(err);
  }
  writeV3Info(ctx.out, info);
  if (!answerPdu(ctx, report ? ber::kReport : ber::kResponse, report)) return false;
  cryptPacket(ctx.out, info, privKey);
  ctx.out.endSeq();  // message
  signPacket(ctx.out, info, authKey);
  return true;
}
