#include "bench/soak/trap_sink.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <vector>

#include "asn1/in_stream.h"
#include "asn1/oid.h"
#include "bench/soak/soak_message.h"

namespace bench {

namespace {

constexpr unsigned kV1Trap = 0xA4;
constexpr unsigned kV2Trap = 0xA7;
constexpr int kDeepBuffer = 4 << 20;
constexpr size_t kDatagramMax = 65536;
// Generic trap numbers of the v1 Trap-PDU.
constexpr int kGenericLinkDown = 2;
constexpr int kGenericLinkUp = 3;
constexpr int kGenericEnterprise = 6;
constexpr int kEnterpriseSpecific = 1;
// ifAdminStatus and ifOperStatus: 1 up, 2 down.
constexpr int kStatusUp = 1;
constexpr int kStatusDown = 2;

const OID kLinkDown("1.3.6.1.6.3.1.1.5.3");
const OID kLinkUp("1.3.6.1.6.3.1.1.5.4");
const OID kEnterprise("1.3.6.1.4.1.32473.1.1.9");
const OID kEnterpriseTrapOid("1.3.6.1.4.1.32473.1.1.9.0.1");
// The link bindings: the column OIDs without a row index, as the agent
// has always sent them.
const OID kLinkColumns[3] = {OID("1.3.6.1.2.1.2.2.1.1"), OID("1.3.6.1.2.1.2.2.1.7"),
                             OID("1.3.6.1.2.1.2.2.1.8")};

struct Binding {
  OID name;
  int tag = -1;
  int number = 0;  // INTEGER values
  OID oid;         // OBJECT IDENTIFIER values
};

bool readBindings(InStream& in, std::vector<Binding>* out) {
  if (in.enterSeq() < 0) return false;
  while (!in.atSeqEnd()) {
    Binding b;
    if (in.enterSeq() < 0 || !in.getOID(&b.name)) return false;
    b.tag = in.getType();
    std::string skipped;
    const bool ok = b.tag == 0x02   ? in.getInt(&b.number)
                    : b.tag == 0x06 ? in.getOID(&b.oid)
                                    : in.getString(&skipped);
    if (!ok) return false;
    in.exitSeq();
    out->push_back(std::move(b));
  }
  return true;
}

// The trap's kind (kLinkUp, kLinkDown, kEnterpriseTrapOid) and the
// bindings after the v2c header ones, from either PDU.
bool readTrap(InStream& in, OID* kind, std::vector<Binding>* bindings) {
  const int tag = in.getType();
  if (in.enterSeq() < 0) return false;
  if (tag == kV1Trap) {
    OID enterprise;
    std::string address;
    int generic = 0, specific = 0, time = 0;
    if (!in.getOID(&enterprise) || !in.getString(&address) || !in.getInt(&generic) ||
        !in.getInt(&specific) || !in.getInt(&time) || !readBindings(in, bindings)) {
      return false;
    }
    if (generic == kGenericEnterprise && specific == kEnterpriseSpecific) {
      *kind = enterprise == kEnterprise ? kEnterpriseTrapOid : OID();
    } else if (generic == kGenericLinkUp || generic == kGenericLinkDown) {
      *kind = enterprise == (generic == kGenericLinkUp ? kLinkUp : kLinkDown) ? enterprise : OID();
    }
    return true;
  }
  int id = 0, status = 0, index = 0;
  if (tag != kV2Trap || !in.getInt(&id) || !in.getInt(&status) || !in.getInt(&index) ||
      !readBindings(in, bindings) || bindings->size() < 2) {
    return false;
  }
  *kind = (*bindings)[1].oid;  // snmpTrapOID.0, after sysUpTime.0
  bindings->erase(bindings->begin(), bindings->begin() + 2);
  return true;
}

}  // namespace

TrapSink::~TrapSink() {
  if (fd_ >= 0) ::close(fd_);
}

bool TrapSink::open(const std::string& community, uint32_t linkInterface) {
  community_ = community;
  interface_ = linkInterface;
  fd_ = ::socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK, 0);
  if (fd_ < 0) return false;
  (void)::setsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &kDeepBuffer, sizeof kDeepBuffer);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t len = sizeof a;
  if (::bind(fd_, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0 ||
      ::getsockname(fd_, reinterpret_cast<sockaddr*>(&a), &len) != 0) {
    return false;
  }
  port_ = ntohs(a.sin_port);
  buf_.resize(kDatagramMax);
  return true;
}

void TrapSink::drain() {
  for (;;) {
    const ssize_t n = ::recv(fd_, buf_.data(), buf_.size(), 0);
    if (n < 0) return;
    count(buf_.data(), static_cast<size_t>(n));
  }
}

void TrapSink::count(const uint8_t* data, size_t n) {
  InStream in(data, static_cast<unsigned>(n));
  const int version = in.getVersion();
  std::string community;
  OID kind;
  std::vector<Binding> b;
  const bool read = (version == kSnmpV1 || version == kSnmpV2c) && in.getString(&community) &&
                    community == community_ && readTrap(in, &kind, &b);
  const char* why = nullptr;
  if (!read) {
    why = "a datagram that is no v1 or v2c trap from the trap community";
  } else if (kind == kEnterpriseTrapOid) {
    if (b.empty()) {
      ++counts_.enterprise[version];
      return;
    }
    why = "an enterprise trap with bindings";
  } else if (kind != kLinkUp && kind != kLinkDown) {
    why = "a trap of another kind";
  } else {
    const bool down = kind == kLinkDown;
    const int status = down ? kStatusDown : kStatusUp;
    const bool columns = b.size() == 3 && b[0].name == kLinkColumns[0] &&
                         b[1].name == kLinkColumns[1] && b[2].name == kLinkColumns[2];
    if (!columns || b[0].number != static_cast<int>(interface_) || b[1].number != status ||
        b[2].number != status) {
      why = "a link trap with other bindings";
    } else if (down == lastWasDown_) {
      why = down ? "a second linkDown in a row" : "a second linkUp in a row";
    } else {
      lastWasDown_ = down;
      ++counts_.link[version];
      return;
    }
  }
  ++counts_.unexpected;
  if (firstUnexpected_.empty()) firstUnexpected_ = why;
}

}  // namespace bench
