// Where traps come from: the trap makers (the functions that decide what a
// notification says, among them the start-up and the enterprise trap) and
// the trap subscribers (the event sources an operator can switch on).
//
// createTrap asks the makers in `trapMakers` in order; the first that
// returns a value above 0 has filled the trap's OID, generic and specific
// numbers and its variable bindings, and the others are not asked.  A maker
// that does not recognise the event returns 0 and leaves its outputs alone.
//
// The list is process-wide and used only on the agent's thread.  The agent
// registers the enterprise maker at start-up; a subscriber adds its maker
// when it subscribes and removes it when it unsubscribes; a plug-in may add
// its own from autorun().
#ifndef TRAPS_TRAP_SOURCES_H_
#define TRAPS_TRAP_SOURCES_H_

#include <cstdint>
#include <string>
#include <vector>

#include "asn1/oid.h"
#include "asn1/variable_binding.h"
#include "kx/message.h"

// bindings: appended to, in the order they are to be sent.  trapOid: the
// notification's OID; for generic 6 (enterprise-specific) the enterprise,
// which v2c and v3 extend by 0 and specific.  Returns > 0 when handled.
using TrapMaker = int (*)(std::vector<VariableBinding>& bindings, const kx::message& event,
                          OID& trapOid, int& generic, int& specific);

// The generic-trap numbers the makers use.
constexpr int kGenericWarmStart = 1;
constexpr int kGenericLinkDown = 2;
constexpr int kGenericLinkUp = 3;
constexpr int kGenericEnterpriseSpecific = 6;

// The makers asked for every trap, in order.
extern std::vector<TrapMaker> trapMakers;

// Appends maker; a maker may stand in the list more than once.
void addTrapMaker(TrapMaker maker);
// Removes the first occurrence of maker; no effect when it is absent.
void removeTrapMaker(TrapMaker maker);

// The start-up trap ("start-trap", generator 0x0abc0001).

// Handles every event: warmStart (1.3.6.1.6.3.1.1.5.2), generic 1,
// specific 0, no bindings.  It stands in trapMakers only while the agent
// sends its start-up trap; warmStart rather than coldStart is deliberate.
int startupTrapMaker(std::vector<VariableBinding>& bindings, const kx::message& event, OID& trapOid,
                     int& generic, int& specific);

// The enterprise trap any router service can raise over the bus.
//
// A message with command 1 sent to the agent ([34]) becomes the trap
// 1.3.6.1.4.1.32473.1.1.9, enterprise-specific 1 (snmpTrapOID.0
// 1.3.6.1.4.1.32473.1.1.9.0.1 in v2c and v3), with at most one binding
// described by three fields of the message:
//
//   string 0x3e9   the binding's OID as dotted text
//   u32 0x3ea      its value type: a BER tag, encoded as OutStream::addByType
//                  says (2, 4, 5, 6, 0x40, 0x41, 0x43, 0x47)
//   string 0x3eb   the value as text
//
// (snmp::kCmdSendTrap, kTrapOid, kTrapType and kTrapValue of kx/snmp_keys.h).
// Without the OID or the type there is no binding; without the text only a
// NULL (type 5) binding is added.

// Handles exactly the events whose command (u32 0xff0007) is 1.
int talvorTrapMaker(std::vector<VariableBinding>& bindings, const kx::message& event, OID& trapOid,
                    int& generic, int& specific);

// Trap subscribers: the event sources an operator can switch on.
//
// Each entry of `scribers` connects the agent to one kind of router event:
// its subscribe function adds the entry's trap maker and subscribes the
// agent's looper to the events on the bus; its unsubscribe function undoes
// both.  An entry's index in the list is its generator id, the number an
// operator puts into the trapGenerators setting ("kxctl snmp set
// trap-generators=NAME" resolves the name).  The interfaces module appends
// "interfaces" (generator 0); plug-ins append theirs from autorun(), after
// it, and never remove one (the ids would shift).
//
// Process-wide, used only on the agent's thread.
struct TrapSubscriber {
  std::string name;       // shown in the generator list
  void (*subscribe)();    // may be called while already subscribed
  void (*unsubscribe)();  // may be called while not subscribed
};

extern std::vector<TrapSubscriber> scribers;

// Asks the service at path to send events of kind to the agent's looper,
// filtered by filter ({u32 0x10002 = v, u32 0x10003 = m}: objects whose
// 0x10002 AND m equal v; empty: every object).  The events reach the
// agent's unknown-command handler, which turns kinds 1, 0xfe000b and
// 0x10004 into traps.  Returns false, after one line on standard error,
// when there is no bus or the service refused or did not answer.
bool subscribeToEvents(const std::vector<uint32_t>& path, uint32_t kind, const kx::message& filter);
// Cancels such a subscription (same path, kind and filter).  Returns false
// when the service could not be told.
bool unsubscribeFromEvents(const std::vector<uint32_t>& path, uint32_t kind,
                           const kx::message& filter);

#endif  // TRAPS_TRAP_SOURCES_H_
