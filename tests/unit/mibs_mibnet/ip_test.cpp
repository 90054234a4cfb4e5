// The route conversion: which route objects become rows, one per gateway,
// and the codes of the route kinds.
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "mibs/ip_mib.h"

namespace {

constexpr uint32_t kInvalid = kx::bool_id(0xfe0008);
constexpr uint32_t kDisabled = kx::bool_id(0xfe000a);
constexpr uint32_t kKind = kx::u32_id(0x7);
constexpr uint32_t kGateways = kx::u32_array_id(0x4);
constexpr uint32_t kRouteInterfaces = kx::u32_array_id(0x5);
constexpr uint32_t kGatewayOn = kx::u32_array_id(0x6);

// Bus form of an address (first octet most significant) and agent form
// (first octet in the low byte).
constexpr uint32_t wire(uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
  return a << 24 | b << 16 | c << 8 | d;
}
constexpr uint32_t agent(uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
  return d << 24 | c << 16 | b << 8 | a;
}

// Runs a conversion; the records are owned by the returned vector.
template <class Record>
std::vector<std::unique_ptr<Record>> convert(void (*build)(const kx::message&, std::vector<Data*>*),
                                             const kx::message& m) {
  std::vector<Data*> out;
  build(m, &out);
  std::vector<std::unique_ptr<Record>> records;
  for (Data* d : out) records.emplace_back(static_cast<Record*>(d));
  return records;
}

kx::message route(uint32_t kind) {
  kx::message m;
  m.setU32(kx::u32_id(0x1), wire(10, 20, 0, 0));
  m.setU32(kx::u32_id(0x2), wire(255, 255, 0, 0));
  m.setU32(kx::u32_id(0x8), 7);
  m.setU32(kKind, kind);
  return m;
}

auto routes(const kx::message& m) { return convert<RouteData>(RouteData::build, m); }

}  // namespace

TEST(RouteKindCodes, TypeAndBothProtocolCodings) {
  struct {
    uint32_t kind;
    int routeType, routeProto, cidrType, cidrProto;
  } codes[] = {{2, 3, 1, 3, 2},
               {3, 4, 2, 4, 3},
               {4, 4, 8, 4, 8},
               {5, 4, 1, 1, 1},
               {6, 4, 13, 4, 13},
               {7, 4, 1, 1, 1},
               {8, 4, 14, 4, 14},
               {9, 4, 1, 1, 1},
               {29, 4, 1, 1, 1},
               {30, 4, 2, 4, 3},
               {31, 4, 1, 3, 2},
               // Outside 2..31.
               {0, 4, 1, 1, 1},
               {1, 4, 1, 1, 1},
               {32, 4, 1, 1, 1},
               {0xffffffff, 4, 1, 1, 1}};
  for (const auto& c : codes) {
    RouteKindCodes got = routeKindCodes(c.kind);
    EXPECT_EQ(got.routeType, c.routeType) << c.kind;
    EXPECT_EQ(got.routeProto, c.routeProto) << c.kind;
    EXPECT_EQ(got.cidrType, c.cidrType) << c.kind;
    EXPECT_EQ(got.cidrProto, c.cidrProto) << c.kind;
  }
}

TEST(RouteConversion, ConnectedRouteWithoutGatewaysIsOneRow) {
  kx::message m = route(2);
  m.setU32(kx::u32_id(0x3), wire(10, 20, 0, 1));
  m.setU32Array(kRouteInterfaces, {5, 6});
  auto r = routes(m);
  ASSERT_EQ(r.size(), 1u);
  EXPECT_EQ(r[0]->destination, agent(10, 20, 0, 0));
  EXPECT_EQ(r[0]->mask, agent(255, 255, 0, 0));
  EXPECT_EQ(r[0]->nextHop, agent(10, 20, 0, 1));
  EXPECT_EQ(r[0]->ifIndex, 5);
  EXPECT_EQ(r[0]->metric, 7);
  EXPECT_EQ(r[0]->routeType, 3);
  EXPECT_EQ(r[0]->cidrType, 3);

  // An empty gateway array counts as none; no interfaces gives ifIndex 0.
  m.setU32Array(kGateways, {});
  m.erase(kRouteInterfaces);
  r = routes(m);
  ASSERT_EQ(r.size(), 1u);
  EXPECT_EQ(r[0]->ifIndex, 0);
}

TEST(RouteConversion, OneRowPerEnabledGateway) {
  kx::message m = route(3);
  m.setU32Array(kGateways, {wire(192, 0, 2, 1), wire(198, 51, 100, 1), wire(203, 0, 113, 9)});
  m.setU32Array(kRouteInterfaces, {1, 2, 3});
  auto r = routes(m);
  ASSERT_EQ(r.size(), 3u);
  EXPECT_EQ(r[1]->nextHop, agent(198, 51, 100, 1));
  EXPECT_EQ(r[1]->ifIndex, 2);
  EXPECT_EQ(r[2]->destination, r[0]->destination);
  EXPECT_EQ(r[2]->metric, 7);
  EXPECT_EQ(r[2]->cidrProto, 3);

  // The second gateway marked off; the marks may be fewer than the gateways.
  m.setU32Array(kGatewayOn, {1, 0});
  r = routes(m);
  ASSERT_EQ(r.size(), 2u);
  EXPECT_EQ(r[0]->nextHop, agent(192, 0, 2, 1));
  EXPECT_EQ(r[1]->nextHop, agent(203, 0, 113, 9));
  EXPECT_EQ(r[1]->ifIndex, 3);

  // Fewer interfaces than gateways: the rest show ifIndex 0.
  m.erase(kGatewayOn);
  m.setU32Array(kRouteInterfaces, {1});
  r = routes(m);
  ASSERT_EQ(r.size(), 3u);
  EXPECT_EQ(r[2]->ifIndex, 0);
}

TEST(RouteConversion, RoutesThatMakeNoRows) {
  kx::message noInterfaces = route(3);
  noInterfaces.setU32Array(kGateways, {wire(192, 0, 2, 1)});
  EXPECT_TRUE(routes(noInterfaces).empty());

  kx::message staticWithoutGateway = route(3);
  staticWithoutGateway.setU32Array(kRouteInterfaces, {1});
  EXPECT_TRUE(routes(staticWithoutGateway).empty());

  for (uint32_t flag : {kInvalid, kDisabled}) {
    kx::message connected = route(2);
    connected.setBool(flag, true);
    EXPECT_TRUE(routes(connected).empty()) << std::hex << flag;
  }
}
