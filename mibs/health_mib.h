// buildHealthMib: the enterprise health scalars.
#ifndef MIBS_HEALTH_MIB_H_
#define MIBS_HEALTH_MIB_H_

// Registers the health value, power source and temperature under the
// enterprise health group.  Call once at start-up; everything it allocates
// lives for the rest of the process.
void buildHealthMib();

#endif  // MIBS_HEALTH_MIB_H_
