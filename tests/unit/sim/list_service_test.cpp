// The list handler: paging, object commands, counting and change reports.
#include "sim/list_service.h"

#include <gtest/gtest.h>

#include <vector>

#include "fake_clock.h"

namespace sim {
namespace {

constexpr uint32_t kName = 0x20000001;

std::vector<ObjectTemplate> objects(std::vector<uint32_t> ids) {
  std::vector<ObjectTemplate> out;
  for (uint32_t id : ids) {
    kx::message m;
    m.setU32(kx::kObjId, id);
    m.setString(kName, "obj" + std::to_string(id));
    out.emplace_back(m);
  }
  return out;
}

kx::message request(uint32_t cmd) {
  kx::message m;
  m.setCommand(cmd);
  m.setDstPath({20, 0});
  return m;
}

std::vector<uint32_t> idsOf(const kx::message& reply) {
  std::vector<uint32_t> ids;
  for (const auto& o : reply.getMessageArray(kx::kObjects)) ids.push_back(o.getU32(kx::kObjId));
  return ids;
}

// Pages through the whole list the way a bus client does.
std::vector<uint32_t> walk(ListService& list, uint32_t pageSize, int* pages) {
  std::vector<uint32_t> all;
  kx::message req = request(kx::kCmdGetAll);
  if (pageSize) req.setU32(kx::kPageSize, pageSize);
  *pages = 0;
  for (;;) {
    kx::message reply = list.serve(kx::kCmdGetAll, req);
    EXPECT_FALSE(kx::isError(reply));
    ++*pages;
    for (uint32_t id : idsOf(reply)) all.push_back(id);
    if (!reply.has(kx::kContinue)) break;
    req.setU32(kx::kContinue, reply.getU32(kx::kContinue));
    if (*pages > 1000) break;
  }
  return all;
}

TEST(ListService, PagesInIdOrderWithTheNextIdAsMark) {
  FakeClock clock;
  ListService list(objects({9, 2, 5, 7, 3}), clock, {2, true});
  kx::message first = list.serve(kx::kCmdGetAll, request(kx::kCmdGetAll));
  EXPECT_EQ(idsOf(first), (std::vector<uint32_t>{2, 3}));
  EXPECT_EQ(first.getU32(kx::kContinue), 5u);
  int pages = 0;
  EXPECT_EQ(walk(list, 0, &pages), (std::vector<uint32_t>{2, 3, 5, 7, 9}));
  EXPECT_EQ(pages, 3);
  // The request's wanted page size wins over the configured one.
  EXPECT_EQ(walk(list, 4, &pages).size(), 5u);
  EXPECT_EQ(pages, 2);
  EXPECT_EQ(walk(list, 5, &pages).size(), 5u);
  EXPECT_EQ(pages, 1);  // an exact fit carries no mark
}

TEST(ListService, PagingSurvivesRemovalOfTheMarkedObject) {
  FakeClock clock;
  ListService list(objects({1, 2, 3, 4}), clock, {2, true});
  kx::message first = list.serve(kx::kCmdGetAll, request(kx::kCmdGetAll));
  ASSERT_EQ(first.getU32(kx::kContinue), 3u);
  kx::message rm = request(kx::kCmdRemoveObj);
  rm.setU32(kx::kObjId, 3);
  EXPECT_FALSE(kx::isError(list.serve(kx::kCmdRemoveObj, rm)));
  kx::message next = request(kx::kCmdGetAll);
  next.setU32(kx::kContinue, 3);
  kx::message second = list.serve(kx::kCmdGetAll, next);
  EXPECT_EQ(idsOf(second), (std::vector<uint32_t>{4}));
  EXPECT_FALSE(second.has(kx::kContinue));
}

TEST(ListService, LargePagesStayBelowTheByteLimit) {
  FakeClock clock;
  std::vector<ObjectTemplate> big;
  for (uint32_t id = 1; id <= 40; ++id) {
    kx::message m;
    m.setU32(kx::kObjId, id);
    m.setString(kName, std::string(64 * 1024, 'x'));
    big.emplace_back(m);
  }
  ListService list(std::move(big), clock, {kMaxPage, true});
  kx::message reply = list.serve(kx::kCmdGetAll, request(kx::kCmdGetAll));
  EXPECT_LT(reply.encode().size(), kx::kMaxMessageSize);
  EXPECT_TRUE(reply.has(kx::kContinue));
  int pages = 0;
  EXPECT_EQ(walk(list, 0, &pages).size(), 40u);
}

TEST(ListService, ObjectCommands) {
  FakeClock clock;
  std::vector<uint32_t> changes;
  ListService list(objects({1, 3}), clock, {});
  list.onChange([&](uint32_t id, const kx::message&) { changes.push_back(id); });

  kx::message get = request(kx::kCmdGetObj);
  EXPECT_EQ(kx::getErrorCode(list.serve(kx::kCmdGetObj, get)), kx::kErrMissing);
  get.setU32(kx::kObjId, 2);
  EXPECT_EQ(kx::getErrorCode(list.serve(kx::kCmdGetObj, get)), kx::kErrNotFound);
  get.setU32(kx::kObjId, 3);
  EXPECT_EQ(list.serve(kx::kCmdGetObj, get).getString(kName), "obj3");

  kx::message set = request(kx::kCmdSetObj);
  set.setU32(kx::kObjId, 3);
  set.setString(kName, "renamed");
  set.setU32(0x08000009, 9);
  EXPECT_TRUE(list.serve(kx::kCmdSetObj, set).empty());
  kx::message now = list.serve(kx::kCmdGetObj, get);
  EXPECT_EQ(now.getString(kName), "renamed");
  EXPECT_EQ(now.getU32(0x08000009), 9u);
  EXPECT_FALSE(now.has(kx::kCommand));  // bus fields are not object fields
  EXPECT_FALSE(now.has(kx::kDstPath));

  kx::message add = request(kx::kCmdAddObj);
  add.setString(kName, "new");
  EXPECT_EQ(list.serve(kx::kCmdAddObj, add).getU32(kx::kObjId), 2u);  // lowest free
  add.setU32(kx::kObjId, 3);
  EXPECT_EQ(kx::getErrorCode(list.serve(kx::kCmdAddObj, add)), kx::kErrRefused);
  add.setU32(kx::kObjId, 50);
  EXPECT_EQ(list.serve(kx::kCmdAddObj, add).getU32(kx::kObjId), 50u);

  kx::message rm = request(kx::kCmdRemoveObj);
  rm.setU32(kx::kObjId, 1);
  EXPECT_TRUE(list.serve(kx::kCmdRemoveObj, rm).empty());
  EXPECT_EQ(kx::getErrorCode(list.serve(kx::kCmdRemoveObj, rm)), kx::kErrNotFound);
  EXPECT_EQ(list.object(1), goneMarker(1));
  EXPECT_EQ(list.serve(kx::kCmdAddObj, request(kx::kCmdAddObj)).getU32(kx::kObjId), 1u);

  EXPECT_EQ(changes, (std::vector<uint32_t>{3, 2, 50, 1, 1}));
  EXPECT_EQ(list.serve(kx::kCmdCount, request(kx::kCmdCount)).getU32(kx::kCount), 4u);
}

TEST(ListService, CountCanBeTurnedOffAndObjectsWithoutIdGetOne) {
  FakeClock clock;
  std::vector<ObjectTemplate> objs = objects({2});
  objs.emplace_back(kx::message());
  objs.emplace_back(kx::message());
  ListService list(std::move(objs), clock, {100, false});
  EXPECT_EQ(kx::getErrorCode(list.serve(kx::kCmdCount, request(kx::kCmdCount))),
            kx::kErrUnknownCmd);
  int pages = 0;
  EXPECT_EQ(walk(list, 0, &pages), (std::vector<uint32_t>{1, 2, 3}));
  // Commands a list has no behaviour for are answered empty.
  EXPECT_TRUE(list.serve(5, request(5)).empty());
  EXPECT_TRUE(list.serve(kx::kCmdGet, request(kx::kCmdGet)).empty());
}

}  // namespace
}  // namespace sim
