// Real datagrams through the service socket: a request in, a reply out.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "agent/snmp_looper.h"
#include "asn1/in_stream.h"
#include "asn1/oid.h"
#include "asn1/out_stream.h"
#include "agent_test_util.h"
#include "kx/store.h"

namespace {

using agent_test::TempRoot;
using Bytes = std::vector<uint8_t>;

// A v2c GetRequest for sysDescr.0.
Bytes v2cGet(const std::string& community, int requestId) {
  OutStream out;
  out.startSeq(0x30);
  out.add(1, 0x02);
  out.add(community, 0x04);
  out.startSeq(0xA0);
  out.add(requestId, 0x02);
  out.add(0, 0x02);
  out.add(0, 0x02);
  out.startSeq(0x30);
  out.startSeq(0x30);
  out.addOID(OID("1.3.6.1.2.1.1.1.0"), 0x06);
  out.addNull(0x05);
  out.endSeq();
  out.endSeq();
  out.endSeq();
  out.endSeq();
  return out.bytes();
}

class UdpServiceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    kx::message seed;
    seed.setBool(snmp::kEnabled, true);
    kx::Store(snmp::kSettingsStore, 5).save(snmp::kSettingsObject, seed);
    loop = std::make_unique<SnmpLooper>();
    loop->servicePort = agent_test::freePort();
    loop->init();
    ASSERT_TRUE(loop->enabled);

    client = ::socket(AF_INET, SOCK_DGRAM, 0);
    timeval tv{0, 300 * 1000};
    ::setsockopt(client, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
  }
  void TearDown() override {
    ::close(client);
    loop.reset();
  }

  // Sends req to address:servicePort, lets the looper run, and returns the
  // reply with the address it came from (empty when none came).
  Bytes exchange(const Bytes& req, const char* address, sockaddr_in* from) {
    sockaddr_in to = agent_test::ipv4(address, loop->servicePort);
    ::sendto(client, req.data(), req.size(), 0, reinterpret_cast<sockaddr*>(&to), sizeof to);
    for (int i = 0; i < 10 && loop->runOnce(100) == 0; ++i) {
    }
    Bytes buf(2048);
    socklen_t len = sizeof *from;
    const ssize_t got =
        ::recvfrom(client, buf.data(), buf.size(), 0, reinterpret_cast<sockaddr*>(from), &len);
    buf.resize(got > 0 ? static_cast<size_t>(got) : 0);
    return buf;
  }

  TempRoot root;
  std::unique_ptr<SnmpLooper> loop;
  int client = -1;
};

// The reply leaves from the address the request arrived on, whichever
// local address that was.
TEST_F(UdpServiceTest, GetIsAnsweredFromTheAddressItWasSentTo) {
  for (const char* address : {"127.0.0.1", "127.0.0.2"}) {
    SCOPED_TRACE(address);
    sockaddr_in from;
    const Bytes reply = exchange(v2cGet("harbor", 0x2a), address, &from);
    ASSERT_FALSE(reply.empty()) << "no reply";
    EXPECT_EQ(from.sin_addr.s_addr, inet_addr(address));
    EXPECT_EQ(ntohs(from.sin_port), loop->servicePort);

    InStream in(reply.data(), static_cast<unsigned>(reply.size()));
    EXPECT_EQ(in.getVersion(), 1);
    std::string community;
    ASSERT_TRUE(in.getString(&community));
    EXPECT_EQ(community, "harbor");
    EXPECT_EQ(in.getType(), 0xA2);
    ASSERT_GE(in.enterSeq(), 0);
    int requestId = 0;
    ASSERT_TRUE(in.getInt(&requestId));
    EXPECT_EQ(requestId, 0x2a);
  }
}

TEST_F(UdpServiceTest, RefusedAndMalformedRequestsGetNoReplyAndServiceGoesOn) {
  sockaddr_in from;
  EXPECT_TRUE(exchange(v2cGet("intruder", 1), "127.0.0.1", &from).empty());
  EXPECT_TRUE(exchange(Bytes{0x30, 0x82, 0xff}, "127.0.0.1", &from).empty());
  EXPECT_TRUE(exchange(Bytes{}, "127.0.0.1", &from).empty());
  EXPECT_FALSE(exchange(v2cGet("harbor", 2), "127.0.0.1", &from).empty());
}

}  // namespace
