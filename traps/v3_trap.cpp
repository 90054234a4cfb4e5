#include "traps/v3_trap.h"

#include <cstdio>
#include <cstdlib>

#include "usm/auth_methods.h"
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
