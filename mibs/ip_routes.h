// Routes: one RouteData per gateway of a route of the route list [44, 1].
//
// Both route tables read these records: ipCidrRouteTable indexes them by
// destination, mask, TOS 0 and next hop (one row per gateway), the older
// ipRouteTable by destination alone (so the last gateway of a destination
// wins there).
#ifndef MIBS_IP_ROUTES_H_
#define MIBS_IP_ROUTES_H_

#include <cstdint>
#include <vector>

#include "engine/data.h"
#include "kx/message.h"

// How the routing service's route kind (u32 0x7) shows in the route tables.
// The two protocol columns deliberately code the same kind differently.
struct RouteKindCodes {
  int routeType;   // ipRouteType
  int routeProto;  // ipRouteProto
  int cidrType;    // ipCidrRouteType
  int cidrProto;   // ipCidrRouteProto
};

// Any kind; kinds outside 2..31 get 4, 1, 1, 1.
RouteKindCodes routeKindCodes(uint32_t kind);

class RouteData : public Data {
 public:
  unsigned int destination = 0;
  unsigned int mask = 0;
  int metric = 0;
  unsigned int nextHop = 0;
  int routeType = 0;
  int cidrType = 0;
  int cidrProto = 0;
  int routeProto = 0;
  int ifIndex = 0;

  // The route list's conversion.  A connected route without gateways makes
  // one record (next hop be32 0x3, the first interface of u32[] 0x5).
  // Otherwise, when the interface array u32[] 0x5 is present, one record
  // per gateway of be32[] 0x4, skipping those marked 0 in u32[] 0x6.
  // Disabled and invalid routes make none.
  static void build(kx::message const& object, std::vector<Data*>* out);
};

#endif  // MIBS_IP_ROUTES_H_
