// The start-up trap ("start-trap", generator 0x0abc0001).
#ifndef TRAPS_STARTUP_TRAP_H_
#define TRAPS_STARTUP_TRAP_H_

#include "traps/trap_maker.h"

// Handles every event: warmStart (1.3.6.1.6.3.1.1.5.2), generic 1,
// specific 0, no bindings.  It stands in trapMakers only while the agent
// sends its start-up trap; warmStart rather than coldStart is deliberate.
int startupTrapMaker(std::vector<VariableBinding>& bindings, const kx::message& event, OID& trapOid,
                     int& generic, int& specific);

#endif  // TRAPS_STARTUP_TRAP_H_
