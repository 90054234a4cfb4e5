// Trap makers: the functions that decide what a notification says.
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
#ifndef TRAPS_TRAP_MAKER_H_
#define TRAPS_TRAP_MAKER_H_

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

#endif  // TRAPS_TRAP_MAKER_H_
