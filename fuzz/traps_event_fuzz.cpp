// Arbitrary bytes as a bus event reaching the trap path: decoded as a
// message, handed to the built-in makers and framed by createTrap in every
// version (v3 signed and encrypted).  A trap that is built must be one
// complete BER sequence; a v3 one must carry the user and the local engine,
// not ask for reports, pass the user's MAC check and decrypt to an
// SNMPv2-Trap-PDU.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "engine/community_list.h"
#include "engine/context.h"
#include "traps/create_trap.h"
#include "traps/link_traps.h"
#include "traps/trap_sources.h"
#include "usm/v3_info.h"
#include "usm/v3_reader.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // Every event no maker takes is dumped on standard output.
  if (!std::freopen("/dev/null", "w", stdout)) std::abort();
  static CommunityList communities;
  communities.items.push_back(new CommunityList::Item);
  communities.items[0]->id = 0;
  communities.items[0]->name = "harbor";
  auto* user = new CommunityList::Item;  // keys derived once, on first use
  user->id = 1;
  user->name = "vault";
  user->security = 2;
  user->authMethod = 3;          // SHA-256
  user->encryptionProtocol = 1;  // AES-128
  user->authPassword = "fuzz-auth-pass";
  user->encryptionPassword = "fuzz-priv-pass";
  communities.items.push_back(user);
  communityKeep = &communities;
  trapMakers = {talvorTrapMaker, linkTrapMaker};
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  kx::message event;
  if (!kx::message::decode(data, size, event)) return 0;
  for (uint32_t version : {snmp::kTrapV1, snmp::kTrapV2c, snmp::kTrapV3}) {
    linkStates.clear();  // the first event of an interface always traps
    TrapSettings settings;
    settings.version = version;
    settings.community = version == snmp::kTrapV3 ? 1 : 0;
    settings.engine.engineID = formatEngineID("fuzz");
    Context ctx(nullptr, 0);
    if (!createTrap(ctx, event, 0x0100007f, settings)) continue;
    const std::vector<uint8_t>& out = ctx.out.bytes();
    if (out.size() > 65535) continue;  // beyond what a datagram carries anyway
    // The outer length covers exactly the rest of the message.
    InStream in(out.data(), static_cast<unsigned>(out.size()));
    const int len = in.enterSeq();
    const size_t header = len < 0x80 ? 2 : len < 0x100 ? 3 : 4;
    if (len < 0 || header + static_cast<size_t>(len) != out.size()) std::abort();
    if (version == snmp::kTrapV3) {
      InStream v3(out.data(), static_cast<unsigned>(out.size()));
      V3Info info;
      int err = kNoReport;
      const CommunityList::Item& u = *communityKeep->items[1];
      if (v3.getVersion() != 3 || !readV3Info(v3, info, err) || err != kNoReport ||
          !decryptAndCheckSignatureLite(v3, info, u.authKey, u.authMethod, u.privKey) ||
          v3.getType() != 0xA7 || info.msgFlags != (kFlagAuth | kFlagPriv) ||
          info.msgMaxSize != 65507 || info.msgSecurityModel != kUsmSecurityModel ||
          info.engineID != settings.engine.engineID ||
          info.contextEngineID != settings.engine.engineID || info.userName != u.name)
        std::abort();
    }
  }
  return 0;
}
