// buildBridgeMib: the bridge address, two spanning-tree scalars and the
// forwarding database of the first bridge.
#ifndef MIBS_BRIDGE_MIB_H_
#define MIBS_BRIDGE_MIB_H_

// Registers dot1dBaseBridgeAddress, dot1dStpProtocolSpecification,
// dot1dStpPriority and dot1dTpFdbTable.  Call once at start-up; everything
// it allocates lives for the rest of the process.
void buildBridgeMib();

#endif  // MIBS_BRIDGE_MIB_H_
