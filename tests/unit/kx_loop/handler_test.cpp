// Handler dispatch, default slots, subscription bookkeeping, and delivery
// inside one process (no sockets).
#include "kx/handler.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kx/looper.h"
#include "kx/transport.h"
#include "tests/unit/kx_loop/echo_service.h"

namespace kxtest {
namespace {

// Records which slot a request reached, with its arguments.
class SlotRecorder : public kx::Handler {
 public:
  std::string slot;
  uint32_t a = 0, b = 0;
  kx::message mark(const std::string& s, uint32_t x = 0, uint32_t y = 0) {
    slot = s;
    a = x;
    b = y;
    return kx::message();
  }
  kx::message cmdGetObj(const kx::message&, uint32_t id) override { return mark("getobj", id); }
  kx::message cmdSetObj(const kx::message&, uint32_t id) override { return mark("setobj", id); }
  kx::message cmdGetAll(const kx::message&, uint32_t start, uint32_t count) override {
    return mark("getall", start, count);
  }
  kx::message cmdRemoveObj(const kx::message&, uint32_t id) override { return mark("remove", id); }
  kx::message cmdUnknown(const kx::message&, uint32_t code) override {
    return mark("unknown", code);
  }
};

kx::message cmd(uint32_t c) {
  kx::message m;
  m.setCommand(c);
  return m;
}

TEST(Handler, DispatchesEachCommandToItsSlotWithItsArguments) {
  SlotRecorder h;
  kx::message page = cmd(kx::kCmdGetAll);
  page.setU32(kx::kContinue, 12);
  page.setU32(kx::kPageSize, 5);
  auto withId = [](uint32_t c) {
    kx::message m = cmd(c);
    m.setU32(kx::kObjId, 77);
    return m;
  };
  struct Case {
    kx::message request;
    std::string slot;
    uint32_t a, b;
  };
  const std::vector<Case> cases = {
      {withId(kx::kCmdGetObj), "getobj", 77, 0},
      {withId(kx::kCmdSetObj), "setobj", 77, 0},
      {withId(kx::kCmdRemoveObj), "remove", 77, 0},
      {cmd(kx::kCmdGetAll), "getall", 0xffffffff, 0},  // no continuation mark: from the start
      {page, "getall", 12, 5},
      {cmd(0x10004), "unknown", 0x10004, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.request.dump());
    h.handle(c.request);
    EXPECT_EQ(h.slot, c.slot);
    EXPECT_EQ(h.a, c.a);
    EXPECT_EQ(h.b, c.b);
  }
}

// A list of ids paged two at a time, for the default count.
class PagedList : public kx::Handler {
 public:
  uint32_t size = 5;
  bool fail = false;
  kx::message cmdGetAll(const kx::message&, uint32_t start, uint32_t) override {
    if (fail) return kx::errorMsg(kx::kErrRefused, "broken");
    uint32_t first = start == 0xffffffff ? 0 : start;
    kx::message r;
    for (uint32_t id = first; id < size && id < first + 2; ++id) {
      kx::message o;
      o.setU32(kx::kObjId, id);
      r.messageArray(kx::kObjects).push_back(o);
    }
    if (first + 2 < size) r.setU32(kx::kContinue, first + 2);
    return r;
  }
  kx::message getObject(uint32_t id) override {
    if (id >= size) return kx::Handler::getObject(id);
    kx::message o;
    o.setU32(kx::kObjId, id);
    return o;
  }
};

TEST(Handler, DefaultSlotsAnswerUsefullyOrWithUnknownCommand) {
  kx::Handler plain;
  EXPECT_EQ(kx::getErrorCode(plain.handle(cmd(kx::kCmdGet))), kx::kErrUnknownCmd);
  EXPECT_EQ(kx::getError(plain.handle(cmd(0x1234))), "unknown command");
  EXPECT_EQ(kx::getErrorCode(plain.handle(cmd(kx::kCmdGetObj))), kx::kErrNotFound);

  PagedList list;
  kx::message get = cmd(kx::kCmdGetObj);
  get.setU32(kx::kObjId, 3);
  EXPECT_EQ(list.handle(get).getU32(kx::kObjId), 3u);
  get.setU32(kx::kObjId, 9);
  EXPECT_EQ(kx::getErrorCode(list.handle(get)), kx::kErrNotFound);
  EXPECT_EQ(list.handle(cmd(kx::kCmdCount)).getU32(kx::kCount), 5u);  // three pages
  list.size = 0;
  EXPECT_EQ(list.handle(cmd(kx::kCmdCount)).getU32(kx::kCount), 0u);
  list.fail = true;
  EXPECT_EQ(kx::getErrorCode(list.handle(cmd(kx::kCmdCount))), kx::kErrRefused);
}

kx::message subscription(uint32_t command, std::vector<uint32_t> who, uint32_t kind) {
  kx::message m = cmd(command);
  if (!who.empty()) m.setU32Array(kx::kSrcPath, who);
  m.setU32(kx::kSubKind, kind);
  return m;
}

TEST(Handler, KeepsSubscriptionsPerConnectionPathAndKind) {
  kx::Handler h;
  EXPECT_TRUE(h.handle(subscription(kx::kCmdSubscribe, {34, 0}, 0x10004), 5).empty());
  h.handle(subscription(kx::kCmdSubscribe, {34, 0}, 0x10004), 5);  // repeated: kept once
  h.handle(subscription(kx::kCmdSubscribe, {34, 0}, 0x10005), 5);
  h.handle(subscription(kx::kCmdSubscribe, {35, 0}, 0x10004), 6);
  EXPECT_EQ(h.subscriberCount(), 3u);
  EXPECT_TRUE(kx::isError(h.handle(subscription(kx::kCmdSubscribe, {}, 0x10004), 5)));
  EXPECT_EQ(h.subscriberCount(), 3u);
  h.handle(subscription(kx::kCmdUnsubscribe, {34, 0}, 0x10005), 5);
  EXPECT_EQ(h.subscriberCount(), 2u);
  h.dropSubscriber(5);
  EXPECT_EQ(h.subscriberCount(), 1u);
  h.dropSubscriber(-1);  // in-process subscriptions have no connection to lose
  EXPECT_EQ(h.subscriberCount(), 1u);
}

class Recorder : public kx::Handler {
 public:
  std::vector<kx::message> seen;
  kx::message cmdUnknown(const kx::message& msg, uint32_t) override {
    seen.push_back(msg);
    return kx::message();
  }
};

TEST_F(BusTest, InProcessDeliveryNeedsNoSocketAndQueuesOneWayMessages) {
  kx::Looper l(120);
  EchoHandler pub;
  Recorder sub, history;
  l.addHandler(1, &pub);
  l.addHandler(2, &sub);

  kx::message req = request({120, 1}, 0x61);
  kx::message reply = l.exchangeMessage(req, 100);
  EXPECT_EQ(reply.getU32(kEchoCode), 0x61u);
  EXPECT_EQ(reply.getU32Array(kEchoSender), (std::vector<uint32_t>{120, 0}));
  kx::message missing = request({120, 3}, 0x61);
  testing::internal::CaptureStderr();
  EXPECT_EQ(kx::getErrorCode(l.exchangeMessage(missing, 100)), kx::kErrNoHandler);
  EXPECT_EQ(kxLines(testing::internal::GetCapturedStderr()), 1);

  kx::message filter;
  filter.setU32(kx::kFilterValue, 0);
  filter.setU32(kx::kFilterMask, 128);
  ASSERT_TRUE(sub.subscribe({120, 1}, 0x10004, filter));
  EXPECT_EQ(pub.subscriberCount(), 1u);
  pub.notifyChange(2, kx::message());  // state bit set: filtered out
  pub.notifyChange(1, kx::message());
  EXPECT_TRUE(sub.seen.empty());  // one-way: dispatched by the loop, not inline
  l.runOnce(0);
  ASSERT_EQ(sub.seen.size(), 1u);
  EXPECT_EQ(sub.seen[0].getU32(kx::kObjId), 1u);
  EXPECT_EQ(sub.seen[0].getU32Array(kx::kSrcPath), (std::vector<uint32_t>{120, 1}));

  // Undo notices: dropped without a word while no history runs ...
  testing::internal::CaptureStderr();
  pub.sendUndo(req, cmd(kx::kCmdSet), "changed snmp settings");
  l.runOnce(0);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  // ... and delivered once one does.
  ASSERT_TRUE(l.listen(2));
  l.addHandler(2, 0, &history);
  pub.sendUndo(req, cmd(kx::kCmdSet), "changed snmp settings");
  pub.sendCmd(request({120, 2}, 0), 3);
  l.runOnce(0);
  ASSERT_EQ(history.seen.size(), 1u);
  EXPECT_EQ(history.seen[0].command(), kx::kCmdUndo);
  EXPECT_EQ(history.seen[0].getMessage(kx::kUndoMessage).command(), kx::kCmdSet);
  EXPECT_EQ(history.seen[0].getString(kx::kUndoText), "changed snmp settings");
  ASSERT_EQ(sub.seen.size(), 2u);
  EXPECT_EQ(sub.seen[1].command(), 3u);
}

TEST_F(BusTest, ADestroyedHandlerIsNoLongerDispatchedTo) {
  kx::Looper l(34);
  {
    Recorder gone;
    l.addHandler(5, &gone);
    EXPECT_EQ(l.findHandler(34, 5), &gone);
  }
  EXPECT_EQ(l.findHandler(34, 5), nullptr);
  kx::message req = request({34, 5}, 0x1);
  testing::internal::CaptureStderr();
  EXPECT_EQ(kx::getErrorCode(l.exchangeMessage(req, 100)), kx::kErrNoHandler);
  testing::internal::GetCapturedStderr();
}

}  // namespace
}  // namespace kxtest
