// buildBridgeMib: the bridge address, two spanning-tree scalars and the
// forwarding database of the first bridge.
#ifndef MIBS_BRIDGE_MIB_H_
#define MIBS_BRIDGE_MIB_H_

// Registers dot1dBaseBridgeAddress, the spanning-tree protocol scalar
// (1.3.6.1.2.1.17.2.1), dot1dStpPriority and dot1dTpFdbTable.  Call once at start-up; everything
// it allocates lives for the rest of the process.
void buildBridgeMib();

#endif  // MIBS_BRIDGE_MIB_H_
