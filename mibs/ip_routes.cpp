#include "mibs/ip_routes.h"

#include <arpa/inet.h>

#include "mibs/ip_records.h"

namespace {

constexpr uint32_t kDestination = kx::be32_id(0x1);
constexpr uint32_t kMask = kx::be32_id(0x2);
constexpr uint32_t kConnectedNextHop = kx::be32_id(0x3);
constexpr uint32_t kKind = kx::u32_id(0x7);
constexpr uint32_t kMetric = kx::u32_id(0x8);
constexpr uint32_t kGateways = kx::u32_array_id(0x4);    // be32 elements
constexpr uint32_t kInterfaces = kx::u32_array_id(0x5);  // one per gateway
constexpr uint32_t kGatewayOn = kx::u32_array_id(0x6);   // 0 = gateway disabled

constexpr uint32_t kKindConnected = 2;

// An element of an optional u32 array, or 0 when there is none.
uint32_t elementOr0(const std::vector<uint32_t>* array, size_t i) {
  return array && i < array->size() ? (*array)[i] : 0;
}

}  // namespace

RouteKindCodes routeKindCodes(uint32_t kind) {
  switch (kind) {
    case kKindConnected:
      return {3, 1, 3, 2};
    case 3:
      return {4, 2, 4, 3};
    case 4:
      return {4, 8, 4, 8};
    case 6:
      return {4, 13, 4, 13};
    case 8:
      return {4, 14, 4, 14};
    case 30:
      return {4, 2, 4, 3};
    case 31:
      return {4, 1, 3, 2};
    default:  // 5, 7, 9 to 29, and every kind outside 2 to 31
      return {4, 1, 1, 1};
  }
}

void RouteData::build(kx::message const& object, std::vector<Data*>* out) {
  if (ipObjectInactive(object)) return;
  const uint32_t kind = object.getU32(kKind);
  const RouteKindCodes codes = routeKindCodes(kind);
  auto record = [&](unsigned int nextHop, uint32_t ifIndex) {
    auto* d = new RouteData;
    d->destination = object.getBe32(kDestination);
    d->mask = object.getBe32(kMask);
    d->metric = static_cast<int>(object.getU32(kMetric));
    d->nextHop = nextHop;
    d->routeType = codes.routeType;
    d->cidrType = codes.cidrType;
    d->cidrProto = codes.cidrProto;
    d->routeProto = codes.routeProto;
    d->ifIndex = static_cast<int>(ifIndex);
    out->push_back(d);
  };

  const std::vector<uint32_t>* gateways = object.findU32Array(kGateways);
  const std::vector<uint32_t>* interfaces = object.findU32Array(kInterfaces);
  const bool noGateways = gateways == nullptr || gateways->empty();
  if (noGateways && kind == kKindConnected) {
    record(object.getBe32(kConnectedNextHop), elementOr0(interfaces, 0));
    return;
  }
  if (interfaces == nullptr || noGateways) return;
  const std::vector<uint32_t>* enabled = object.findU32Array(kGatewayOn);
  for (size_t i = 0; i < gateways->size(); ++i) {
    if (enabled && i < enabled->size() && (*enabled)[i] == 0) continue;
    // Array elements carry addresses first octet most significant, like
    // every u32 address of the bus.
    record(htonl((*gateways)[i]), elementOr0(interfaces, i));
  }
}
