#include "traps/v3_trap.h"

#include <cstdio>

bool V3TrapFraming::begin(Context&, const CommunityList::Item&, const TrapSettings&) {
  std::fprintf(stderr,
               "createTrap: this agent has no SNMPv3 security module; "
               "set trap-version to 1 or 2c\n");
  return false;
}

void V3TrapFraming::finish(Context& ctx, const CommunityList::Item&) {
  ctx.out.endSeq();  // scoped PDU
  ctx.out.endSeq();  // message
}
