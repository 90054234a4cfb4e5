// Link-state priming and the "interfaces" subscriber over a real bus.
// (The trap rules show in what snmptrapd decodes in the integration test.)
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/unit/data/agent_bus.h"
#include "traps/link_traps.h"
#include "traps/trap_sources.h"

namespace {

// The interface service: command 1 lists the objects page by page.
class Interfaces : public ListService {
 public:
  kx::message cmdUnknown(const kx::message& msg, uint32_t code) override {
    if (code != 1) return ListService::cmdUnknown(msg, code);
    return cmdGetAll(msg, msg.getU32(kx::kContinue, 0xffffffff), 0);
  }
};

class LinkBusTest : public AgentBusTest {
 protected:
  void SetUp() override {
    AgentBusTest::SetUp();
    serve(20, service);
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
  testing::internal::CaptureStderr();
  EXPECT_FALSE(subscribeToEvents({21, 0}, kLinkEventKind, kx::message()));
  EXPECT_NE(testing::internal::GetCapturedStderr().find(
                "\nno events 0x10004 from [21,0]: the service did not take the subscription\n"),
            std::string::npos);
}

}  // namespace
