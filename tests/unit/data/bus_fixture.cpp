#include "bus_fixture.h"

#include <stdlib.h>

#include <filesystem>

#include "data/bus.h"
#include "data/tick_clock.h"
#include "kx/paths.h"

uint32_t g_testTicks = 0;

namespace {
uint32_t testTicks() { return g_testTicks; }
}  // namespace

kx::message ListService::cmdGetAll(const kx::message& msg, uint32_t start, uint32_t) {
  ++getAllCalls;
  startsSeen.push_back(start);
  getAllArgsSeen.push_back(msg.getU32(kx::kGetAllArg, 0));
  // The continuation mark is the position of the page's first object, plus
  // 1000 so that a mark is never mistaken for a page number.
  size_t first = start == 0xffffffff ? 0 : start - 1000;
  unsigned page = first / pageSize + 1;
  if (failPage != 0 && page == failPage) return kx::errorMsg(kx::kErrRefused, "page refused");
  kx::message reply;
  std::vector<kx::message> pageObjects;
  for (size_t i = first; i < objects.size() && i < first + pageSize; ++i)
    pageObjects.push_back(objects[i]);
  reply.setMessageArray(kx::kObjects, pageObjects);
  if (first + pageSize < objects.size())
    reply.setU32(kx::kContinue, static_cast<uint32_t>(first + pageSize + 1000));
  return reply;
}

kx::message ListService::cmdSetObj(const kx::message& msg, uint32_t) {
  setsSeen.push_back(msg);
  if (refuseSet) return kx::errorMsg(kx::kErrRefused, "value refused");
  return kx::message();
}

kx::message ListService::cmdGetCount(const kx::message&) {
  ++countCalls;
  kx::message reply;
  if (answerCount) reply.setU32(kx::kCount, static_cast<uint32_t>(objects.size()));
  return reply;
}

kx::message ListService::cmdGet(const kx::message&) {
  ++getCalls;
  if (!getError.empty()) return kx::errorMsg(kx::kErrRefused, getError);
  return record;
}

kx::message ListService::cmdSet(const kx::message& msg) {
  setsSeen.push_back(msg);
  if (refuseSet) return kx::errorMsg(kx::kErrRefused, "value refused");
  record.merge(msg);
  return kx::message();
}

kx::message listObject(uint32_t id, uint32_t value) {
  kx::message m;
  m.setU32(kx::kObjId, id);
  m.setU32(kx::u32_id(0x10001), value);
  return m;
}

void BusTest::SetUp() {
  char dir[] = "/tmp/data_test_XXXXXX";
  ASSERT_NE(mkdtemp(dir), nullptr);
  root_ = dir;
  kx::setRoot(root_);
  ASSERT_TRUE(kx::makeDirs(kx::rootPath(kx::kBusDir)));
  looper_ = std::make_unique<kx::Looper>(34);
  looper_->setClock([this] { return nowMs_; });
  setBusLooper(looper_.get());
  g_testTicks = 5000;
  setTickSource(testTicks);
}

void BusTest::TearDown() {
  setBusLooper(nullptr);
  setTickSource(nullptr);
  looper_.reset();
  services_.clear();
  std::error_code ignored;
  std::filesystem::remove_all(root_, ignored);
}

ListService& BusTest::serve(uint32_t id) {
  services_.push_back(std::make_unique<ListService>());
  EXPECT_TRUE(looper_->listen(id));
  looper_->addHandler(id, 0, services_.back().get());
  return *services_.back();
}

void BusTest::advance(uint32_t ticks) {
  g_testTicks += ticks;
  nowMs_ += tickToMs(ticks);
  looper_->runOnce(0);
}
