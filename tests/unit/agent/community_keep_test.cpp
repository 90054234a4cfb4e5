#include "agent/community_keep.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "kx/looper.h"
#include "kx/store.h"
#include "tests/unit/support/temp_root.h"

namespace {

constexpr uint32_t kNoStart = 0xffffffff;

// A keeper registered as handler 1 of a looper of the agent's service, as
// the daemon runs it; requests go through the generic dispatch.
class CommunityKeepTest : public ::testing::Test {
 protected:
  void SetUp() override { start(); }
  void TearDown() override { stop(); }

  void start() {
    looper = std::make_unique<kx::Looper>(34);
    keep = std::make_unique<CommunityKeep>();
    keep->init();
    looper->addHandler(snmp::ID_COMMUNITIES, keep.get());
  }
  void stop() {
    if (looper) looper->removeHandler(34, snmp::ID_COMMUNITIES);
    keep.reset();
    looper.reset();
  }

  kx::message request(uint32_t cmd, kx::message m = kx::message()) {
    m.setCommand(cmd);
    return keep->handle(m);
  }
  // A community message; id and name only when given.
  static kx::message item(uint32_t id, const char* name = nullptr) {
    kx::message m;
    if (id != kNoStart) m.setU32(kx::kObjId, id);
    if (name) m.setString(snmp::kName, name);
    return m;
  }
  kx::message add(const std::string& name) {
    return request(kx::kCmdAddObj, item(kNoStart, name.c_str()));
  }
  kx::message getAll(uint32_t start, uint32_t count) {
    kx::message m;
    if (start != kNoStart) m.setU32(kx::kContinue, start);
    if (count) m.setU32(kx::kPageSize, count);
    return request(kx::kCmdGetAll, m);
  }
  std::vector<std::string> names() const {
    std::vector<std::string> out;
    for (auto* item : keep->items) out.push_back(item->name);
    return out;
  }
  kx::Store store() const { return kx::Store(snmp::kCommunityStore, 5); }

  test_support::TempRoot root;
  std::unique_ptr<kx::Looper> looper;
  std::unique_ptr<CommunityKeep> keep;
};

TEST_F(CommunityKeepTest, FirstStartCreatesOneReadOnlyHarborForAnySource) {
  ASSERT_EQ(keep->items.size(), 1u);
  const CommunityKeep::Item& item = *keep->items[0];
  EXPECT_EQ(item.id, 0u);
  EXPECT_EQ(item.name, "harbor");
  EXPECT_TRUE(item.readAccess);
  EXPECT_FALSE(item.writeAccess);
  EXPECT_EQ(item.address, 0u);
  EXPECT_EQ(item.addressMask, 0u);
  EXPECT_EQ(item.security, 0u);

  kx::message stored;
  ASSERT_TRUE(store().load(0, stored));
  EXPECT_EQ(store().ids(), std::vector<uint32_t>{0});
  EXPECT_EQ(stored, CommunityKeep::getCfg(item));
}

TEST_F(CommunityKeepTest, StoredCommunitiesAreLoadedInStoreOrderWithoutDefault) {
  stop();
  kx::Store s = store();
  s.remove(0);
  kx::message a = item(7, "seven"), b = item(3, "three");
  b.setBool(snmp::kWriteAccess, true);
  s.save(7, a);
  s.save(3, b);
  start();

  EXPECT_EQ(names(), (std::vector<std::string>{"three", "seven"}));
  EXPECT_TRUE(keep->items[0]->writeAccess);
  // Loaded ids are taken: a new community gets the lowest free one.
  for (uint32_t id : {0u, 1u, 2u, 4u})
    EXPECT_EQ(add("new" + std::to_string(id)).getU32(kx::kObjId, kNoStart), id);
}

TEST_F(CommunityKeepTest, GetAllPagesByTwentyWithContinuation) {
  for (int i = 1; i < 25; ++i) ASSERT_FALSE(kx::isError(add("c" + std::to_string(i))));
  ASSERT_EQ(keep->items.size(), 25u);

  for (uint32_t count : {0u, 21u, 500u}) {
    kx::message page = getAll(kNoStart, count);
    ASSERT_FALSE(kx::isError(page));
    const auto* objs = page.findMessageArray(kx::kObjects);
    ASSERT_NE(objs, nullptr);
    EXPECT_EQ(objs->size(), 20u) << "count " << count;
    EXPECT_EQ(objs->front().getString(snmp::kName), "harbor");
    EXPECT_EQ(page.getU32(kx::kContinue, kNoStart), keep->items[20]->id);
  }

  kx::message small = getAll(kNoStart, 3);
  EXPECT_EQ(small.findMessageArray(kx::kObjects)->size(), 3u);
  EXPECT_EQ(small.getU32(kx::kContinue, kNoStart), keep->items[3]->id);

  kx::message rest = getAll(keep->items[20]->id, 0);
  ASSERT_EQ(rest.findMessageArray(kx::kObjects)->size(), 5u);
  EXPECT_EQ(rest.findMessageArray(kx::kObjects)->back().getString(snmp::kName), "c24");
  EXPECT_FALSE(rest.has(kx::kContinue));

  kx::message exact = getAll(keep->items[5]->id, 20);
  EXPECT_EQ(exact.findMessageArray(kx::kObjects)->size(), 20u);
  EXPECT_FALSE(exact.has(kx::kContinue));

  kx::message bad = getAll(4242, 0);
  EXPECT_TRUE(kx::isError(bad));
  EXPECT_EQ(kx::getErrorCode(bad), 0xfe000bu);
  EXPECT_EQ(kx::getError(bad), "");
}

TEST_F(CommunityKeepTest, SetObjRenamesAndStoresButRefusesAnotherItemsName) {
  const uint32_t id = add("ops").getU32(kx::kObjId);

  kx::message own = item(id, "ops");
  own.setBool(snmp::kWriteAccess, true);
  own.setU32(snmp::kAddress, 0x0A000001);
  EXPECT_FALSE(kx::isError(request(kx::kCmdSetObj, own)));
  EXPECT_TRUE(keep->findById(id)->writeAccess);
  EXPECT_EQ(keep->findById(id)->address, inet_addr("10.0.0.1"));
  kx::message stored;
  ASSERT_TRUE(store().load(id, stored));
  EXPECT_TRUE(stored.getBool(snmp::kWriteAccess));
  EXPECT_EQ(stored.getU32(snmp::kAddress), 0x0A000001u);

  kx::message clash = item(id, "harbor");
  clash.setBool(snmp::kReadAccess, false);
  kx::message refused = request(kx::kCmdSetObj, clash);
  EXPECT_EQ(kx::getErrorCode(refused), 0xfe0006u);
  EXPECT_EQ(kx::getError(refused), "community with such name already exists");
  // Nothing of a refused change is applied.
  EXPECT_EQ(keep->findById(id)->name, "ops");
  ASSERT_TRUE(store().load(id, stored));
  EXPECT_EQ(stored.getString(snmp::kName), "ops");

  EXPECT_EQ(kx::getErrorCode(request(kx::kCmdSetObj, item(999, "x"))), 0xfe0004u);
}

TEST_F(CommunityKeepTest, AddObjChecksTheNameAndHonoursAnExplicitId) {
  // The empty name's text names a script: that is what operators see.
  const std::tuple<kx::message, uint32_t, const char*> refused[] = {
      {request(kx::kCmdAddObj), 0xfe0005u, "missing community name"},
      {add(""), 0xfe0006u, "empty script name"},
      {add("harbor"), 0xfe0006u, "community with such name already exists"}};
  for (const auto& [reply, code, text] : refused) {
    EXPECT_EQ(kx::getErrorCode(reply), code) << text;
    EXPECT_EQ(kx::getError(reply), text);
  }
  EXPECT_EQ(keep->items.size(), 1u);

  kx::message withId = item(1, "one");
  withId.setBool(snmp::kReadAccess, true);
  kx::message reply = request(kx::kCmdAddObj, withId);
  ASSERT_FALSE(kx::isError(reply));
  EXPECT_EQ(reply.getU32(kx::kObjId, kNoStart), 1u);
  EXPECT_TRUE(keep->findById(1)->readAccess);
  EXPECT_TRUE(store().has(1));
  // The explicit id is reserved: the next plain add skips it.
  EXPECT_EQ(add("two").getU32(kx::kObjId, kNoStart), 2u);

  EXPECT_EQ(kx::getErrorCode(request(kx::kCmdAddObj, item(2, "clash"))), 0xfe0006u);
  EXPECT_EQ(keep->findById(2)->name, "two");
  EXPECT_EQ(names(), (std::vector<std::string>{"harbor", "one", "two"}));
}

TEST_F(CommunityKeepTest, RemoveObjForgetsTheItemAndFreesItsId) {
  const uint32_t id = add("gone").getU32(kx::kObjId);
  add("stays");

  const kx::message rm = item(id);
  EXPECT_FALSE(kx::isError(request(kx::kCmdRemoveObj, rm)));
  EXPECT_EQ(names(), (std::vector<std::string>{"harbor", "stays"}));
  EXPECT_FALSE(store().has(id));

  kx::message obj = keep->getObject(id);
  EXPECT_EQ(obj.getU32(kx::kObjId, kNoStart), id);
  EXPECT_EQ(obj.getU32(kx::kObjGone), 1u);
  EXPECT_EQ(kx::getErrorCode(request(kx::kCmdGetObj, rm)), 0xfe0004u);
  EXPECT_EQ(kx::getErrorCode(request(kx::kCmdRemoveObj, rm)), 0xfe0004u);

  EXPECT_EQ(add("again").getU32(kx::kObjId, kNoStart), id);
}

}  // namespace
