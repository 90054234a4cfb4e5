// The servers the benchmarks measure, each started on a loopback port of
// its own under a temporary directory: our snmpd (settings seeded offline
// with kxctl, optionally behind kxsim), the distribution's net-snmp snmpd with a
// generated minimal configuration, and a UDP echo server as the ceiling.
#ifndef BENCH_LOAD_AGENT_PEERS_H_
#define BENCH_LOAD_AGENT_PEERS_H_

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "bench/load/load_window.h"
#include "bench/load/peer_process.h"
#include "bench/load/snmp_wire.h"
#include "bench/load/v3_traffic.h"

namespace bench {

// Communities: ours answers its default read-only community on a first
// start; net-snmp's configuration is written with the same name.
constexpr const char kCommunity[] = "harbor";
// net-snmp's sysDescr: the same text as ours, so that replies to the same
// request have the same size.
constexpr const char kSysDescrText[] = "router";
// The v3 users both agents are given: authNoPriv SHA-1, authPriv SHA-1 with
// DES and SHA-256 with AES-128.
extern const V3User kV3Users[3];
// How long a server may take to answer its first request.
constexpr auto kStartTimeout = std::chrono::seconds(15);

struct OurAgent {
  std::string snmpd;     // the agent binary
  std::string kxctl;     // seeds the settings store before the start
  std::string kxsim;     // a simulated router to start first, or empty
  std::string scenario;  // kxsim's scenario
  std::string journal;   // kxsim's journal file, or empty
  bool v3Users = true;   // seed kV3Users beside the default community
  // Where the agent sends its traps; 0: a port nobody listens on.
  uint16_t trapPort = 0;
};

// Sends request to 127.0.0.1:port every 200 ms until a datagram comes back
// or timeout passes; stores the reply's bytes.  Gives up early when server,
// if non-null, exits.
bool ask(uint16_t port, const std::vector<uint8_t>& request, std::chrono::milliseconds timeout,
         ChildProcess* server, std::vector<uint8_t>* reply);

// Starts kxsim with its output appended to log under root and waits until
// it serves.  On failure *error says what and why.
bool startKxsim(const OurAgent& paths, const TempDir& root, const std::string& log,
                ChildProcess* sim, std::string* error);

// Starts kxsim (when named) and our agent under root on port, with the
// default community and (paths.v3Users) kV3Users; the agent is ready when
// it answers a request.  On failure *error says what and why.
bool startOurAgent(const OurAgent& paths, const TempDir& root, uint16_t port, ChildProcess* sim,
                   ChildProcess* agent, std::string* error);

// Starts net-snmp's snmpd (binary) from a configuration written into dir:
// the read-only community, kV3Users (read-only), a constant sysDescr,
// loopback only.
bool startNetSnmp(const std::string& binary, const TempDir& dir, uint16_t port, ChildProcess* agent,
                  std::string* error);

// Starts a UDP echo server on 127.0.0.1:port: every datagram goes straight
// back to its sender.
bool startEcho(uint16_t port, ChildProcess* echo, std::string* error);

}  // namespace bench

#endif  // BENCH_LOAD_AGENT_PEERS_H_
