// The whole request path: datagrams go through createReply into the
// agent's built-in MIB modules, whose providers and tables fetch and set
// their records over the bus from the example router (examples/router.json)
// served in this process, without sockets.  Communities: "harbor" and
// "public" may read, "private" may read and write.
//
// Beyond "no crash": every reply is one well-formed BER value carrying the
// request's id, and a request whose community may not write changes nothing
// in the router (no object of it reports a change), nor in the agent's
// settings and communities.
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "agent/community_keep.h"
#include "agent/snmp_looper.h"
#include "asn1/in_stream.h"
#include "engine/context.h"
#include "engine/create_reply.h"
#include "fuzz/temp_dir.h"
#include "kx/platform.h"
#include "mibs/bridge_mib.h"
#include "mibs/interfaces_mib.h"
#include "mibs/ip_mib.h"
#include "mibs/system_mib.h"
#include "sim/endpoint.h"
#include "sim/object_template.h"
#include "sim/scenario.h"
#include "sim/server.h"

namespace {

constexpr size_t kMaxDatagram = 65536;
constexpr int kPeer = 0x0100007f;  // 127.0.0.1, network order in memory
constexpr int kMaxDepth = 64;

// Time stands still: an input found once replays the same.
class StillClock : public sim::SimClock {
 public:
  uint64_t elapsedMs() const override { return 60000; }
  uint32_t uptime() const override { return 86400; }
  uint32_t epoch() const override { return 1767225600; }
};

struct World {
  sim::Scenario scenario;
  StillClock clock;
  sim::Journal journal;  // never opened: records nothing
  volatile std::sig_atomic_t stop = 0;
  SnmpLooper* agent = nullptr;
  std::unique_ptr<sim::Server> router;

  void startRouter() {
    router.reset();
    router = std::make_unique<sim::Server>(scenario, scenario.serviceIds(), clock, journal, stop);
    router->startOn(*agent);
  }
};

World* g_world = nullptr;

void addCommunity(const char* name, bool write) {
  kx::message m;
  m.setString(snmp::kName, name);
  m.setBool(snmp::kReadAccess, true);
  m.setBool(snmp::kWriteAccess, write);
  static_cast<CommunityKeep*>(communityKeep)->cmdAddObj(m);
}

World& world() {
  if (g_world) return *g_world;
  g_world = new World;
  World& w = *g_world;
  // The agent logs a line or more per request; the fuzzer's own output
  // goes to the original stream.
  stdout = std::fopen("/dev/null", "w");
  stderr = std::fopen("/dev/null", "w");
  if (!stdout || !stderr) std::abort();
  // A SET of the agent's settings writes the store.
  kx::setRoot(fuzz::tempDir("agent_request_fuzz"));

  std::string err;
  if (!sim::loadScenario(SARN_SOURCE_DIR "/examples/router.json", w.scenario, err)) {
    std::fprintf(::fdopen(2, "w"), "agent_request_fuzz: %s\n", err.c_str());
    std::abort();
  }
  w.agent = new SnmpLooper();
  w.agent->init();
  addCommunity("public", false);
  addCommunity("private", true);
  w.startRouter();
  buildSystemMib({&w.agent->contact, &w.agent->location});
  buildIpMib();
  buildBridgeMib();
  buildInterfacesMib();
  buildHealthMib();
  return w;
}

// The agent's settings and communities, as encoded messages.
std::string agentState(World& w) {
  std::string out = w.agent->getConfig().encode();
  for (const CommunityList::Item* item : communityKeep->items)
    out += CommunityKeep::getCfg(*item).encode();
  return out;
}

// The tag and length at p fit in avail bytes: the header's size and the
// content's length.
bool tlv(const uint8_t* p, size_t avail, size_t& head, size_t& length) {
  if (avail < 2) return false;
  head = 2;
  length = p[1];
  if (length & 0x80) {
    const size_t octets = length & 0x7f;
    if (octets == 0 || octets > 4 || octets > avail - 2) return false;
    length = 0;
    for (size_t i = 0; i < octets; ++i) length = (length << 8) | p[2 + i];
    head += octets;
  }
  return length <= avail - head;
}

// True when p[0..len) is exactly one BER value whose constructed parts (tag
// bit 0x20) are made of whole values in turn.
bool wellFormed(const uint8_t* p, size_t len, int depth = 0) {
  size_t head, length;
  if (depth > kMaxDepth || !tlv(p, len, head, length) || head + length != len) return false;
  for (size_t at = head; (p[0] & 0x20) && at < len; at += head + length) {
    if (!tlv(p + at, len - at, head, length) || !wellFormed(p + at, head + length, depth + 1))
      return false;
  }
  return true;
}

// The version, community and request id of a message of the community
// versions (0, 1 and the 2 that is answered like them); false when it has
// none.
bool header(const uint8_t* data, size_t size, int& version, std::string& community, int& id) {
  InStream in(data, static_cast<unsigned>(size));
  version = in.getVersion();
  if (version < 0 || version > 2) return false;
  return in.getString(&community) && in.enterSeq() >= 0 && in.getInt(&id);
}

bool mayWrite(const std::string& community) {
  auto it = communityKeep->find(community);
  return it != communityKeep->items.end() && (*it)->writeAccess;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  World& w = world();
  if (size > kMaxDatagram) return 0;
  int version = -1, id = 0;
  std::string community;
  const bool classic = header(data, size, version, community, id);
  // v3 requests carry no community; what they may change is their user's.
  const bool readOnly = classic ? !mayWrite(community) : InStream(data, size).getVersion() != 3;
  const uint64_t changes = w.router->changes();
  const std::string before = readOnly ? agentState(w) : std::string();

  Context ctx(const_cast<unsigned char*>(data), static_cast<unsigned>(size));
  const bool replied = createReply(ctx, kPeer);
  w.agent->runOnce(0);  // change events and undo notices, as the loop would

  if (replied) {
    const auto& reply = ctx.out.bytes();
    if (!wellFormed(reply.data(), reply.size())) std::abort();
    int replyVersion = -1, replyId = 0;
    std::string replyCommunity;
    if (classic && (!header(reply.data(), reply.size(), replyVersion, replyCommunity, replyId) ||
                    replyVersion != version || replyCommunity != community || replyId != id))
      std::abort();
  }
  // Every change of a router object is counted by the object's service.
  if (readOnly && (w.router->changes() != changes || agentState(w) != before)) std::abort();
  // Each input starts from the same router, whatever an earlier one set.
  if (w.router->changes() != changes) w.startRouter();
  return 0;
}
