// The load generator's wire code and window loop.  Requests are decoded
// with the agent's own InStream, so an encoder slip shows up as a
// disagreement between the two; replies are fed in whole, cut short and
// malformed.
#include "bench/load/snmp_wire.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "asn1/in_stream.h"
#include "asn1/oid.h"
#include "bench/load/agent_peers.h"
#include "bench/load/load_window.h"
#include "bench/load/peer_process.h"

namespace bench {
namespace {

TEST(SnmpWire, OidsRoundTripThroughTheAgentDecoder) {
  for (const char* text :
       {"1.3.6.1.2.1.1.1.0", "0.0", "1.3.6.1.4.1.32473.250.1.4294967295", "1.3.128.16383.16384"}) {
    std::vector<uint8_t> content;
    ASSERT_TRUE(encodeOid(text, &content)) << text;
    std::vector<uint8_t> tlv = {0x06, static_cast<uint8_t>(content.size())};
    tlv.insert(tlv.end(), content.begin(), content.end());
    InStream in(tlv.data(), static_cast<unsigned>(tlv.size()));
    OID decoded;
    ASSERT_TRUE(in.getOID(&decoded)) << text;
    EXPECT_EQ(decoded.str(), std::string(".") + text);
    Arcs back;
    ASSERT_TRUE(decodeOid(content.data(), content.size(), &back)) << text;
    EXPECT_EQ(oidText(back), text);
  }
  // The agent reads a first octet b as b/40 and b%40; arcs of 40 and more
  // under 2 come back only through our own decoder.
  std::vector<uint8_t> wide;
  Arcs back;
  ASSERT_TRUE(encodeOid("2.999.3", &wide));
  ASSERT_TRUE(decodeOid(wide.data(), wide.size(), &back));
  EXPECT_EQ(oidText(back), "2.999.3");

  std::vector<uint8_t> dotted, bare;
  ASSERT_TRUE(encodeOid(".1.3.6", &dotted));
  ASSERT_TRUE(encodeOid("1.3.6", &bare));
  EXPECT_EQ(dotted, bare) << "a leading dot changes nothing";
}

TEST(SnmpWire, BadOidTextsAndContentsAreRefused) {
  std::vector<uint8_t> content = {0x2b};
  for (const char* text :
       {"", ".", "1", "1..3", "1.3.", "3.1", "1.40", "1.3.a", "1.3.4294967296", "1.3 .6", "-1.3"}) {
    EXPECT_FALSE(encodeOid(text, &content)) << text;
  }
  EXPECT_EQ(content, std::vector<uint8_t>{0x2b}) << "a refused text leaves the output alone";

  Arcs dotted;
  const uint8_t unfinished[] = {0x2b, 0x86};
  const uint8_t tooWide[] = {0x2b, 0x90, 0x80, 0x80, 0x80, 0x00};  // 2^32
  EXPECT_FALSE(decodeOid(unfinished, 0, &dotted));
  EXPECT_FALSE(decodeOid(unfinished, sizeof unfinished, &dotted));
  EXPECT_FALSE(decodeOid(tooWide, sizeof tooWide, &dotted));
}

TEST(SnmpWire, RequestDecodesAsOneBindingV2cRequestWithPatchedIds) {
  RequestTemplate t;
  ASSERT_FALSE(t.build(kGetRequest, "harbor", "1.3.x"));
  // A community long enough to need a long-form length.
  const std::string community(200, 'c');
  ASSERT_TRUE(t.build(kGetNextRequest, community, "1.3.6.1.2.1.1.1"));
  for (uint32_t id : {kMinRequestId, 0x12345678u, kMaxRequestId}) {
    t.setRequestId(id);
    InStream in(t.bytes().data(), static_cast<unsigned>(t.bytes().size()));
    EXPECT_EQ(in.getVersion(), 1);
    std::string name;
    ASSERT_TRUE(in.getString(&name));
    EXPECT_EQ(name, community);
    EXPECT_EQ(in.getType(), kGetNextRequest);
    ASSERT_GT(in.enterSeq(), 0);
    int requestId = 0, status = -1, index = -1;
    ASSERT_TRUE(in.getInt(&requestId));
    EXPECT_EQ(static_cast<uint32_t>(requestId), id);
    ASSERT_TRUE(in.getInt(&status) && in.getInt(&index));
    EXPECT_EQ(status, 0);
    EXPECT_EQ(index, 0);
    ASSERT_GT(in.enterSeq(), 0);
    ASSERT_GT(in.enterSeq(), 0);
    OID oid;
    ASSERT_TRUE(in.getOID(&oid));
    EXPECT_EQ(oid.str(), ".1.3.6.1.2.1.1.1");
    EXPECT_TRUE(in.getNull());
    EXPECT_TRUE(in.atEnd());
  }
}

// A v2c response: harbor, id 0x01000005, sysDescr.0 = "router".
std::vector<uint8_t> response() {
  return {0x30, 0x2f, 0x02, 0x01, 0x01, 0x04, 0x06, 'h',  'a',  'r',  'b',  'o',  'r',
          0xa2, 0x22, 0x02, 0x04, 0x01, 0x00, 0x00, 0x05, 0x02, 0x01, 0x00, 0x02, 0x01,
          0x00, 0x30, 0x14, 0x30, 0x12, 0x06, 0x08, 0x2b, 0x06, 0x01, 0x02, 0x01, 0x01,
          0x01, 0x00, 0x04, 0x06, 'r',  'o',  'u',  't',  'e',  'r'};
}

TEST(SnmpWire, ReplyIsReadAndEveryTruncationRefused) {
  const std::vector<uint8_t> bytes = response();
  Reply r;
  ASSERT_TRUE(readReply(bytes.data(), bytes.size(), &r));
  EXPECT_EQ(r.pduTag, kResponse);
  EXPECT_EQ(r.requestId, 0x01000005u);
  EXPECT_EQ(r.errorStatus, 0);
  std::vector<uint8_t> sysDescr;
  ASSERT_TRUE(encodeOid("1.3.6.1.2.1.1.1.0", &sysDescr));
  EXPECT_EQ(std::vector<uint8_t>(r.oid, r.oid + r.oidLen), sysDescr);
  EXPECT_EQ(r.valueTag, kOctetString);
  EXPECT_EQ(std::string(r.value, r.value + r.valueLen), "router");

  for (size_t n = 0; n < bytes.size(); ++n) {
    // A copy of exactly n bytes, so reading past it is caught by ASan.
    std::vector<uint8_t> cut(bytes.begin(), bytes.begin() + static_cast<long>(n));
    EXPECT_FALSE(readReply(cut.data(), cut.size(), &r)) << n << " bytes";
  }
}

TEST(SnmpWire, ReplyFieldsOutsideTheirRangesAreRefused) {
  Reply r;
  std::vector<uint8_t> b = response();
  b[1] = 0x81;  // the message is now two bytes long, cutting the version short
  EXPECT_FALSE(readReply(b.data(), b.size(), &r));

  b = response();
  b[28] = 0x7f;  // bindings run past the end
  EXPECT_FALSE(readReply(b.data(), b.size(), &r));

  b = response();
  b[13] = 0x30;  // not a PDU
  EXPECT_FALSE(readReply(b.data(), b.size(), &r));

  b = response();
  b[17] = 0x81;  // a negative request id
  EXPECT_FALSE(readReply(b.data(), b.size(), &r));

  // The same response with the lengths in long form is still a response.
  std::vector<uint8_t> longForm = response();
  longForm.insert(longForm.begin() + 1, 0x81);
  ASSERT_TRUE(readReply(longForm.data(), longForm.size(), &r));
  EXPECT_EQ(r.requestId, 0x01000005u);
}

TEST(LoadWindow, QuantileIsTheNearestRank) {
  std::vector<double> none;
  EXPECT_EQ(quantile(&none, 0.5), 0);
  std::vector<double> v(100);
  std::iota(v.begin(), v.end(), 1.0);
  std::shuffle(v.begin(), v.end(), std::mt19937(7));
  EXPECT_EQ(quantile(&v, 0.0), 1);
  EXPECT_EQ(quantile(&v, 0.5), 51);
  EXPECT_EQ(quantile(&v, 0.99), 100);
  EXPECT_EQ(quantile(&v, 1.0), 100);
}

// A GET of sysDescr and what an echo server sends back for it: the
// request itself.
bool echoedGet(RequestTemplate* get, Expectation* echoed) {
  echoed->pduTag = kGetRequest;
  echoed->needValue = false;
  return get->build(kGetRequest, "harbor", "1.3.6.1.2.1.1.1.0") &&
         encodeOid("1.3.6.1.2.1.1.1.0", &echoed->oid);
}

// A run without warm-up that ends after replies counted replies, or after
// half a minute when the window loop loses count.
LoadSpec countedRun(int window, uint64_t replies) {
  LoadSpec spec;
  spec.window = window;
  spec.warmup = std::chrono::milliseconds(0);
  spec.measure = std::chrono::seconds(30);
  spec.replies = replies;
  return spec;
}

// The window loop against a real echo server: exact counts, wrong replies
// recognised, silence written off.
TEST(LoadWindow, CountsRepliesRefusesMismatchesAndWritesOffSilence) {
  const uint16_t port = freeUdpPort();
  ASSERT_NE(port, 0);
  ChildProcess echo;
  std::string error;
  ASSERT_TRUE(startEcho(port, &echo, &error)) << error;

  RequestTemplate get;
  Expectation echoed;
  ASSERT_TRUE(echoedGet(&get, &echoed));
  LoadSpec spec = countedRun(4, 500);
  LoadResult result;
  int fd = connectUdp(port);
  ASSERT_TRUE(runLoad(fd, get, echoed, spec, nullptr, &result));
  EXPECT_EQ(result.answered, 500u);
  EXPECT_EQ(result.wrong, 0u);
  EXPECT_GE(result.sent, 500u);
  EXPECT_LE(result.sent, 500u + 4);
  EXPECT_GT(result.perSecond, 0);
  EXPECT_GT(result.p99us, 0);
  EXPECT_LE(result.p50us, result.p99us);

  Expectation response = echoed;
  response.pduTag = kResponse;  // an echo is not a response
  spec.replies = 0;
  spec.measure = std::chrono::milliseconds(200);
  ASSERT_TRUE(runLoad(fd, get, response, spec, nullptr, &result));
  EXPECT_EQ(result.answered, 0u);
  EXPECT_GT(result.wrong, 0u);
  ::close(fd);
  EXPECT_EQ(echo.stop(), 128 + SIGTERM);

  // Nobody reads this socket: every request of the window is written off
  // and replaced.
  const uint16_t silentPort = freeUdpPort();
  const int silent = connectUdp(silentPort);  // any bound socket will do
  ASSERT_GE(silent, 0);
  const int deaf = ::socket(AF_INET, SOCK_DGRAM, 0);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  a.sin_port = htons(silentPort);
  ASSERT_EQ(::bind(deaf, reinterpret_cast<sockaddr*>(&a), sizeof a), 0);
  spec.window = 2;
  spec.measure = kResendAfter * 2 + std::chrono::milliseconds(300);
  ASSERT_TRUE(runLoad(silent, get, echoed, spec, nullptr, &result));
  EXPECT_EQ(result.answered, 0u);
  EXPECT_GE(result.lost, 2u);
  EXPECT_GT(result.sent, 2u) << "written-off requests are replaced";
  EXPECT_LE(result.sent, result.lost + 2);
  ::close(silent);
  ::close(deaf);
}

// One request lost early in a long run: written off exactly once, and the
// window stays full, even when thousands of later requests have reused
// its slot before the periodic scan would have found it.
TEST(LoadWindow, AnEarlyLossIsWrittenOffOnceInALongRun) {
  const int fd = ::socket(AF_INET, SOCK_DGRAM, 0);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t len = sizeof a;
  ASSERT_EQ(::bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a), 0);
  ASSERT_EQ(::getsockname(fd, reinterpret_cast<sockaddr*>(&a), &len), 0);
  ChildProcess server;
  ASSERT_TRUE(server.startFunction(
      [fd] {
        std::vector<uint8_t> buf(2048);
        for (bool first = true;; first = false) {
          sockaddr_in from{};
          socklen_t n = sizeof from;
          const ssize_t got =
              ::recvfrom(fd, buf.data(), buf.size(), 0, reinterpret_cast<sockaddr*>(&from), &n);
          if (got > 0 && !first)
            ::sendto(fd, buf.data(), static_cast<size_t>(got), 0,
                     reinterpret_cast<sockaddr*>(&from), n);
        }
      },
      "lossy echo"));
  ::close(fd);

  RequestTemplate get;
  Expectation echoed;
  ASSERT_TRUE(echoedGet(&get, &echoed));
  const LoadSpec spec = countedRun(2, 10000);  // more replies than the slot table holds
  LoadResult result;
  const int client = connectUdp(ntohs(a.sin_port));
  ASSERT_GE(client, 0);
  ASSERT_TRUE(runLoad(client, get, echoed, spec, nullptr, &result));
  ::close(client);
  EXPECT_EQ(result.answered, 10000u);
  EXPECT_EQ(result.lost, 1u);
  EXPECT_LE(result.sent, result.answered + result.lost + 2);
}

}  // namespace
}  // namespace bench
