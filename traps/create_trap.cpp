#include "traps/create_trap.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "asn1/ber.h"
#include "engine/community_list.h"
#include "engine/context.h"
#include "kx/platform.h"
#include "traps/trap_sources.h"
#include "usm/key_derivation.h"
#include "usm/privacy.h"
#include "usm/v3_writer.h"

namespace {

// The level a trap goes out at: any required security authenticates, and
// only authPriv (2) encrypts.
unsigned trapLevel(uint32_t security) {
  if (security == 0) return kNoAuthNoPriv;
  return security == kAuthPriv ? kAuthPriv : kAuthNoPriv;
}

// False, with the line that says so, when the user's method or protocol is
// one the agent doesn't have: nothing is sent rather than a trap the
// receiver can't verify or read.
bool algorithmsKnown(const CommunityList::Item& user, unsigned level) {
  if (level >= kAuthNoPriv && authMethod(user.authMethod) == nullptr) {
    std::fprintf(stderr,
                 "createTrap: trap user '%s' has unknown authentication method %u; "
                 "set auth= with kxctl snmp community set\n",
                 user.name.c_str(), user.authMethod);
    return false;
  }
  if (level == kAuthPriv && privProtocol(user.encryptionProtocol) == nullptr) {
    std::fprintf(stderr,
                 "createTrap: trap user '%s' has unknown privacy protocol %u; "
                 "set priv= with kxctl snmp community set\n",
                 user.name.c_str(), user.encryptionProtocol);
    return false;
  }
  return true;
}

}  // namespace

bool V3TrapFraming::begin(Context& ctx, CommunityList::Item& user, const TrapSettings& settings) {
  const unsigned level = trapLevel(user.security);
  if (!algorithmsKnown(user, level)) return false;
  if (level >= kAuthNoPriv) user.ensureKeys(settings.engine.engineID);
  prepareOutgoing(ctx.v3, settings.engine, user.name, level, user.authMethod,
                  user.encryptionProtocol, static_cast<uint32_t>(std::rand()));
  writeV3Info(ctx.out, ctx.v3);
  return true;
}

void V3TrapFraming::finish(Context& ctx, const CommunityList::Item& user) {
  cryptPacket(ctx.out, ctx.v3, user.privKey);
  ctx.out.endSeq();  // message
  signPacket(ctx.out, ctx.v3, user.authKey);
}

namespace {

constexpr unsigned kTrapPdu = 0xA4;
constexpr unsigned kSnmpV2TrapPdu = 0xA7;

const OID kSysUpTime0("1.3.6.1.2.1.1.3.0");
const OID kSnmpTrapOid0("1.3.6.1.6.3.1.1.4.1.0");

// The notification the first willing maker describes; false when none is.
bool makeNotification(const kx::message& event, std::vector<VariableBinding>& bindings,
                      OID& trapOid, int& generic, int& specific) {
  for (TrapMaker maker : trapMakers) {
    if (maker(bindings, event, trapOid, generic, specific) > 0) return true;
  }
  return false;
}

void addTimeTicksBinding(OutStream& out, const OID& name, unsigned ticks) {
  out.startSeq(ber::kSequence);
  out.addOID(name, ber::kObjectId);
  out.add(ticks, ber::kTimeTicks);
  out.endSeq();
}

void addOidBinding(OutStream& out, const OID& name, const OID& value) {
  out.startSeq(ber::kSequence);
  out.addOID(name, ber::kObjectId);
  out.addOID(value, ber::kObjectId);
  out.endSeq();
}

}  // namespace

int createTrap(Context& ctx, const kx::message& event, uint32_t agentAddress,
               const TrapSettings& settings) {
  OutStream& out = ctx.out;
  const bool v1 = settings.version == snmp::kTrapV1;
  const bool v3 = settings.version == snmp::kTrapV3;
  out.startSeq(ber::kSequence);
  out.add(static_cast<int>(settings.version), ber::kInteger);

  CommunityList::Item* item =
      communityKeep != nullptr ? communityKeep->findById(settings.community) : nullptr;
  if (item == nullptr) {
    std::fprintf(stderr, "createTrap: bad community\n");
    return 0;
  }
  V3TrapFraming framing;
  if (v3) {
    std::printf("snmp v3 trap\n");
    if (!framing.begin(ctx, *item, settings)) return 0;
  } else {
    out.add(item->name, ber::kOctetString);
  }
  out.startSeq(v1 ? kTrapPdu : kSnmpV2TrapPdu);

  std::vector<VariableBinding> bindings;
  OID trapOid;
  int generic = 0;
  int specific = 0;
  if (!makeNotification(event, bindings, trapOid, generic, specific)) {
    std::printf("Could not handle trap, msg dump: %s\n", event.dump().c_str());
    return 0;
  }

  // Hundredths of a second since the agent started.
  const unsigned ticks = kx::getJiffies() - settings.startJiffies;
  if (v1) {
    out.addOID(trapOid, ber::kObjectId);
    out.add(reinterpret_cast<const unsigned char*>(&agentAddress), sizeof agentAddress,
            ber::kIpAddress);
    out.add(generic, ber::kInteger);
    out.add(specific, ber::kInteger);
    out.add(ticks, ber::kTimeTicks);
  } else {
    out.add(std::rand(), ber::kInteger);  // request-id
    out.add(0, ber::kInteger);            // error-status
    out.add(0, ber::kInteger);            // error-index
  }

  out.startSeq(ber::kSequence);
  if (!v1) {
    addTimeTicksBinding(out, kSysUpTime0, ticks);
    // An enterprise-specific trap is named enterprise.0.specific.
    OID notification = trapOid;
    if (generic == kGenericEnterpriseSpecific) {
      notification += 0;
      notification += static_cast<unsigned>(specific);
    }
    addOidBinding(out, kSnmpTrapOid0, notification);
  }
  for (const VariableBinding& b : bindings) out.addVarBind(b);
  out.endSeq();  // variable bindings
  out.endSeq();  // PDU
  if (v3) {
    framing.finish(ctx, *item);
  } else {
    out.endSeq();  // message
  }
  return 1;
}

namespace {

void fail(const char* what) {
  std::fprintf(stderr, "send_trap: %s: %s\n", what, std::strerror(errno));
}

// Steps after the socket is open; the caller closes it.
void sendOn(int fd, const TrapSettings& settings, const kx::message& event) {
  sockaddr_in target;
  std::memset(&target, 0, sizeof target);
  target.sin_family = AF_INET;
  target.sin_addr.s_addr = settings.target;
  target.sin_port = htons(settings.port);
  if (::connect(fd, reinterpret_cast<sockaddr*>(&target), sizeof target) != 0) {
    fail("failed to connect");
    return;
  }

  Context ctx(nullptr, 0);
  sockaddr_in local;
  socklen_t len = sizeof local;
  if (::getsockname(fd, reinterpret_cast<sockaddr*>(&local), &len) != 0) {
    fail("failed to getsockname");
    return;
  }
  if (!createTrap(ctx, event, local.sin_addr.s_addr, settings)) {
    std::fprintf(stderr, "send_trap: createTrap failed\n");
    return;
  }
  const std::vector<uint8_t>& bytes = ctx.out.bytes();
  if (::send(fd, bytes.data(), bytes.size(), 0) < 0) fail("failed to send trap packet");
}

}  // namespace

void sendTrap(const TrapSettings& settings, const kx::message& event) {
  if (!settings.enabled) {
    std::fprintf(stderr, "send_trap: snmp disabled\n");
    return;
  }
  if (settings.target == 0 || settings.community == snmp::kNoCommunity) {
    std::fprintf(stderr, "send_trap: no trap sink specified\n");
    return;
  }
  const int fd = ::socket(AF_INET, SOCK_DGRAM, 0);
  if (fd < 0) {
    fail("failed to open UDP socket");
    return;
  }
  sendOn(fd, settings, event);
  ::close(fd);
}
