#include "traps/link_traps.h"

#include <string>

#include "asn1/ber.h"
#include "data/providers.h"
#include "traps/trap_sources.h"

const std::vector<uint32_t> kLinkEventPath = {20, 0};
std::map<uint32_t, uint32_t> linkStates;

namespace {

// State bits: the interface is up, and it is running.
constexpr uint32_t kStateUp = 0x100;
constexpr uint32_t kStateRunning = 0x400;
// What a trap compares, and what start-up priming stores.
constexpr uint32_t kTrapStateMask = kStateUp | kStateRunning;
constexpr uint32_t kPrimedStateMask = 0x10103;
// Interfaces flagged so are not primed (and not delivered as events).
constexpr uint32_t kUnwatchedFlag = 0x80;
// The interface service lists its objects with their states on command 1.
constexpr uint32_t kListWithStates = 1;

const OID kLinkDown("1.3.6.1.6.3.1.1.5.3");
const OID kLinkUp("1.3.6.1.6.3.1.1.5.4");
const OID kIfIndex("1.3.6.1.2.1.2.2.1.1");
const OID kIfAdminStatus("1.3.6.1.2.1.2.2.1.7");
const OID kIfOperStatus("1.3.6.1.2.1.2.2.1.8");

// ifAdminStatus and ifOperStatus: up(1) or down(2).
std::string upOrDown(bool up) { return up ? "1" : "2"; }

kx::message linkEventFilter() {
  kx::message filter;
  filter.setU32(kx::kFilterValue, 0);
  filter.setU32(kx::kFilterMask, kUnwatchedFlag);
  return filter;
}

}  // namespace

int linkTrapMaker(std::vector<VariableBinding>& bindings, const kx::message& event, OID& trapOid,
                  int& generic, int& specific) {
  const std::vector<uint32_t>* from = event.findU32Array(kx::kSrcPath);
  if (from == nullptr || *from != kLinkEventPath) return 0;
  if (!event.has(kLinkState) || !event.has(kx::kObjId)) return 0;
  const uint32_t id = event.getU32(kx::kObjId);
  const uint32_t state = event.getU32(kLinkState);
  const uint32_t seen = state & kTrapStateMask;

  auto [it, added] = linkStates.emplace(id, seen);
  if (!added) {
    if (it->second == seen) return 0;
    it->second = seen;
  }

  const bool up = (state & kStateUp) != 0;
  trapOid = up ? kLinkUp : kLinkDown;
  generic = up ? kGenericLinkUp : kGenericLinkDown;
  specific = 0;
  bindings.push_back({kIfIndex, ber::kInteger, std::to_string(id)});
  bindings.push_back({kIfAdminStatus, ber::kInteger, upOrDown(up)});
  bindings.push_back({kIfOperStatus, ber::kInteger, upOrDown((state & kStateRunning) != 0)});
  return 1;
}

void primeLinkStates() {
  kx::message request;
  request.setDstPath(kLinkEventPath);
  request.setCommand(kListWithStates);
  busWalkList(request, [](const kx::message& o) {
    if (o.has(kx::kObjId) && o.has(kLinkFlags) && o.has(kLinkState) &&
        (o.getU32(kLinkFlags) & kUnwatchedFlag) == 0) {
      linkStates.emplace(o.getU32(kx::kObjId), o.getU32(kLinkState) & kPrimedStateMask);
    }
    return true;
  });
}

void interfacesSubscribe() {
  addTrapMaker(linkTrapMaker);
  subscribeToEvents(kLinkEventPath, kLinkEventKind, linkEventFilter());
}

void interfacesUnsubscribe() {
  removeTrapMaker(linkTrapMaker);
  unsubscribeFromEvents(kLinkEventPath, kLinkEventKind, linkEventFilter());
}
