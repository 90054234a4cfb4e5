#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "fake_bus.h"
#include "tools/session.h"

namespace kxctl {
namespace {

// A list of `rows` objects with ids first..first+rows-1, served `page` at a
// time; the continuation mark is the id of the next object.
std::function<kx::message(const kx::message&)> listService(uint32_t first, uint32_t rows,
                                                           uint32_t page) {
  return [=](const kx::message& req) {
    if (req.command() != kx::kCmdGetAll) return kx::errorMsg(kx::kErrUnknownCmd, "");
    uint32_t start = req.getU32(kx::kContinue, first);
    if (start < first || start >= first + rows) return kx::errorMsg(kx::kErrBadStart, "");
    uint32_t size = req.getU32(kx::kPageSize, page);
    kx::message reply;
    std::vector<kx::message>& objs = reply.messageArray(kx::kObjects);
    uint32_t id = start;
    for (; id < first + rows && objs.size() < size; ++id) {
      kx::message o;
      o.setU32(kx::kObjId, id);
      objs.push_back(o);
    }
    if (id < first + rows) reply.setU32(kx::kContinue, id);
    return reply;
  };
}

TEST(GetAll, FollowsContinuationMarksToTheEndAndPrintsOneArray) {
  FakeBus bus;
  bus.serve = listService(100, 45, 20);
  Outcome r = runKxctl(bus, {"getall", "20,0"});
  ASSERT_EQ(r.status, kExitOk) << r.err;
  ASSERT_EQ(bus.sent.size(), 3u);
  EXPECT_FALSE(bus.sent[0].has(kx::kContinue)) << "the first page starts at the beginning";
  EXPECT_EQ(bus.sent[1].getU32(kx::kContinue), 120u);
  EXPECT_EQ(bus.sent[2].getU32(kx::kContinue), 140u);
  EXPECT_FALSE(bus.sent[0].has(kx::kPageSize));
  nlohmann::json list = nlohmann::json::parse(r.out);
  ASSERT_TRUE(list.is_array());
  ASSERT_EQ(list.size(), 45u);
  for (size_t i = 0; i < list.size(); ++i) EXPECT_EQ(list[i]["0x08fe0001"], 100 + i);
  EXPECT_EQ(r.out.find('\n'), r.out.size() - 1);
}

TEST(GetAll, ARefusedPagePrintsTheErrorAndNoPartialList) {
  FakeBus bus;
  auto list = listService(0, 50, 20);
  bus.serve = [&](const kx::message& req) {
    if (req.getU32(kx::kContinue) == 40) return kx::errorMsg(kx::kErrTimeout, "no reply");
    return list(req);
  };
  Outcome r = runKxctl(bus, {"getall", "20,0"});
  EXPECT_EQ(r.status, kExitError);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, "error 0xff0102: no reply\n");
}

TEST(GetAll, AServiceThatRepeatsAMarkIsStoppedNotFollowedForever) {
  FakeBus bus;
  bus.serve = [](const kx::message& req) {
    kx::message reply;
    kx::message o;
    o.setU32(kx::kObjId, 1);
    reply.messageArray(kx::kObjects).push_back(o);
    // Alternates 5, 6, 5: the third page would start the cycle again.
    reply.setU32(kx::kContinue, req.getU32(kx::kContinue) == 5 ? 6 : 5);
    return reply;
  };
  Outcome r = runKxctl(bus, {"getall", "20,0"});
  EXPECT_EQ(r.status, kExitError);
  EXPECT_EQ(bus.sent.size(), 3u);
  EXPECT_NE(r.err.find("repeats continuation mark 5"), std::string::npos) << r.err;
}

}  // namespace
}  // namespace kxctl
