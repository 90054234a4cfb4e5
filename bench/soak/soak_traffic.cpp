#include "bench/soak/soak_traffic.h"

#include "asn1/ber.h"
#include "bench/load/agent_peers.h"
#include "usm/v3_info.h"

namespace bench {

namespace {

// Where an object's value comes from decides what it shows while kxsim is
// away: the agent's own objects and the router's records (shown empty)
// still answer; the router's lists have no rows, so their objects miss.
enum class Source : uint8_t { kAgent, kContact, kRecord, kList };

struct Target {
  const char* oid;
  Source source;
};

const Target kGets[] = {{"1.3.6.1.2.1.1.1.0", Source::kAgent},                 // sysDescr
                        {"1.3.6.1.2.1.1.2.0", Source::kAgent},                 // sysObjectID
                        {"1.3.6.1.2.1.1.3.0", Source::kRecord},                // sysUpTime
                        {"1.3.6.1.2.1.1.4.0", Source::kContact},               // sysContact
                        {"1.3.6.1.2.1.1.5.0", Source::kRecord},                // sysName
                        {"1.3.6.1.2.1.1.6.0", Source::kAgent},                 // sysLocation
                        {"1.3.6.1.2.1.1.7.0", Source::kAgent},                 // sysServices
                        {"1.3.6.1.2.1.2.1.0", Source::kList},                  // ifNumber
                        {"1.3.6.1.2.1.2.2.1.2.1", Source::kList},              // ifDescr.1
                        {"1.3.6.1.2.1.2.2.1.8.2", Source::kList},              // ifOperStatus.2
                        {"1.3.6.1.2.1.2.2.1.10.1", Source::kList},             // ifInOctets.1
                        {"1.3.6.1.2.1.31.1.1.1.10.5", Source::kList},          // ifHCOutOctets.5
                        {"1.3.6.1.2.1.4.20.1.1.192.0.2.2", Source::kList},     // ipAdEntAddr
                        {"1.3.6.1.2.1.25.1.1.0", Source::kRecord},             // hrSystemUptime
                        {"1.3.6.1.2.1.25.2.2.0", Source::kRecord},             // hrMemorySize
                        {"1.3.6.1.4.1.32473.1.1.3.10.0", Source::kRecord},     // sarnTemperature
                        {"1.3.6.1.4.1.32473.1.1.4.1.0", Source::kRecord},      // sarnSoftwareText
                        {"1.3.6.1.4.1.32473.1.1.8.1.1.2.1", Source::kList},    // sarnScriptName.1
                        {"1.3.6.1.4.1.32473.1.1.11.1.1.4.1", Source::kList}};  // sarnAddrHostName.1

// GETNEXT starting points; the source is that of the object that follows.
const Target kNexts[] = {
    {"1.3.6.1.2.1.1", Source::kAgent},           {"1.3.6.1.2.1.1.4.0", Source::kRecord},
    {"1.3.6.1.2.1.1.6.0", Source::kAgent},       {"1.3.6.1.2.1.2.2.1.2", Source::kList},
    {"1.3.6.1.2.1.2.2.1.10.5", Source::kList},   {"1.3.6.1.2.1.4.20.1.1", Source::kList},
    {"1.3.6.1.2.1.17.4.3.1.2", Source::kList},   {"1.3.6.1.2.1.25.1", Source::kRecord},
    {"1.3.6.1.4.1.32473.1.1.4", Source::kRecord}};

// What a SET of an object does with a write community.
enum class SetKind : uint8_t { kToRouter, kRefused, kConstant };
struct SetTarget {
  const char* oid;
  SetKind kind;
};
const SetTarget kSets[] = {{"1.3.6.1.2.1.1.5.0", SetKind::kToRouter},  // sysName
                           {"1.3.6.1.4.1.32473.1.1.8.1.1.2.1", SetKind::kToRouter},
                           {"1.3.6.1.4.1.32473.1.1.8.1.1.2.2", SetKind::kToRouter},
                           {"1.3.6.1.2.1.1.4.0", SetKind::kRefused},    // sysContact
                           {"1.3.6.1.2.1.1.1.0", SetKind::kConstant}};  // sysDescr
const std::string kSysDescr = "router";

struct Root {
  const char* oid;
  int weight;
  bool lastInMib;  // a walk of it ends with noSuchName, not outside it
};
const Root kRoots[] = {{"1.3.6.1", 1, true},          {"1.3.6.1.2.1.1", 3, false},
                       {"1.3.6.1.2.1.2", 3, false},   {"1.3.6.1.2.1.4", 3, false},
                       {"1.3.6.1.2.1.25", 3, false},  {"1.3.6.1.2.1.31", 3, false},
                       {"1.3.6.1.4.1.32473", 3, true}};

// Tasks of an identity, in thousandths, in the order of Op: GET, GETNEXT,
// SET, walk.
const std::vector<int> kOpWeights = {550, 280, 160, 10};
const std::vector<int> kNoWalkWeights = {550, 280, 170, 0};
// How often each identity starts a task.
const std::array<int, kIdentityCount> kIdentityWeights = {10, 14, 5,  8, 5, 6, 3, 8,
                                                          2,  6,  10, 8, 5, 2, 1};

constexpr uint32_t bit(int status) { return 1u << status; }
constexpr int kNoSuchName = 2;
constexpr int kReadOnly = 4;
// usmStats.N.0: the counter that a report of code N - 1 carries.
const OID kUsmStats("1.3.6.1.6.3.15.1.1");
// The time window the changes set now and then: a request kLateSeconds
// late is inside it, outside the usual 15 s.
constexpr uint32_t kWideWindow = 60;

bool walksFrom(int identity) {
  switch (identity) {
    case kV1Harbor:
    case kV2cHarbor:
    case kV2cWriter:
    case kV3Harbor:
    case kV3Sha:
    case kV3ShaDes:
    case kV3Sha256Aes:
    case kV3Admin:
      return true;
    default:
      return false;
  }
}

void setUp(Identity& id, const char* label, int version, const std::string& name,
           unsigned level = kNoAuthNoPriv, uint32_t auth = 0, uint32_t priv = 0,
           const std::string& authPassword = "", const std::string& privPassword = "") {
  id.label = label;
  id.version = version;
  id.name = name;
  id.level = level;
  id.authMethod = auth;
  id.privProtocol = priv;
  id.authPassword = authPassword;
  id.privPassword = privPassword;
}

void setUp(Identity& id, const char* label, const V3User& u) {
  setUp(id, label, kSnmpV3, u.name, u.level, u.authMethod, u.privProtocol, u.authPassword,
        u.privPassword);
}

}  // namespace

SoakTraffic::SoakTraffic(uint64_t seed, int streams) : streams_(streams), rng_(seed) {
  Identity* ids = identities_.data();
  setUp(ids[kV1Harbor], "v1 harbor", kSnmpV1, kCommunity);
  setUp(ids[kV2cHarbor], "v2c harbor", kSnmpV2c, kCommunity);
  setUp(ids[kV1Writer], "v1 soak-rw (write)", kSnmpV1, kWriterCommunity);
  setUp(ids[kV2cWriter], "v2c soak-rw (write)", kSnmpV2c, kWriterCommunity);
  setUp(ids[kV2cTemp], "v2c soak-temp", kSnmpV2c, kTempCommunity);
  setUp(ids[kV3Harbor], "v3 noAuthNoPriv harbor", kSnmpV3, kCommunity);
  setUp(ids[kV3Temp], "v3 noAuthNoPriv soak-temp", kSnmpV3, kTempCommunity);
  setUp(ids[kV3Sha], "v3 authNoPriv SHA-1", kV3Users[0]);
  setUp(ids[kV3ShaLate], "v3 authNoPriv SHA-1, 20 s late", kV3Users[0]);
  setUp(ids[kV3ShaDes], "v3 authPriv SHA-1+DES", kV3Users[1]);
  setUp(ids[kV3Sha256Aes], "v3 authPriv SHA-256+AES-128", kV3Users[2]);
  setUp(ids[kV3Admin], "v3 authPriv SHA-512+AES-256 (write)", kSnmpV3, kAdminUser, kAuthPriv, 5, 3,
        "soak admin auth password", "soak admin priv password");
  setUp(ids[kV3TempUser], "v3 authNoPriv SHA-224 soak-temp-v3", kSnmpV3, kTempUser, kAuthNoPriv, 2,
        0, "soak temp password 0");
  setUp(ids[kV3TempOld], "v3 soak-temp-v3, old password", kSnmpV3, kTempUser, kAuthNoPriv, 2, 0,
        "soak temp password 0");
  setUp(ids[kV3Discovery], "v3 discovery", kSnmpV3, "");
}

void SoakTraffic::setEngine(const EngineClock& engine) {
  engine_ = engine;
  for (Identity& id : identities_) id.localise(engine.state.engineID);
}

void SoakTraffic::changeTempPassword(const std::string& password) {
  Identity& old = identities_[kV3TempOld];
  old.authPassword = identities_[kV3TempUser].authPassword;
  old.localise(engine_.state.engineID);
  identities_[kV3TempUser].authPassword = password;
  identities_[kV3TempUser].localise(engine_.state.engineID);
}

int SoakTraffic::draw(const std::vector<int>& weights) {
  int total = 0;
  for (int w : weights) total += w;
  int r = static_cast<int>(rng_() % static_cast<uint64_t>(total));
  for (size_t i = 0; i < weights.size(); ++i) {
    if (r < weights[i]) return static_cast<int>(i);
    r -= weights[i];
  }
  return 0;
}

void SoakTraffic::next(int s, const World& world, uint32_t id, Request* request) {
  Stream& st = streams_[s];
  *request = Request();
  request->spec.id = id;
  request->steady = world.kxsimSteady;
  if (st.walking) {
    request->identity = st.identity;
    request->op = Op::kWalk;
    request->spec.pduTag = ber::kGetNextRequest;
    request->spec.name = st.last;
  } else {
    start(st, world, request);
  }
  expect(world, st.walking && kRoots[st.root].lastInMib, request);
}

void SoakTraffic::start(Stream& st, const World& world, Request* request) {
  std::vector<int> weights(kIdentityWeights.begin(), kIdentityWeights.end());
  if (!world.oldKeyInUse) weights[kV3TempOld] = 0;
  // Too early in the engine's life to be that late.
  if (engine_.now() < kLateSeconds) weights[kV3ShaLate] = 0;
  const int who = draw(weights);
  request->identity = who;
  if (who == kV3Discovery) {
    request->op = Op::kDiscovery;
    return;
  }
  // The late and the old-password identities only GET.
  const bool single = who == kV3ShaLate || who == kV3TempOld;
  request->op =
      single ? Op::kGet : static_cast<Op>(draw(walksFrom(who) ? kOpWeights : kNoWalkWeights));
  RequestSpec& spec = request->spec;
  switch (request->op) {
    case Op::kGet:
      spec.pduTag = ber::kGetRequest;
      spec.name = OID(kGets[rng_() % std::size(kGets)].oid);
      if (who == kV3ShaLate) spec.lagSeconds = kLateSeconds;
      break;
    case Op::kGetNext:
      spec.pduTag = ber::kGetNextRequest;
      spec.name = OID(kNexts[rng_() % std::size(kNexts)].oid);
      break;
    case Op::kSet:
      spec.pduTag = ber::kSetRequest;
      spec.name = OID(kSets[rng_() % std::size(kSets)].oid);
      spec.value = "soak-" + std::to_string(++setCount_);
      break;
    case Op::kWalk: {
      std::vector<int> rootWeights;
      for (const Root& r : kRoots) rootWeights.push_back(r.weight);
      st.walking = true;
      st.identity = who;
      st.root = draw(rootWeights);
      st.last = OID(kRoots[st.root].oid);
      st.objects = 0;
      st.steady = true;
      spec.pduTag = ber::kGetNextRequest;
      spec.name = st.last;
      break;
    }
    case Op::kDiscovery:
      break;
  }
}

void SoakTraffic::expect(const World& world, bool lastInMib, Request* request) const {
  Expect& e = request->expect;
  const int who = request->identity;
  auto report = [&](int code, bool plain) {
    e.kind = Expect::kReport;
    e.report = code;
    e.plain = plain;
  };
  // Who may ask at all.
  if (who == kV3Discovery) return report(kUnknownEngineID, false);
  if (who == kV2cTemp && !world.tempCommunity) {
    e.kind = Expect::kSilence;
    return;
  }
  if (who == kV3Temp && !world.tempCommunity) return report(kUnknownUserName, false);
  // An unknown user's MAC is checked against an empty key first, and the
  // old password's MAC is simply wrong: both are wrong digests.
  if ((who == kV3TempUser && !world.tempUser) || who == kV3TempOld) {
    return report(kWrongDigest, true);
  }
  if (who == kV3ShaLate && world.timeWindow < kWideWindow) {
    return report(kNotInTimeWindow, false);
  }

  const OID& oid = request->spec.name;
  const uint32_t kxsimMayMiss = world.kxsimSteady ? 0 : bit(kNoSuchName);
  uint32_t away = 0;  // statuses only kxsim's absence allows
  switch (request->op) {
    case Op::kGet:
      for (const Target& t : kGets) {
        if (oid != OID(t.oid)) continue;
        if (t.source == Source::kList) away = kxsimMayMiss;
        if (t.source == Source::kContact) e.text = &world.contact;
      }
      break;
    case Op::kGetNext:
      for (const Target& t : kNexts) {
        if (oid == OID(t.oid) && t.source == Source::kList) away = kxsimMayMiss;
      }
      break;
    case Op::kWalk:
      e.statuses |= lastInMib ? bit(kNoSuchName) : 0;
      away = kxsimMayMiss;
      break;
    case Op::kSet: {
      const bool mayWrite = who == kV1Writer || who == kV2cWriter || who == kV3Admin;
      if (!mayWrite || ((who == kV1Writer || who == kV2cWriter) && !world.writerMayWrite)) {
        e.statuses = bit(kReadOnly);
        break;
      }
      for (const SetTarget& t : kSets) {
        if (oid != OID(t.oid)) continue;
        if (t.kind == SetKind::kRefused) {
          e.statuses = bit(kNoSuchName);
        } else if (t.kind == SetKind::kConstant) {
          e.text = &kSysDescr;
        } else {
          e.echo = true;
          away = kxsimMayMiss;
        }
      }
      break;
    }
    case Op::kDiscovery:
      break;
  }
  e.awayOnly = away & ~e.statuses;
  e.statuses |= away;
}

std::vector<uint8_t> SoakTraffic::encode(const Request& request) const {
  if (request.op == Op::kDiscovery) return discoveryRequest(request.spec.id);
  return encodeRequest(identities_[request.identity], engine_, request.spec);
}

std::string SoakTraffic::check(int s, const Request& request, const SoakReply& reply) {
  std::string why = checkResponse(request, reply);
  Stream& st = streams_[s];
  if (request.op != Op::kWalk || !st.walking) return why;
  if (!why.empty()) {
    st.walking = false;
    return why;
  }
  return walkStep(st, request, reply);
}

std::string SoakTraffic::checkResponse(const Request& request, const SoakReply& reply) const {
  const Identity& who = identities_[request.identity];
  const Expect& e = request.expect;
  if (reply.version != who.version) return "version " + std::to_string(reply.version);
  if (who.version != kSnmpV3 && reply.community != who.name) return "community " + reply.community;
  if (who.version == kSnmpV3 && reply.engineID != engine_.state.engineID) {
    return "another engine ID";
  }
  if (e.kind == Expect::kReport) {
    const OID counter = kUsmStats + static_cast<unsigned>(e.report + 1) + 0u;
    if (reply.pduTag != static_cast<int>(ber::kReport)) {
      return "a response, not the report " + counter.str();
    }
    if (!reply.hasBinding || reply.name != counter) return "report " + reply.name.str();
    return "";
  }
  if (reply.pduTag != static_cast<int>(ber::kResponse)) {
    return "PDU tag " + std::to_string(reply.pduTag);
  }
  if (who.version == kSnmpV3 && reply.level != who.level) {
    return "level " + std::to_string(reply.level);
  }
  if (reply.requestId != static_cast<int>(request.spec.id)) return "request-id";
  if (reply.status < 0 || reply.status > 31 || !(e.statuses & bit(reply.status))) {
    return "error-status " + std::to_string(reply.status);
  }
  // noSuchName names the binding; the other errors leave the index 0.
  if (reply.index != (reply.status == kNoSuchName ? 1 : 0)) {
    return "error-index " + std::to_string(reply.index);
  }
  if (!reply.hasBinding) return "no binding";
  const bool next = request.op == Op::kGetNext || request.op == Op::kWalk;
  if (reply.status != 0) {
    if (reply.name != request.spec.name || reply.valueTag != static_cast<int>(ber::kNull)) {
      return "a failed binding other than the name asked with NULL";
    }
    return "";
  }
  if (next ? !(request.spec.name < reply.name) : reply.name != request.spec.name) {
    return "name " + reply.name.str();
  }
  if (reply.valueTag == static_cast<int>(ber::kNull) ||
      (reply.valueTag >= 0x80 && reply.valueTag <= 0x82)) {
    return "no value for " + reply.name.str();
  }
  if (e.text && reply.value != *e.text) {
    return "value \"" + reply.value + "\", not \"" + *e.text + "\"";
  }
  if (e.echo && reply.value != request.spec.value) return "value \"" + reply.value + "\" set";
  return "";
}

std::string SoakTraffic::walkStep(Stream& st, const Request& request, const SoakReply& reply) {
  const Root& root = kRoots[st.root];
  st.steady = st.steady && request.steady;
  const bool inside = reply.status == 0 && reply.name.startsWith(OID(root.oid));
  if (inside) {
    ++st.objects;
    st.last = reply.name;
    return "";
  }
  // Left the subtree, or (the last one of the MIB) ran out of objects.
  st.walking = false;
  if (!st.steady) return "";
  ++walksDone_;
  auto [known, first] = walkObjects_.emplace(st.root, st.objects);
  if (!first && known->second != st.objects) {
    return "a walk of " + std::string(root.oid) + " found " + std::to_string(st.objects) +
           " objects, the first " + std::to_string(known->second);
  }
  return "";
}

}  // namespace bench
