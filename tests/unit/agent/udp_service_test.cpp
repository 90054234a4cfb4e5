// Real datagrams through the service socket: a request in, a reply out.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "agent/snmp_looper.h"
#include "agent_test_util.h"
#include "kx/store.h"

namespace {

using agent_test::TempRoot;
using Bytes = std::vector<uint8_t>;

// BER tag, short or 0x81/0x82 length, content.
Bytes tlv(uint8_t tag, const Bytes& content) {
  Bytes out{tag};
  if (content.size() < 128) {
    out.push_back(static_cast<uint8_t>(content.size()));
  } else {
    out.push_back(0x82);
    out.push_back(static_cast<uint8_t>(content.size() >> 8));
    out.push_back(static_cast<uint8_t>(content.size()));
  }
  out.insert(out.end(), content.begin(), content.end());
  return out;
}

Bytes cat(std::initializer_list<Bytes> parts) {
  Bytes out;
  for (const Bytes& p : parts) out.insert(out.end(), p.begin(), p.end());
  return out;
}

// A v2c GetRequest for sysDescr.0.
Bytes v2cGet(const std::string& community, uint8_t requestId) {
  const Bytes oid = {0x2b, 6, 1, 2, 1, 1, 1, 0};
  const Bytes binding = tlv(0x30, cat({tlv(0x06, oid), tlv(0x05, {})}));
  const Bytes pdu = tlv(0xA0, cat({tlv(0x02, {requestId}), tlv(0x02, {0}), tlv(0x02, {0}),
                                   tlv(0x30, binding)}));
  return tlv(0x30, cat({tlv(0x02, {1}), tlv(0x04, Bytes(community.begin(), community.end())),
                        pdu}));
}

// Reads one TLV at pos (short or long length); false when it runs past end.
bool readTlv(const Bytes& b, size_t& pos, uint8_t& tag, Bytes& content) {
  if (pos + 2 > b.size()) return false;
  tag = b[pos];
  size_t len = b[pos + 1];
  size_t head = 2;
  if (len & 0x80) {
    const size_t n = len & 0x7f;
    if (n == 0 || n > 2 || pos + 2 + n > b.size()) return false;
    len = 0;
    for (size_t i = 0; i < n; ++i) len = len << 8 | b[pos + 2 + i];
    head += n;
  }
  if (pos + head + len > b.size()) return false;
  content.assign(b.begin() + pos + head, b.begin() + pos + head + len);
  pos += head + len;
  return true;
}

class UdpServiceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    kx::message seed;
    seed.setBool(SnmpLooper::kEnabled, true);
    kx::Store(SnmpLooper::kStorePath, 5).save(SnmpLooper::kSettingsObject, seed);
    for (int attempt = 0; attempt < 5 && !(loop && loop->enabled); ++attempt) {
      loop.reset();
      loop = std::make_unique<SnmpLooper>();
      loop->servicePort = static_cast<uint16_t>(20000 + (::getpid() * 7 + attempt * 131) % 40000);
      loop->init();
    }
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
    sockaddr_in to;
    std::memset(&to, 0, sizeof to);
    to.sin_family = AF_INET;
    to.sin_port = htons(loop->servicePort);
    to.sin_addr.s_addr = inet_addr(address);
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

TEST_F(UdpServiceTest, GetIsAnsweredWithAResponseToTheSender) {
  sockaddr_in from;
  const Bytes reply = exchange(v2cGet("harbor", 0x2a), "127.0.0.1", &from);
  ASSERT_FALSE(reply.empty()) << "no reply";
  EXPECT_EQ(from.sin_addr.s_addr, inet_addr("127.0.0.1"));
  EXPECT_EQ(ntohs(from.sin_port), loop->servicePort);

  size_t pos = 0;
  uint8_t tag;
  Bytes message, field;
  ASSERT_TRUE(readTlv(reply, pos, tag, message));
  EXPECT_EQ(tag, 0x30);
  EXPECT_EQ(pos, reply.size());
  pos = 0;
  ASSERT_TRUE(readTlv(message, pos, tag, field));
  EXPECT_EQ(tag, 0x02);
  EXPECT_EQ(field, Bytes{1});  // v2c echoed
  ASSERT_TRUE(readTlv(message, pos, tag, field));
  EXPECT_EQ(tag, 0x04);
  EXPECT_EQ(std::string(field.begin(), field.end()), "harbor");
  Bytes pdu;
  ASSERT_TRUE(readTlv(message, pos, tag, pdu));
  EXPECT_EQ(tag, 0xA2);
  size_t p = 0;
  ASSERT_TRUE(readTlv(pdu, p, tag, field));
  EXPECT_EQ(field, Bytes{0x2a});  // request id echoed
}

TEST_F(UdpServiceTest, ReplyLeavesFromTheAddressTheRequestArrivedOn) {
  sockaddr_in from;
  const Bytes reply = exchange(v2cGet("harbor", 7), "127.0.0.2", &from);
  ASSERT_FALSE(reply.empty()) << "no reply";
  EXPECT_EQ(from.sin_addr.s_addr, inet_addr("127.0.0.2"));
  EXPECT_EQ(ntohs(from.sin_port), loop->servicePort);
}

TEST_F(UdpServiceTest, RefusedAndMalformedRequestsGetNoReplyAndServiceGoesOn) {
  sockaddr_in from;
  EXPECT_TRUE(exchange(v2cGet("intruder", 1), "127.0.0.1", &from).empty());
  EXPECT_TRUE(exchange(Bytes{0x30, 0x82, 0xff}, "127.0.0.1", &from).empty());
  EXPECT_TRUE(exchange(Bytes{}, "127.0.0.1", &from).empty());
  EXPECT_FALSE(exchange(v2cGet("harbor", 2), "127.0.0.1", &from).empty());
}

}  // namespace
