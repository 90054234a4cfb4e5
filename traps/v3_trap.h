// The SNMPv3 framing of a trap: the message header and the user-based
// security parameters before the PDU, encryption and signature after it.
//
// createTrap writes the version, calls begin() in place of the community,
// writes the PDU, closes it and calls finish() in place of closing the
// message.  Everything that differs between v3 and the community versions
// is here.
#ifndef TRAPS_V3_TRAP_H_
#define TRAPS_V3_TRAP_H_

#include "engine/community_list.h"
#include "engine/context.h"
#include "traps/trap_settings.h"

class V3TrapFraming {
 public:
  // Writes msgGlobalData (a random msgID, msgMaxSize 65507, the flags of
  // user.security, model 3), the security parameters (the agent's engine
  // ID, boots and time, the user's name, placeholders for the signature
  // and the salt) and opens the scoped PDU.  Returns false, with the reason
  // on standard error, when the message cannot be made; then ctx.out is
  // not to be sent.
  //
  // This build has no user-based security module: begin() always refuses.
  bool begin(Context& ctx, const CommunityList::Item& user, const TrapSettings& settings);
  // REQUIRES: begin() succeeded and the PDU is closed.  Closes the scoped
  // PDU (encrypting it at level authPriv), closes the message and signs it
  // (levels authNoPriv and authPriv).
  void finish(Context& ctx, const CommunityList::Item& user);
};

#endif  // TRAPS_V3_TRAP_H_
