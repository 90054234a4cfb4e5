// The route conversion: which route objects become rows, one per gateway,
// and the codes of every route kind (the example router has a few).
#include <gtest/gtest.h>

#include <memory>
#include <utility>
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
constexpr uint32_t agentOf(uint32_t w) {
  return agent(w >> 24, w >> 16 & 255, w >> 8 & 255, w & 255);
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

TEST(RouteConversion, OneRowPerEnabledGatewayWithItsInterface) {
  const uint32_t a = wire(192, 0, 2, 1), b = wire(198, 51, 100, 1), c = wire(203, 0, 113, 9);
  const uint32_t hop = wire(10, 20, 0, 1);             // a connected route's own next hop
  using Rows = std::vector<std::pair<uint32_t, int>>;  // next hop, ifIndex
  const struct {
    const char* what;
    uint32_t kind;
    std::vector<uint32_t> gateways, interfaces, on;
    uint32_t flag;
    Rows rows;
  } cases[] = {
      {"connected", 2, {}, {5, 6}, {}, 0, {{hop, 5}}},
      {"connected, no interfaces", 2, {}, {}, {}, 0, {{hop, 0}}},
      {"gateways", 3, {a, b, c}, {1, 2, 3}, {}, 0, {{a, 1}, {b, 2}, {c, 3}}},
      {"second gateway off, fewer marks", 3, {a, b, c}, {1, 2, 3}, {1, 0}, 0, {{a, 1}, {c, 3}}},
      {"fewer interfaces", 3, {a, b, c}, {1}, {}, 0, {{a, 1}, {b, 0}, {c, 0}}},
      {"no interfaces", 3, {a}, {}, {}, 0, {}},
      {"static without gateway", 3, {}, {1}, {}, 0, {}},
      {"invalid", 2, {}, {1}, {}, kInvalid, {}},
      {"disabled", 2, {}, {1}, {}, kDisabled, {}},
  };
  for (const auto& t : cases) {
    kx::message m = route(t.kind);
    m.setU32(kx::u32_id(0x3), hop);
    m.setU32Array(kGateways, t.gateways);  // (the example router has one without the array)
    if (!t.interfaces.empty()) m.setU32Array(kRouteInterfaces, t.interfaces);
    if (!t.on.empty()) m.setU32Array(kGatewayOn, t.on);
    if (t.flag) m.setBool(t.flag, true);
    Rows rows, expected;
    for (const auto& r : routes(m)) {
      EXPECT_EQ(r->destination, agent(10, 20, 0, 0)) << t.what;
      rows.emplace_back(r->nextHop, r->ifIndex);
    }
    for (const auto& [next, ifIndex] : t.rows) expected.emplace_back(agentOf(next), ifIndex);
    EXPECT_EQ(rows, expected) << t.what;
  }
}
