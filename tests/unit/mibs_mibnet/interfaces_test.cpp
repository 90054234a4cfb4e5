// The interfaces module beyond what the walks of the example router show:
// every interface kind, the VLAN's parent lookup and the counters table's
// per-interface cache, over a real bus with a controlled clock.
#include <gtest/gtest.h>

#include <vector>

#include "data/get_all_provider.h"
#include "data/packers.h"
#include "data/tables.h"
#include "mibs/interfaces_mib.h"
#include "tests/unit/data/agent_bus.h"

namespace {

constexpr uint32_t kKind = kx::u32_id(0x10001);
constexpr uint32_t kSpeedIndex = kx::u32_id(0x3f2);
constexpr uint32_t kParent = kx::u32_id(0x7d2);
constexpr uint32_t kInOctets = kx::u64_id(0x100fc);
constexpr uint32_t kInErrors = kx::u32_id(0x100fa);

kx::message interface(uint32_t id, uint32_t kind) {
  kx::message m;
  m.setU32(kx::kObjId, id);
  m.setU32(kKind, kind);
  return m;
}

std::unique_ptr<InterfaceData> record(const kx::message& m) {
  return std::unique_ptr<InterfaceData>(InterfaceData::fromMessage(m));
}

// The interface list, answering get object too (the parent lookup and the
// counters fetch), and keeping every get-object request it saw.
class InterfaceList : public ListService {
 public:
  std::vector<kx::message> getObjRequests;
  uint32_t refuseId = 0;

  kx::message cmdGetObj(const kx::message& msg, uint32_t id) override {
    getObjRequests.push_back(msg);
    for (const kx::message& o : objects)
      if (o.getU32(kx::kObjId) == id && id != refuseId) return o;
    return kx::errorMsg(kx::kErrNotFound, "no such interface");
  }
};

class InterfacesBusTest : public AgentBusTest {
 protected:
  void SetUp() override {
    AgentBusTest::SetUp();
    serve(20, list);
  }
  InterfaceList list;
};

}  // namespace

TEST(InterfaceKind, MapsKindsToTypeAndSpeed) {
  // Kinds 1 and 30 take their speed from an index; unknown kinds are
  // "other" at ten megabit.
  struct {
    uint32_t kind;
    int type, speed;
    bool fromIndex;
  } rows[] = {{2, 188, 2000000, false},
              {5, 71, 11000000, false},
              {35, 71, 11000000, false},
              {6, 188, 10000000, false},
              {28, 118, 64000, false},
              {34, 23, 10000000, false},
              {12, 209, 100000000, false},
              {22, 63, 64000, false},
              {17, 131, 10000000, false},
              {20, 23, 57600, false},
              {21, 131, 128000, false},
              {27, 32, 64000, false},
              {1, 6, 0, true},
              {30, 135, 0, true},
              {0, 1, 10000000, false},
              {3, 1, 10000000, false},
              {29, 1, 10000000, false},
              {36, 1, 10000000, false},
              {0xffffffff, 1, 10000000, false}};
  for (const auto& r : rows) {
    SCOPED_TRACE(r.kind);
    InterfaceKindInfo info = interfaceKindInfo(r.kind);
    EXPECT_EQ(info.ifType, r.type);
    EXPECT_EQ(info.speedFromIndex, r.fromIndex);
    if (!r.fromIndex) {
      EXPECT_EQ(info.speed, r.speed);
    }
  }
  // Speed indexes past 2 are zero.
  const int speeds[] = {10000000, 100000000, 1000000000, 0};
  for (uint32_t index = 0; index < 4; ++index) EXPECT_EQ(speedOfIndex(index), speeds[index]);
  EXPECT_EQ(speedOfIndex(0xffffffff), 0);
}

TEST_F(InterfacesBusTest, VlanTakesTheSpeedOfItsParentNotItsOwn) {
  kx::message parent = interface(3, 1);
  parent.setU32(kSpeedIndex, 1);
  list.objects.push_back(parent);
  kx::message vlan = interface(8, 30);
  vlan.setU32(kParent, 3);
  vlan.setU32(kSpeedIndex, 2);
  EXPECT_EQ(record(vlan)->speed, 100000000);
  // An unknown parent answers an error, read as speed index 0.
  vlan.setU32(kParent, 99);
  EXPECT_EQ(record(vlan)->speed, 10000000);
}

class CountersTest : public InterfacesBusTest {
 protected:
  void SetUp() override {
    InterfacesBusTest::SetUp();
    interfaces.addIndex(&idPacker);
    provider.addSource(InterfaceData::build, kInterfacesPath);
    for (uint32_t id : {5u, 9u}) {
      kx::message m = interface(id, 1);
      m.setU64(kInOctets, 0x100000005ULL * id / 5);
      m.setU32(kInErrors, id);
      list.objects.push_back(m);
    }
  }
  // Counter fetches (get object with the counters flag) seen so far.
  size_t fetches() const {
    size_t n = 0;
    for (const kx::message& m : list.getObjRequests)
      n += m.getU32(kx::kGetAllArg) == kCountersRequestFlag ? 1 : 0;
    return n;
  }
  static InterfaceCounters* counters(Data* d) { return static_cast<InterfaceCounters*>(d); }

  DataNumPacker idPacker{dataMember(&InterfaceData::id), 0x02};
  GetAllProvider provider;
  MapTable interfaces{&provider};
  InterfacesCountersTable table{&interfaces};
};

TEST_F(CountersTest, OneFetchPerInterfacePerCacheLife) {
  table.get(OID{5});
  table.get(OID{5});
  table.get(OID{9});
  EXPECT_EQ(fetches(), 2u);

  // Read every 20 ticks, the cache still ends 95 ticks after its fill (at
  // the first re-check past that age).
  for (int i = 0; i < 5; ++i) {
    advance(20);
    table.get(OID{5});
  }
  EXPECT_EQ(fetches(), 2u);
  advance(20);
  EXPECT_EQ(table.cachedRows(), 0u);
  table.get(OID{5});
  EXPECT_EQ(fetches(), 3u);

  // Left alone for the idle limit, it goes too.
  advance(kCountersIdleTicks);
  advance(kCountersIdleTicks);
  EXPECT_FALSE(table.cacheValid());
  table.get(OID{5});
  EXPECT_EQ(fetches(), 4u);
}

TEST_F(CountersTest, FailedFetchShowsZerosUntilTheCacheExpires) {
  list.refuseId = 9;
  InterfaceCounters* c = counters(table.get(OID{9}));
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(c->inOctets64, 0u);
  EXPECT_EQ(c->inErrors, 0);
  table.get(OID{9});
  EXPECT_EQ(fetches(), 1u);

  list.refuseId = 0;
  advance(kCountersIdleTicks);
  advance(kCountersIdleTicks);
  EXPECT_EQ(counters(table.get(OID{9}))->inErrors, 9);
}
