// Arbitrary bytes as a bus event reaching the trap path: decoded as a
// message, handed to the built-in makers and framed by createTrap in every
// version.  A trap that is built must be one complete BER sequence.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "engine/community_list.h"
#include "engine/context.h"
#include "traps/create_trap.h"
#include "traps/enterprise_trap.h"
#include "traps/link_traps.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // Every event no maker takes is dumped on standard output.
  if (!std::freopen("/dev/null", "w", stdout)) std::abort();
  static CommunityList communities;
  communities.items.push_back(new CommunityList::Item);
  communities.items[0]->id = 0;
  communities.items[0]->name = "harbor";
  communityKeep = &communities;
  trapMakers = {talvorTrapMaker, linkTrapMaker};
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  kx::message event;
  if (!kx::message::decode(data, size, event)) return 0;
  for (uint32_t version : {kTrapVersion1, kTrapVersion2c}) {
    linkStates.clear();  // the first event of an interface always traps
    TrapSettings settings;
    settings.version = version;
    settings.community = 0;
    Context ctx(nullptr, 0);
    if (!createTrap(ctx, event, 0x0100007f, settings)) continue;
    const std::vector<uint8_t>& out = ctx.out.bytes();
    if (out.size() > 65535) continue;  // beyond what a datagram carries anyway
    // The outer length covers exactly the rest of the message.
    InStream in(out.data(), static_cast<unsigned>(out.size()));
    const int len = in.enterSeq();
    const size_t header = len < 0x80 ? 2 : len < 0x100 ? 3 : 4;
    if (len < 0 || header + static_cast<size_t>(len) != out.size()) std::abort();
  }
  return 0;
}
