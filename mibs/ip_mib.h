// The IP module: the IP group scalars, ipAddrTable, ipNetToMediaTable,
// ipCidrRouteTable with ipCidrRouteNumber, ipRouteTable and the two
// enterprise queue tables under 1.3.6.1.4.1.32473.1.1.2.
#ifndef MIBS_IP_MIB_H_
#define MIBS_IP_MIB_H_

// Registers every object of the module.  Rows come from the address list
// [20, 1], the neighbour list [20, 8], the route list [44, 1] (both route
// tables share one provider) and the queue lists [20, 9] and [20, 12].  Call
// once at start-up, after the agent's looper exists (data/bus.h); everything it
// allocates lives for the rest of the run.
void buildIpMib();

#endif  // MIBS_IP_MIB_H_
