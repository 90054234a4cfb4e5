// What the soak run asks the agent, and what it expects back.
//
// Requests run in a few streams side by side (the driver's window).  A
// free stream starts a task drawn from a weighted mix: a GET, GETNEXT or
// SET of one object by one identity (a community or a v3 user), a v3
// discovery, or a walk of a subtree, which keeps the stream busy with
// GETNEXTs until it leaves the subtree.  What each request must get back
// follows from the agent's configuration when it is sent (World): a value,
// a miss, a refusal, a v3 report, or nothing at all.
#ifndef BENCH_SOAK_SOAK_TRAFFIC_H_
#define BENCH_SOAK_SOAK_TRAFFIC_H_

#include <array>
#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "bench/soak/soak_message.h"

namespace bench {

// The agent's configuration as the changes left it.
struct World {
  std::string contact;
  uint32_t timeWindow = 15;
  bool kxsimSteady = true;     // false while kxsim may be down or just back
  bool tempCommunity = true;   // "soak-temp" exists
  bool tempUser = true;        // "soak-temp-v3" exists
  bool writerMayWrite = true;  // "soak-rw" has write access
  bool oldKeyInUse = false;    // some requests use soak-temp-v3's previous password
};

// The identities, in the order of the report.
enum IdentityId {
  kV1Harbor,
  kV2cHarbor,
  kV1Writer,
  kV2cWriter,
  kV2cTemp,
  kV3Harbor,
  kV3Temp,
  kV3Sha,
  kV3ShaLate,  // bench-sha's requests made kLateSeconds before they are sent
  kV3ShaDes,
  kV3Sha256Aes,
  kV3Admin,
  kV3TempUser,
  kV3TempOld,  // soak-temp-v3 with its previous password
  kV3Discovery,
  kIdentityCount
};

enum class Op : uint8_t { kGet, kGetNext, kSet, kWalk, kDiscovery };
constexpr int kOpCount = 5;

struct Expect {
  enum Kind : uint8_t { kResponse, kReport, kSilence };
  Kind kind = kResponse;
  uint32_t statuses = 1;              // bit s set: error-status s is right
  uint32_t awayOnly = 0;              // of those, the ones only kxsim's absence excuses
  int report = -1;                    // kReport: the usmStats code
  bool plain = false;                 // opened without the sender's keys
  const std::string* text = nullptr;  // the value must be this (the World's, or a constant)
  bool echo = false;                  // a SET's value comes back
};

// One request sent, with what it must get.
struct Request {
  int identity = 0;
  Op op = Op::kGet;
  RequestSpec spec;
  Expect expect;
  bool steady = true;  // kxsim was steady when it was sent
};

// The communities and users the changes add, change and remove.
constexpr const char kWriterCommunity[] = "soak-rw";
constexpr const char kTempCommunity[] = "soak-temp";
constexpr const char kTempUser[] = "soak-temp-v3";
constexpr const char kAdminUser[] = "soak-admin";
constexpr uint32_t kLateSeconds = 20;

class SoakTraffic {
 public:
  // seed: of the mix; streams: how many run side by side.
  SoakTraffic(uint64_t seed, int streams);

  Identity& identity(int id) { return identities_[id]; }
  const Identity& identity(int id) const { return identities_[id]; }
  // Takes a new view of the engine and localises every key to it.
  void setEngine(const EngineClock& engine);
  // soak-temp-v3's password changes: the old one stays in use by
  // kV3TempOld.
  void changeTempPassword(const std::string& password);

  // The next request of stream s: its walk goes on, or a new task starts.
  void next(int s, const World& world, uint32_t id, Request* request);
  std::vector<uint8_t> encode(const Request& request) const;
  // "" when reply is what request had to get, else what is wrong.  Moves
  // the stream's walk on.
  std::string check(int s, const Request& request, const SoakReply& reply);
  // The stream's walk ends unfinished (a lost request, the phase's end).
  void abandon(int s) { streams_[s].walking = false; }

  // Walks finished while kxsim was steady (their object counts compared).
  uint64_t walksDone() const { return walksDone_; }

 private:
  struct Stream {
    bool walking = false;
    int identity = 0;
    int root = 0;
    OID last;
    uint64_t objects = 0;
    bool steady = true;  // every step so far
  };

  void start(Stream& st, const World& world, Request* request);
  // Fills request->expect; lastInMib: a walk step of the MIB's last
  // subtree, which ends with noSuchName.
  void expect(const World& world, bool lastInMib, Request* request) const;
  std::string checkResponse(const Request& request, const SoakReply& reply) const;
  std::string walkStep(Stream& st, const Request& request, const SoakReply& reply);
  int draw(const std::vector<int>& weights);

  std::array<Identity, kIdentityCount> identities_;
  EngineClock engine_;
  std::vector<Stream> streams_;
  std::mt19937_64 rng_;
  std::map<int, uint64_t> walkObjects_;  // root -> objects of its first full walk
  uint64_t walksDone_ = 0;
  uint64_t setCount_ = 0;
};

}  // namespace bench

#endif  // BENCH_SOAK_SOAK_TRAFFIC_H_
