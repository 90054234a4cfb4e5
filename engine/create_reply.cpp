// createReply, in the order it works: the version, the community or the
// user-based security around the PDU, the PDU header, the operation of the
// request type, the binding loop, the error fields; and for v3 the
// encryption and MAC around the response.
#include "engine/create_reply.h"

#include <cstdint>
#include <cstdio>
#include <iterator>

#include "asn1/ber.h"
#include "engine/community_list.h"
#include "engine/context.h"
#include "engine/pdu_operations.h"
#include "usm/v3_reader.h"
#include "usm/v3_writer.h"

namespace {

using error_status::kNoError;
using error_status::kNoSuchName;
using error_status::kReadOnly;

// Versions 0 (v1) and 1 (v2c) take the community path; 2 is accepted
// there too and answered as 2.
constexpr int kHighestCommunityVersion = 2;
constexpr int kVersion3 = 3;
constexpr int kUnreadable = -1;

// One line for every community refusal, so a scan of the log can't tell an
// unknown name from a wrong address.
constexpr const char* kAuthFailed = " authentification failed";

constexpr uint32_t kUnknownUserMethod = 0;  // MD5, with empty keys

// What a request type does to each binding, and the right it needs.  A
// request without the right is answered, not dropped: its first binding
// fails with the refusal status.  Every other type (GetBulk, traps,
// informs) gets no answer.
struct Operation {
  int requestTag;
  unsigned (*answer)(Context&);
  bool CommunityList::Item::*right;
  unsigned refusal;
};

constexpr Operation kOperations[] = {
    {ber::kGetRequest, snmpGet, &CommunityList::Item::readAccess, kNoSuchName},
    {ber::kGetNextRequest, snmpGetNext, &CommunityList::Item::readAccess, kNoSuchName},
    {ber::kSetRequest, snmpSet, &CommunityList::Item::writeAccess, kReadOnly},
};

// The key an unknown user's MAC is checked with: MD5 over an empty key.
// Made by the first such request that authenticates (libcrypto is loaded
// by then) and kept, rather than set up again per request; never freed,
// since libcrypto may be torn down at exit before statics are.
const HmacKey& unknownUserKey() {
  static HmacKey* const key = new HmacKey;
  if (key->empty()) key->assign(Key(), methods[kUnknownUserMethod].digest());
  return *key;
}

const Operation* findOperation(int requestTag) {
  for (const Operation& operation : kOperations) {
    if (operation.requestTag == requestTag) return &operation;
  }
  return nullptr;
}

// Writes line to standard error; false (drop the datagram).
bool drop(const char* line) {
  std::fprintf(stderr, "%s\n", line);
  return false;
}

// The item named name, or null (also when there is no community list).
CommunityList::Item* findCommunity(const std::string& name) {
  if (communityKeep == nullptr) return nullptr;
  auto it = communityKeep->find(name);
  return it == communityKeep->items.end() ? nullptr : *it;
}

bool peerAllowed(const CommunityList::Item& item, uint32_t peer) {
  return ((peer ^ item.address) & item.addressMask) == 0;
}

// Reads the community and checks it: known, not reserved for v3, and the
// peer inside its source network.  Echoes it into the reply; the item, or
// null (dropped).
const CommunityList::Item* acceptCommunity(Context& ctx, uint32_t peer) {
  const CommunityList::Item* item = nullptr;
  if (ctx.in.getString(&ctx.community)) item = findCommunity(ctx.community);
  if (item == nullptr || item->security != 0 || !peerAllowed(*item, peer)) {
    drop(kAuthFailed);
    return nullptr;
  }
  ctx.out.add(ctx.community, ber::kOctetString);
  return item;
}

// Reads the request PDU's header and writes the response's, leaving both
// binding lists open.  False (nothing logged) when a field is unreadable.
// A hidden v3 PDU is not read: the response gets request-id 0.
bool copyPduHeader(Context& ctx, unsigned responseTag) {
  int requestId = 0;
  if (!ctx.v3.scopedPduHidden &&
      (ctx.in.enterSeq() < 0 || !ctx.in.getInt(&requestId) || !ctx.in.getInt(&ctx.requestField1) ||
       !ctx.in.getInt(&ctx.requestField2) || ctx.in.enterSeq() < 0)) {
    return false;
  }
  ctx.out.startSeq(responseTag);
  ctx.out.add(requestId, ber::kInteger);
  ctx.out.addErrorStatus(kNoError);
  ctx.out.addErrorIndex(kNoError);
  ctx.out.startSeq(ber::kSequence);
  return true;
}

// The binding loop: answers every binding with operation (or its refusal
// when the right is missing), stopping at the first failure, whose binding
// is echoed with NULL.  Sets the status of the failure and the binding's
// 1-based index; false (no response) when a binding is unreadable.
bool answerBindings(Context& ctx, const Operation& operation, bool permitted, unsigned* status,
                    unsigned* index) {
  while (!ctx.in.atEnd() && !ctx.in.atSeqEnd() && *status == kNoError && ctx.error == 0) {
    if (ctx.in.enterSeq() < 0) return false;
    ctx.out.startSeq(ber::kSequence);
    if (!ctx.in.getOID(&ctx.oid)) return false;
    ++*index;
    // The operations rewrite ctx.oid; a failure echoes the name as asked.
    ctx.asked = ctx.oid;
    *status = permitted ? operation.answer(ctx) : operation.refusal;
    if (*status != kNoError) {
      ctx.out.addOID(ctx.asked, ber::kObjectId);
      ctx.out.addNull(ber::kNull);
    }
    ctx.in.exitSeq();
    ctx.out.endSeq();
  }
  return true;
}

// The one binding of a v3 report: the usmStats counter of ctx.v3ReportKind
// (RFC 3414: usmStatsUnsupportedSecLevels is .1, the others follow in
// report-kind order), as a Counter32.
unsigned snmpV3(Context& ctx) {
  static constexpr uint32_t kUsmStats[] = {1, 3, 6, 1, 6, 3, 15, 1, 1};
  const uint32_t kind = ctx.v3ReportKind < Context::kV3ReportKinds ? ctx.v3ReportKind : 0;
  ctx.name.assign(std::begin(kUsmStats), std::end(kUsmStats));
  ctx.name.push_back(kind + 1);
  ctx.name.push_back(0);
  ctx.out.startSeq(ber::kSequence);
  ctx.out.addOID(ctx.name, ber::kObjectId);
  ctx.out.add(Context::v3counters[kind], ber::kCounter32);
  ctx.out.endSeq();
  return kNoError;
}

// The PDU: its header, then the report's binding or every binding answered
// by the operation of the request type with the rights of item (none when
// null), then the error fields, and both closed.  False to drop: an
// unreadable field (silently) or a request type without an operation
// (logged).
bool answerPdu(Context& ctx, unsigned responseTag, bool report, const CommunityList::Item* item) {
  const int requestTag = ctx.in.getType();
  if (!copyPduHeader(ctx, responseTag)) return false;

  unsigned status = kNoError;
  unsigned index = 0;
  if (report) {
    status = snmpV3(ctx);
  } else {
    const Operation* operation = findOperation(requestTag);
    if (operation == nullptr) {
      ctx.droppedCommand = static_cast<unsigned>(requestTag);
      return drop("unknown request command");
    }
    const bool permitted = item != nullptr && item->*operation->right;
    if (!answerBindings(ctx, *operation, permitted, &status, &index)) return false;
  }

  // Both placeholders lie before the sequences still open, so they are
  // filled before those are closed.  Only noSuchName names the failing
  // binding; readOnly and genErr keep error-index 0, and so do reports.
  if (status != kNoError) {
    ctx.out.addErrorStatus(status);
    if (status == kNoSuchName) ctx.out.addErrorIndex(index);
  }
  ctx.out.endSeq();  // binding list
  ctx.out.endSeq();  // PDU
  return true;
}

// The v3 path after the version: the user-based security checks, the
// response with its header (a report for a failed check), its encryption
// and MAC.
bool answerV3(Context& ctx, uint32_t peer) {
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
  const HmacKey noKey;
  const PrivKey noPrivKey;
  const bool authenticates = info.level >= kAuthNoPriv;
  if (authenticates && item != nullptr) item->ensureKeys(ctx.v3Server->engineID);
  const HmacKey& authKey = item ? item->authKey : authenticates ? unknownUserKey() : noKey;
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
  if (!answerPdu(ctx, report ? ber::kReport : ber::kResponse, report, item)) return false;
  cryptPacket(ctx.out, info, privKey);
  ctx.out.endSeq();  // message
  signPacket(ctx.out, info, authKey);
  return true;
}

}  // namespace

bool createReply(Context& ctx, int peer) {
  const int version = ctx.in.getVersion();
  if (version == kUnreadable) return false;
  ctx.out.startSeq(ber::kSequence);
  ctx.out.add(version, ber::kInteger);
  const uint32_t from = static_cast<uint32_t>(peer);
  if (version == kVersion3) return answerV3(ctx, from);
  if (version < 0 || version > kHighestCommunityVersion) return drop("version not supported");
  const CommunityList::Item* item = acceptCommunity(ctx, from);
  if (item == nullptr || !answerPdu(ctx, ber::kResponse, false, item)) return false;
  ctx.out.endSeq();  // message
  return true;
}
