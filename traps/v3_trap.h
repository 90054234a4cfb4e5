// The SNMPv3 framing of a trap: the message header and the user-based
// security parameters before the PDU, encryption and signature after it.
//
// createTrap writes the version, calls begin() in place of the community,
// writes the PDU, closes it and calls finish() in place of closing the
// message.  Everything that differs between v3 and the community versions
// is here; the header, the cipher and the MAC are usm's (usm/v3_writer.h).
#ifndef TRAPS_V3_TRAP_H_
#define TRAPS_V3_TRAP_H_

#include "engine/community_list.h"
#include "engine/context.h"
#include "traps/trap_settings.h"

class V3TrapFraming {
 public:
  // Fills ctx.v3 for a message of the local engine and writes it:
  // msgGlobalData (a random msgID, msgMaxSize 65507, the flags of
  // user.security, not reportable, model 3), the security parameters (the
  // engine ID, boots and time of settings.engine, the user's name, a zero
  // MAC of the method's length and, at authPriv, a fresh salt) and the
  // opening of the scoped PDU, whose context engine ID is the agent's too.
  // Derives the user's keys if they are still pending.
  //
  // Returns false, writing one line on standard error, when the user's
  // level needs an authentication method or a privacy protocol that the
  // agent does not know; then ctx.out is not to be sent.
  bool begin(Context& ctx, CommunityList::Item& user, const TrapSettings& settings);
  // REQUIRES: begin() succeeded with the same ctx and user, and the PDU
  // is closed.  Closes the scoped PDU (encrypting it at authPriv with the
  // user's privacy key), closes the message and signs it with the user's
  // authentication key (authNoPriv and authPriv).
  void finish(Context& ctx, const CommunityList::Item& user);
};

#endif  // TRAPS_V3_TRAP_H_
