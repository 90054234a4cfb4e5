#include "engine/create_reply.h"

#include <cstdint>
#include <cstdio>

#include "asn1/ber.h"
#include "engine/community_list.h"
#include "engine/context.h"
#include "engine/error_status.h"
#include "engine/pdu_operations.h"
#include "engine/reply_pdu.h"
#include "engine/v3_report.h"

namespace {

// Versions 0 (v1) and 1 (v2c) take the community path; 2 is accepted
// there too and answered as 2.
constexpr int kHighestCommunityVersion = 2;
constexpr int kVersion3 = 3;
constexpr int kUnreadable = -1;

// One line for every community refusal, so a scan of the log can't tell an
// unknown name from a wrong address.
constexpr const char* kAuthFailed = " authentification failed";

using Operation = unsigned (*)(Context&);

// Reads the community and checks it: known, not reserved for v3, and the
// peer inside its source network.  Echoes it into the reply.
bool acceptCommunity(Context& ctx, uint32_t peer) {
  if (!ctx.in.getString(&ctx.community)) return drop(kAuthFailed);
  const CommunityList::Item* item = findCommunity(ctx.community);
  if (item == nullptr || item->security != 0) return drop(kAuthFailed);
  if (((peer ^ item->address) & item->addressMask) != 0) {
    return drop(kAuthFailed);
  }
  ctx.out.add(ctx.community, ber::kOctetString);
  return true;
}

// Reads the request PDU's header and writes the response's, leaving both
// binding lists open.  False (nothing logged) when a field is unreadable.
// A hidden v3 PDU is not read: the response gets request-id 0.
bool copyPduHeader(Context& ctx, unsigned responseTag) {
  if (ctx.v3.scopedPduHidden) {
    ctx.out.startSeq(responseTag);
    ctx.out.add(0, ber::kInteger);
    ctx.out.addErrorStatus(error_status::kNoError);
    ctx.out.addErrorIndex(error_status::kNoError);
    ctx.out.startSeq(ber::kSequence);
    return true;
  }
  if (ctx.in.enterSeq() < 0) return false;
  ctx.out.startSeq(responseTag);
  int requestId = 0;
  if (!ctx.in.getInt(&requestId)) return false;
  ctx.out.add(requestId, ber::kInteger);
  if (!ctx.in.getInt(&ctx.requestField1)) return false;
  if (!ctx.in.getInt(&ctx.requestField2)) return false;
  ctx.out.addErrorStatus(error_status::kNoError);
  ctx.out.addErrorIndex(error_status::kNoError);
  if (ctx.in.enterSeq() < 0) return false;
  ctx.out.startSeq(ber::kSequence);
  return true;
}

// Answers every binding with operation, or with refusal when not
// permitted, stopping at the first failure; the failing binding is echoed
// with NULL.  The status of the failure and the binding's 1-based index,
// or false (no response) when a binding is unreadable.
bool answerBindings(Context& ctx, Operation operation, bool permitted, unsigned refusal,
                    unsigned* status, unsigned* index) {
  while (!ctx.in.atEnd() && !ctx.in.atSeqEnd() && *status == error_status::kNoError &&
         ctx.error == 0) {
    if (ctx.in.enterSeq() < 0) return false;
    ctx.out.startSeq(ber::kSequence);
    if (!ctx.in.getOID(&ctx.oid)) return false;
    ++*index;
    // The operations rewrite ctx.oid; a failure echoes the name as asked.
    ctx.asked = ctx.oid;
    *status = permitted ? operation(ctx) : refusal;
    if (*status != error_status::kNoError) {
      ctx.out.addOID(ctx.asked, ber::kObjectId);
      ctx.out.addNull(ber::kNull);
    }
    ctx.in.exitSeq();
    ctx.out.endSeq();
  }
  return true;
}

}  // namespace

bool drop(const char* line) {
  std::fprintf(stderr, "%s\n", line);
  return false;
}

CommunityList::Item* findCommunity(const std::string& name) {
  if (communityKeep == nullptr) return nullptr;
  auto it = communityKeep->find(name);
  return it == communityKeep->items.end() ? nullptr : *it;
}

bool answerPdu(Context& ctx, unsigned responseTag, bool report) {
  const int requestTag = ctx.in.getType();
  if (!copyPduHeader(ctx, responseTag)) return false;

  unsigned status = error_status::kNoError;
  unsigned index = 0;
  if (report) {
    status = snmpV3(ctx);
  } else {
    // A request without the right is answered, not dropped: every binding
    // fails with the refusal status.
    const CommunityList::Item* item = findCommunity(ctx.community);
    Operation operation = nullptr;
    bool permitted = false;
    unsigned refusal = error_status::kNoSuchName;
    switch (requestTag) {
      case ber::kGetRequest:
        operation = snmpGet;
        permitted = item != nullptr && item->readAccess;
        break;
      case ber::kGetNextRequest:
        operation = snmpGetNext;
        permitted = item != nullptr && item->readAccess;
        break;
      case ber::kSetRequest:
        operation = snmpSet;
        permitted = item != nullptr && item->writeAccess;
        refusal = error_status::kReadOnly;
        break;
      default:  // GetBulk, traps and informs get no answer
        ctx.droppedCommand = static_cast<unsigned>(requestTag);
        return drop("unknown request command");
    }
    if (!answerBindings(ctx, operation, permitted, refusal, &status, &index)) return false;
  }

  // Both placeholders lie before the sequences still open, so they are
  // filled before those are closed.  Only noSuchName names the failing
  // binding; readOnly and genErr keep error-index 0, and so do reports.
  if (status != error_status::kNoError) {
    ctx.out.addErrorStatus(status);
    if (status == error_status::kNoSuchName) ctx.out.addErrorIndex(index);
  }
  ctx.out.endSeq();  // binding list
  ctx.out.endSeq();  // PDU
  return true;
}

bool createReply(Context& ctx, int peer) {
  const int version = ctx.in.getVersion();
  if (version == kUnreadable) return false;
  ctx.out.startSeq(ber::kSequence);
  ctx.out.add(version, ber::kInteger);
  if (version == kVersion3) return createV3Reply(ctx, static_cast<uint32_t>(peer));
  if (version < 0 || version > kHighestCommunityVersion) {
    return drop("version not supported");
  }
  if (!acceptCommunity(ctx, static_cast<uint32_t>(peer))) return false;
  if (!answerPdu(ctx, ber::kResponse, false)) return false;
  ctx.out.endSeq();  // message
  return true;
}
