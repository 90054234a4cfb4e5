// createTrap: one platform event as one complete SNMP notification.
#ifndef TRAPS_CREATE_TRAP_H_
#define TRAPS_CREATE_TRAP_H_

#include <cstdint>

#include "engine/context.h"
#include "kx/message.h"
#include "traps/trap_settings.h"

// Encodes into ctx.out the whole message for settings.version: an SNMPv1
// Trap-PDU (version 0), an SNMPv2-Trap-PDU (1), or one inside a USM
// message (3), sent as the community or user whose id is
// settings.community.  The makers of `trapMakers` are asked in order for
// the notification; v2c and v3 put sysUpTime.0 and snmpTrapOID.0 before
// the maker's bindings.  agentAddress: the local IPv4 address (network
// order) that v1 puts into agent-addr.
//
// Returns non-zero when ctx.out holds a message to send.  Returns 0 when
// the community id is unknown ("createTrap: bad community" on standard
// error), when no maker handles the event (the event's dump on standard
// output), or when a v3 trap user's level needs an authentication method
// or privacy protocol the agent doesn't know (a line on standard error);
// what ctx.out holds then is not to be sent.  A v3 trap derives the user's
// keys if they are still pending.
int createTrap(Context& ctx, const kx::message& event, uint32_t agentAddress,
               const TrapSettings& settings);

#endif  // TRAPS_CREATE_TRAP_H_
