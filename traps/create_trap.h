// Building and sending a trap: what it takes from the agent's settings,
// the SNMPv3 framing, createTrap and the UDP side.
#ifndef TRAPS_CREATE_TRAP_H_
#define TRAPS_CREATE_TRAP_H_

#include <cstdint>

#include "engine/community_list.h"
#include "engine/context.h"
#include "kx/message.h"
#include "kx/snmp_keys.h"
#include "usm/v3_info.h"

// What building and sending a trap takes from the agent's settings.  The
// version is the one written into the message (snmp::kTrapV1, kTrapV2c,
// kTrapV3).
struct TrapSettings {
  bool enabled = false;                     // the agent's service is on
  uint32_t target = 0;                      // IPv4 address, network order; 0 = none
  uint16_t port = 162;                      // UDP port at the target
  uint32_t community = snmp::kNoCommunity;  // id of the community or v3 user
  uint32_t version = snmp::kTrapV1;
  uint32_t startJiffies = 0;  // kx::getJiffies() when the agent started
  // The local v3 engine, authoritative for its traps: the formatted engine
  // ID, boots, start uptime and clock the v3 header is made from.
  V3ServerInfo engine;
};

// The SNMPv3 framing of a trap: the message header and the user-based
// security parameters before the PDU, encryption and signature after it.
//
// createTrap writes the version, calls begin() in place of the community,
// writes the PDU, closes it and calls finish() in place of closing the
// message.  Everything that differs between v3 and the community versions
// is here; the header, the cipher and the MAC are usm's (usm/v3_writer.h).
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

// createTrap: one platform event as one complete SNMP notification.

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

// Sending one trap: the UDP side of SnmpLooper::send_trap.

// Builds the trap for event with createTrap and sends it in one datagram
// from a fresh UDP socket connected to settings.target:settings.port, so
// that the routing chooses the local address (v1 puts it in agent-addr).
// Sends nothing, after one line on standard error, when the agent is
// disabled ("send_trap: snmp disabled"), has no target or no trap community
// ("send_trap: no trap sink specified"), a socket call fails
// ("send_trap: failed to ...: <error>") or createTrap fails
// ("send_trap: createTrap failed").  Never retries.
void sendTrap(const TrapSettings& settings, const kx::message& event);

#endif  // TRAPS_CREATE_TRAP_H_
