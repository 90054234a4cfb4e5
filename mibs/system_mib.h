// buildSystemMib: the system group, the host-resources groups hrSystem,
// hrStorage, hrDevice and hrProcessor, and the enterprise software,
// system-control, script and address groups.
#ifndef MIBS_SYSTEM_MIB_H_
#define MIBS_SYSTEM_MIB_H_

// Registers every object of these groups in the MIB tree.  Call once at
// start-up, after the agent looper exists (sysContact and sysLocation read
// its settings) and before the first request.  Everything it allocates
// lives for the rest of the process.
void buildSystemMib();

#endif  // MIBS_SYSTEM_MIB_H_
