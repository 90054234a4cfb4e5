// The trap makers' rules, the link-state priming and the "interfaces"
// subscriber over a real bus.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/unit/agent/agent_test_util.h"
#include "tests/unit/data/bus_fixture.h"
#include "traps/enterprise_trap.h"
#include "traps/link_traps.h"
#include "traps/trap_subscribers.h"

namespace {

// "name=type:value" per binding, joined by spaces.
std::string bindingsText(const std::vector<VariableBinding>& bindings) {
  std::string text;
  for (const VariableBinding& b : bindings) {
    if (!text.empty()) text += ' ';
    text += b.name.str().substr(1) + "=" + std::to_string(b.type) + ":" + b.value;
  }
  return text;
}

TEST(LinkTrapMaker, TrapsOnlyWhenTheUpOrRunningBitChanges) {
  linkStates = {{1, 0x500 & 0x10103}};  // as primed: the masks differ
  const std::vector<uint32_t> links = {20, 0};
  const struct {
    const char* what;
    std::vector<uint32_t> from;
    uint32_t id;
    int64_t state;     // -1: no state field
    const char* trap;  // "" for none, else trap OID, generic and bindings
  } events[] = {
      {"first event after priming", links, 1, 0x500,
       "1.3.6.1.6.3.1.1.5.4 3 1.3.6.1.2.1.2.2.1.1=2:1 1.3.6.1.2.1.2.2.1.7=2:1 "
       "1.3.6.1.2.1.2.2.1.8=2:1"},
      {"the same again", links, 1, 0x500, ""},
      {"other bits only", links, 1, 0x10503, ""},
      {"running bit alone", links, 1, 0x100,
       "1.3.6.1.6.3.1.1.5.4 3 1.3.6.1.2.1.2.2.1.1=2:1 1.3.6.1.2.1.2.2.1.7=2:1 "
       "1.3.6.1.2.1.2.2.1.8=2:2"},
      {"down", links, 1, 0x400,
       "1.3.6.1.6.3.1.1.5.3 2 1.3.6.1.2.1.2.2.1.1=2:1 1.3.6.1.2.1.2.2.1.7=2:2 "
       "1.3.6.1.2.1.2.2.1.8=2:1"},
      {"unseen interface", links, 9, 0,
       "1.3.6.1.6.3.1.1.5.3 2 1.3.6.1.2.1.2.2.1.1=2:9 1.3.6.1.2.1.2.2.1.7=2:2 "
       "1.3.6.1.2.1.2.2.1.8=2:2"},
      {"another handler", {20, 1}, 1, 0, ""},
      {"a longer path", {20, 0, 1}, 1, 0, ""},
      {"no sender", {}, 1, 0, ""},
      {"no state", links, 1, -1, ""},
  };
  for (const auto& e : events) {
    SCOPED_TRACE(e.what);
    kx::message event;
    if (!e.from.empty()) event.setU32Array(kx::kSrcPath, e.from);
    event.setU32(kx::kObjId, e.id);
    if (e.state >= 0) event.setU32(kLinkState, static_cast<uint32_t>(e.state));
    std::vector<VariableBinding> bindings;
    OID oid;
    int generic = -1, specific = -1;
    const int handled = linkTrapMaker(bindings, event, oid, generic, specific);
    EXPECT_EQ(handled, *e.trap ? 1 : 0);
    if (handled) {
      EXPECT_EQ(oid.str().substr(1) + " " + std::to_string(generic) + " " + bindingsText(bindings),
                e.trap);
      EXPECT_EQ(specific, 0);
    }
  }
  EXPECT_EQ(linkStates, (std::map<uint32_t, uint32_t>{{1, 0x400}, {9, 0}}));
}

TEST(TalvorTrapMaker, OneBindingFromOidTypeAndText) {
  const struct {
    int64_t command;  // -1: none
    const char* oid;  // null: absent
    int64_t type;
    const char* value;
    int handled;
    const char* bindings;
  } cases[] = {
      {1, "1.3.6.1.2.1.1.5.0", 4, "a", 1, "1.3.6.1.2.1.1.5.0=4:a"},
      {1, "1.3.6.1.2.1.1.5.0", 0x40, "192.0.2.1", 1, "1.3.6.1.2.1.1.5.0=64:192.0.2.1"},
      {1, "1.3.6.1.2.1.1.5.0", 5, nullptr, 1, "1.3.6.1.2.1.1.5.0=5:"},
      {1, "1.3.6.1.2.1.1.5.0", 2, nullptr, 1, ""},  // no text: only NULL
      {1, "1.3.6.1.2.1.1.5.0", -1, "a", 1, ""},     // no type
      {1, nullptr, 4, "a", 1, ""},                  // no OID
      {1, nullptr, -1, nullptr, 1, ""},
      {0x10004, "1.3.6.1.2.1.1.5.0", 4, "a", 0, ""},
      {-1, "1.3.6.1.2.1.1.5.0", 4, "a", 0, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.command) + " " + std::to_string(c.type));
    kx::message event;
    if (c.command >= 0) event.setCommand(static_cast<uint32_t>(c.command));
    if (c.oid) event.setString(kEnterpriseTrapOid, c.oid);
    if (c.type >= 0) event.setU32(kEnterpriseTrapType, static_cast<uint32_t>(c.type));
    if (c.value) event.setString(kEnterpriseTrapValue, c.value);
    std::vector<VariableBinding> bindings;
    OID oid;
    int generic = -1, specific = -1;
    ASSERT_EQ(talvorTrapMaker(bindings, event, oid, generic, specific), c.handled);
    EXPECT_EQ(bindingsText(bindings), c.bindings);
    if (c.handled) {
      EXPECT_EQ(oid, OID("1.3.6.1.4.1.32473.1.1.9"));
      EXPECT_EQ(generic * 10 + specific, 61);
    }
  }
}

// The interface service: command 1 lists the objects page by page.
class Interfaces : public ListService {
 public:
  kx::message cmdUnknown(const kx::message& msg, uint32_t code) override {
    if (code != 1) return ListService::cmdUnknown(msg, code);
    return cmdGetAll(msg, msg.getU32(kx::kContinue, 0xffffffff), 0);
  }
};

class LinkBusTest : public BusTest {
 protected:
  void SetUp() override {
    BusTest::SetUp();
    ASSERT_TRUE(looper_->listen(20));
    looper_->addHandler(20, 0, &service);
    linkStates.clear();
    trapMakers.clear();
  }
  static kx::message object(uint32_t id, int64_t flags, uint32_t state) {
    kx::message o;
    o.setU32(kx::kObjId, id);
    if (flags >= 0) o.setU32(kLinkFlags, static_cast<uint32_t>(flags));
    o.setU32(kLinkState, state);
    return o;
  }
  Interfaces service;
};

TEST_F(LinkBusTest, PrimingReadsEveryPageAndSkipsUnwatchedInterfaces) {
  service.pageSize = 2;
  service.objects = {object(1, 0, 0x10503), object(2, 0x80, 0x500), object(3, -1, 0x500),
                     object(4, 0x7f, 0xffffffff), object(5, 0, 0)};
  linkStates[5] = 0x400;  // already known: kept
  primeLinkStates();
  EXPECT_EQ(service.starts.size(), 3u);
  EXPECT_EQ(linkStates, (std::map<uint32_t, uint32_t>{{1, 0x10103}, {4, 0x10103}, {5, 0x400}}));

  service.failPage = 1;
  linkStates.clear();
  primeLinkStates();
  EXPECT_TRUE(linkStates.empty());
}

TEST_F(LinkBusTest, InterfacesSubscriberAddsItsMakerAndSubscription) {
  interfacesSubscribe();
  EXPECT_EQ(trapMakers, std::vector<TrapMaker>{linkTrapMaker});
  EXPECT_EQ(service.subscriberCount(), 1u);
  interfacesUnsubscribe();
  interfacesUnsubscribe();  // also when not subscribed
  EXPECT_TRUE(trapMakers.empty());
  EXPECT_EQ(service.subscriberCount(), 0u);

  // A service that is not there: the maker stands, and one line says why
  // no events will come.
  agent_test::StreamCapture err(2);
  EXPECT_FALSE(subscribeToEvents({21, 0}, kLinkEventKind, kx::message()));
  EXPECT_NE(err.text().find(
                "\nno events 0x10004 from [21,0]: the service did not take the subscription\n"),
            std::string::npos);
}

}  // namespace
