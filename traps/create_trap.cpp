#include "traps/create_trap.h"

#include <cstdio>
#include <cstdlib>
#include <vector>

#include "asn1/ber.h"
#include "engine/community_list.h"
#include "kx/clock.h"
#include "traps/trap_maker.h"
#include "traps/v3_trap.h"

namespace {

constexpr unsigned kTrapPdu = 0xA4;
constexpr unsigned kSnmpV2TrapPdu = 0xA7;

const OID kSysUpTime0("1.3.6.1.2.1.1.3.0");
const OID kSnmpTrapOid0("1.3.6.1.6.3.1.1.4.1.0");

CommunityList::Item* findCommunity(uint32_t id) {
  if (communityKeep == nullptr) return nullptr;
  for (CommunityList::Item* item : communityKeep->items) {
    if (item->id == id) return item;
  }
  return nullptr;
}

// The notification the first willing maker describes; false when none is.
bool makeNotification(const kx::message& event, std::vector<VariableBinding>& bindings,
                      OID& trapOid, int& generic, int& specific) {
  for (TrapMaker maker : trapMakers) {
    if (maker(bindings, event, trapOid, generic, specific) > 0) return true;
  }
  return false;
}

void addTimeTicksBinding(OutStream& out, const OID& name, unsigned ticks) {
  out.startSeq(ber::kSequence);
  out.addOID(name, ber::kObjectId);
  out.add(ticks, ber::kTimeTicks);
  out.endSeq();
}

void addOidBinding(OutStream& out, const OID& name, const OID& value) {
  out.startSeq(ber::kSequence);
  out.addOID(name, ber::kObjectId);
  out.addOID(value, ber::kObjectId);
  out.endSeq();
}

}  // namespace

int createTrap(Context& ctx, const kx::message& event, uint32_t agentAddress,
               const TrapSettings& settings) {
  OutStream& out = ctx.out;
  const bool v1 = settings.version == kTrapVersion1;
  const bool v3 = settings.version == kTrapVersion3;
  out.startSeq(ber::kSequence);
  out.add(static_cast<int>(settings.version), ber::kInteger);

  CommunityList::Item* item = findCommunity(settings.community);
  if (item == nullptr) {
    std::fprintf(stderr, "createTrap: bad community\n");
    return 0;
  }
  V3TrapFraming framing;
  if (v3) {
    std::printf("snmp v3 trap\n");
    if (!framing.begin(ctx, *item, settings)) return 0;
  } else {
    out.add(item->name, ber::kOctetString);
  }
  out.startSeq(v1 ? kTrapPdu : kSnmpV2TrapPdu);

  std::vector<VariableBinding> bindings;
  OID trapOid;
  int generic = 0;
  int specific = 0;
  if (!makeNotification(event, bindings, trapOid, generic, specific)) {
    std::printf("Could not handle trap, msg dump: %s\n", event.dump().c_str());
    return 0;
  }

  // Hundredths of a second since the agent started.
  const unsigned ticks = kx::getJiffies() - settings.startJiffies;
  if (v1) {
    out.addOID(trapOid, ber::kObjectId);
    out.add(reinterpret_cast<const unsigned char*>(&agentAddress), sizeof agentAddress,
            ber::kIpAddress);
    out.add(generic, ber::kInteger);
    out.add(specific, ber::kInteger);
    out.add(ticks, ber::kTimeTicks);
  } else {
    out.add(std::rand(), ber::kInteger);  // request-id
    out.add(0, ber::kInteger);            // error-status
    out.add(0, ber::kInteger);            // error-index
  }

  out.startSeq(ber::kSequence);
  if (!v1) {
    addTimeTicksBinding(out, kSysUpTime0, ticks);
    // An enterprise-specific trap is named enterprise.0.specific.
    OID notification = trapOid;
    if (generic == kGenericEnterpriseSpecific) {
      notification += 0;
      notification += static_cast<unsigned>(specific);
    }
    addOidBinding(out, kSnmpTrapOid0, notification);
  }
  for (const VariableBinding& b : bindings) out.addVarBind(b);
  out.endSeq();  // variable bindings
  out.endSeq();  // PDU
  if (v3) {
    framing.finish(ctx, *item);
  } else {
    out.endSeq();  // message
  }
  return 1;
}
