// buildSystemMib: the system group, the host-resources groups hrSystem,
// hrStorage, hrDevice and hrProcessor, and the enterprise software,
// system-control, script and address groups.
#ifndef MIBS_SYSTEM_MIB_H_
#define MIBS_SYSTEM_MIB_H_

#include "mibs/system_config_provider.h"

// Registers every object of these groups in the MIB tree; sysContact and
// sysLocation are read from settings, the agent's settings record.  Call
// once at start-up, before the first request.  Everything it allocates
// lives for the rest of the process.
void buildSystemMib(ConfigInfoProvider::Source settings);

#endif  // MIBS_SYSTEM_MIB_H_
