// Sending one trap: the UDP side of SnmpLooper::send_trap.
#ifndef TRAPS_TRAP_SENDER_H_
#define TRAPS_TRAP_SENDER_H_

#include "kx/message.h"
#include "traps/trap_settings.h"

// Builds the trap for event with createTrap and sends it in one datagram
// from a fresh UDP socket connected to settings.target:settings.port, so
// that the routing chooses the local address (v1 puts it in agent-addr).
// Sends nothing, after one line on standard error, when the agent is
// disabled ("send_trap: snmp disabled"), has no target or no trap community
// ("send_trap: no trap sink specified"), a socket call fails
// ("send_trap: failed to ...: <error>") or createTrap fails
// ("send_trap: createTrap failed").  Never retries.
void sendTrap(const TrapSettings& settings, const kx::message& event);

#endif  // TRAPS_TRAP_SENDER_H_
