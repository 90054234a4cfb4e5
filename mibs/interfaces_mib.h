// The interfaces module: ifNumber, ifTable and ifXTable.
#ifndef MIBS_INTERFACES_MIB_H_
#define MIBS_INTERFACES_MIB_H_

// Registers ifNumber (1.3.6.1.2.1.2.1), the ifTable (1.3.6.1.2.1.2.2.1) and
// the ifXTable (1.3.6.1.2.1.31.1.1.1), indexed by the platform's interface
// id.  Rows come from the interface list at [20, 0]; each row's counters are
// fetched from the same service when first read.  Then primes the
// link-state map from the same list and appends the "interfaces" trap
// subscriber (traps/link_traps.h).  Call once at start-up,
// after the agent's looper exists (data/bus.h); everything it allocates lives
// for the rest of the run.
void buildInterfacesMib();

#endif  // MIBS_INTERFACES_MIB_H_
