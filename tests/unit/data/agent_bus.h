// The bus fixture as the data layer and the modules above it use it: the
// agent's looper (service 34), test services served in-process on other
// service ids it listens for, and one controlled clock for ticks and timers.
#ifndef TESTS_UNIT_DATA_AGENT_BUS_H_
#define TESTS_UNIT_DATA_AGENT_BUS_H_

#include <memory>
#include <string>
#include <vector>

#include "data/providers.h"
#include "kx/handler.h"
#include "kx/looper.h"
#include "tests/unit/support/bus_fixture.h"

// A list (paged get all, set object, count) plus a settings record.
class ListService : public kx::Handler {
 public:
  // Marks are first-object positions offset by this, never page numbers.
  static constexpr uint32_t kMarkBase = 1000;
  std::vector<kx::message> objects;
  unsigned pageSize = 100, failPage = 0;  // failPage: 1-based, 0 = never
  bool answerCount = true, refuseSet = false;
  kx::message record;
  std::string getError;  // non-empty: get record fails with this text
  unsigned getCalls = 0;
  std::vector<uint32_t> starts, args;  // mark and argument of each get all
  std::vector<kx::message> sets;

  kx::message cmdGetAll(const kx::message& msg, uint32_t start, uint32_t) override {
    starts.push_back(start);
    args.push_back(msg.getU32(kx::kGetAllArg));
    size_t first = start == 0xffffffff ? 0 : start - kMarkBase;
    if (failPage != 0 && first / pageSize + 1 == failPage)
      return kx::errorMsg(kx::kErrRefused, "page refused");
    kx::message reply;
    std::vector<kx::message>& page = reply.messageArray(kx::kObjects);
    for (size_t i = first; i < objects.size() && i < first + pageSize; ++i)
      page.push_back(objects[i]);
    if (first + pageSize < objects.size())
      reply.setU32(kx::kContinue, static_cast<uint32_t>(first + pageSize + kMarkBase));
    return reply;
  }
  kx::message cmdSetObj(const kx::message& msg, uint32_t) override { return cmdSet(msg); }
  kx::message cmdSet(const kx::message& msg) override {
    sets.push_back(msg);
    return refuseSet ? kx::errorMsg(kx::kErrRefused, "value refused") : kx::message();
  }
  kx::message cmdGetCount(const kx::message&) override {
    kx::message reply;
    if (answerCount) reply.setU32(kx::kCount, static_cast<uint32_t>(objects.size()));
    return reply;
  }
  kx::message cmdGet(const kx::message&) override {
    ++getCalls;
    return getError.empty() ? record : kx::errorMsg(kx::kErrRefused, getError);
  }
};

inline uint32_t g_testTicks = 0;
inline uint32_t testTicks() { return g_testTicks; }

class AgentBusTest : public test_support::BusTest {
 protected:
  void SetUp() override {
    test_support::BusTest::SetUp();
    looper_ = std::make_unique<kx::Looper>(34);
    looper_->setClock([this] { return nowMs_; });
    g_testTicks = 5000;
    setTickSource(testTicks);
  }
  void TearDown() override {
    setTickSource(nullptr);
    looper_.reset();
    services_.clear();
    test_support::BusTest::TearDown();
  }
  // A service at path [id]; the fixture owns it.
  ListService& serve(uint32_t id) {
    services_.push_back(std::make_unique<ListService>());
    serve(id, *services_.back());
    return *services_.back();
  }
  // The test's own service at path [id].
  void serve(uint32_t id, kx::Handler& service) {
    EXPECT_TRUE(looper_->listen(id));
    looper_->addHandler(id, 0, &service);
  }
  // Moves both clocks on and fires the timers that fell due.
  void advance(uint32_t ticks) {
    g_testTicks += ticks;
    nowMs_ += tickToMs(ticks);
    looper_->runOnce(0);
  }
  // A list object: id, and u32 0x10001 = value.
  static kx::message listObject(uint32_t id, uint32_t value) {
    kx::message m;
    m.setU32(kx::kObjId, id);
    m.setU32(kx::u32_id(0x10001), value);
    return m;
  }

  uint64_t nowMs_ = 1000;
  std::unique_ptr<kx::Looper> looper_;
  std::vector<std::unique_ptr<ListService>> services_;
};

#endif  // TESTS_UNIT_DATA_AGENT_BUS_H_
