#include "bench/load/agent_peers.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <thread>

namespace bench {

namespace {

constexpr auto kAskEvery = std::chrono::milliseconds(200);
constexpr auto kSeedTimeout = std::chrono::milliseconds(10000);
constexpr size_t kDatagramMax = 65536;
const char kSettingsStore[] = "/sarn/store/snmpd";
const char kCommunityStore[] = "/sarn/store/snmp-communities";
const char kEnabled[] = "0x00000001=true";
// A stored settings object without a time window has none: v3 requests
// would have to arrive within the second they were made.
const char kTimeWindow[] = "0x0800000e=15";
const char kKxsimReady[] = "kxsim: serving services";

bool fileHas(const std::string& path, const std::string& text) {
  std::ifstream in(path, std::ios::binary);
  std::string body((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  return body.find(text) != std::string::npos;
}

// Any well-formed request: the agents answer it with a value or a miss,
// both of which prove that they serve.
bool probe(uint16_t port, ChildProcess* server, const std::string& log, std::string* error) {
  RequestTemplate request;
  request.build(kGetRequest, kCommunity, "1.3.6.1.2.1.1.1.0");
  std::vector<uint8_t> reply;
  if (ask(port, request.bytes(),
          std::chrono::duration_cast<std::chrono::milliseconds>(kStartTimeout), server, &reply)) {
    return true;
  }
  *error =
      (server->alive() ? "no answer on port " + std::to_string(port) : std::string("it exited")) +
      "; its log (" + log + "):\n" + logTail(log);
  return false;
}

// The community store's objects: the default read community (a first
// start would create it, but not beside other objects), then the users.
std::vector<std::vector<std::string>> communityObjects(bool users) {
  std::vector<std::vector<std::string>> objects = {
      {"0x20000005=" + std::string(kCommunity), "0x00000006=true"}};
  for (const V3User& u : kV3Users) {
    if (!users) break;
    objects.push_back(
        {"0x20000005=" + std::string(u.name), "0x00000006=true",
         "0x0800000f=" + std::to_string(u.level), "0x08000014=" + std::to_string(u.authMethod),
         "0x08000015=" + std::to_string(u.privProtocol),
         "0x2000000b=" + std::string(u.authPassword), "0x2000000c=" + std::string(u.privPassword)});
  }
  return objects;
}

}  // namespace

const V3User kV3Users[3] = {
    {"bench-sha", 1, 1, 0, "SHA", "DES", "bench auth password", "bench priv password"},
    {"bench-sha-des", 2, 1, 0, "SHA", "DES", "bench auth password", "bench priv password"},
    {"bench-sha256-aes", 2, 3, 1, "SHA-256", "AES", "bench auth password", "bench priv password"}};

bool ask(uint16_t port, const std::vector<uint8_t>& request, std::chrono::milliseconds timeout,
         ChildProcess* server, std::vector<uint8_t>* reply) {
  const int fd = connectUdp(port);
  if (fd < 0) return false;
  const auto deadline = Clock::now() + timeout;
  std::vector<uint8_t> buf(kDatagramMax);
  bool got = false;
  while (!got && Clock::now() < deadline && (!server || server->alive())) {
    (void)::send(fd, request.data(), request.size(), 0);
    pollfd p{fd, POLLIN, 0};
    if (::poll(&p, 1, static_cast<int>(kAskEvery.count())) <= 0) continue;
    const ssize_t n = ::recv(fd, buf.data(), buf.size(), MSG_DONTWAIT);
    if (n < 0) {
      // Refused: nobody listens yet.  Wait before the next try.
      std::this_thread::sleep_for(kAskEvery);
      continue;
    }
    reply->assign(buf.begin(), buf.begin() + n);
    got = true;
  }
  ::close(fd);
  return got;
}

bool startKxsim(const OurAgent& paths, const TempDir& root, const std::string& log,
                ChildProcess* sim, std::string* error) {
  std::vector<std::string> args = {paths.kxsim, "--root", root.path()};
  if (!paths.journal.empty()) args.insert(args.end(), {"--journal", paths.journal});
  args.push_back(paths.scenario);
  if (!sim->start(args, log)) {
    *error = "cannot start " + paths.kxsim;
    return false;
  }
  const auto deadline = Clock::now() + kStartTimeout;
  while (!fileHas(log, kKxsimReady)) {
    if (!sim->alive() || Clock::now() >= deadline) {
      *error = "kxsim did not come up; its log:\n" + logTail(log);
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return true;
}

bool startOurAgent(const OurAgent& paths, const TempDir& root, uint16_t port, ChildProcess* sim,
                   ChildProcess* agent, std::string* error) {
  const std::string& dir = root.path();
  if (!paths.kxsim.empty() && !startKxsim(paths, root, dir + "/kxsim.log", sim, error)) {
    return false;
  }

  const std::string seedLog = dir + "/seed.log";
  std::vector<std::vector<std::string>> seeds = {
      {paths.kxctl, "--root", dir, "store", "put", kSettingsStore, "0", kEnabled, kTimeWindow}};
  const std::vector<std::vector<std::string>> objects = communityObjects(paths.v3Users);
  for (size_t id = 0; id < objects.size(); ++id) {
    seeds.push_back(
        {paths.kxctl, "--root", dir, "store", "put", kCommunityStore, std::to_string(id)});
    seeds.back().insert(seeds.back().end(), objects[id].begin(), objects[id].end());
  }
  for (const std::vector<std::string>& seed : seeds) {
    if (runToCompletion(seed, seedLog, kSeedTimeout) != 0) {
      *error = "kxctl could not seed the stores:\n" + logTail(seedLog);
      return false;
    }
  }
  // Traps, if any generator is on, go to a port nobody listens on unless
  // one is given.
  const uint16_t trapPort = paths.trapPort ? paths.trapPort : freeUdpPort();
  const std::string log = dir + "/snmpd.log";
  if (!agent->start({paths.snmpd, "--root", dir, "--port", std::to_string(port), "--trap-port",
                     std::to_string(trapPort ? trapPort : port)},
                    log)) {
    *error = "cannot start " + paths.snmpd;
    return false;
  }
  return probe(port, agent, log, error);
}

bool startNetSnmp(const std::string& binary, const TempDir& dir, uint16_t port, ChildProcess* agent,
                  std::string* error) {
  const std::string conf = dir.path() + "/snmpd.conf";
  {
    std::ofstream out(conf);
    out << "rocommunity " << kCommunity << " 127.0.0.1\n"
        << "sysdescr " << kSysDescrText << "\n"
        << "syscontact bench\n"
        << "syslocation bench\n";
    for (const V3User& u : kV3Users) {
      out << "createUser " << u.name << " " << u.netSnmpAuth << " \"" << u.authPassword << "\"";
      if (u.level == 2) out << " " << u.netSnmpPriv << " \"" << u.privPassword << "\"";
      out << "\nrouser " << u.name << (u.level == 2 ? " priv" : " auth") << "\n";
    }
    if (!out) {
      *error = "cannot write " + conf;
      return false;
    }
  }
  const std::string endpoint = "udp:127.0.0.1:" + std::to_string(port);
  const std::string log = dir.path() + "/netsnmp.log";
  // Its state files go to the temporary directory, not the system's.
  if (!agent->start({binary, "-f", "-Lo", "-C", "-c", conf, endpoint}, log,
                    {{"SNMP_PERSISTENT_DIR", dir.path()}})) {
    *error = "cannot start " + binary;
    return false;
  }
  return probe(port, agent, log, error);
}

bool startEcho(uint16_t port, ChildProcess* echo, std::string* error) {
  const int fd = ::socket(AF_INET, SOCK_DGRAM, 0);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  a.sin_port = htons(port);
  if (fd < 0 || ::bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
    if (fd >= 0) ::close(fd);
    *error = "cannot bind the echo server to port " + std::to_string(port);
    return false;
  }
  // Bound before the fork: the server is ready as soon as it exists.
  const bool started = echo->startFunction(
      [fd] {
        std::vector<uint8_t> buf(kDatagramMax);
        for (;;) {
          sockaddr_in from{};
          socklen_t len = sizeof from;
          const ssize_t n =
              ::recvfrom(fd, buf.data(), buf.size(), 0, reinterpret_cast<sockaddr*>(&from), &len);
          if (n < 0) continue;
          ::sendto(fd, buf.data(), static_cast<size_t>(n), 0, reinterpret_cast<sockaddr*>(&from),
                   len);
        }
      },
      "echo server");
  ::close(fd);
  if (!started) *error = "cannot fork the echo server";
  return started;
}

}  // namespace bench
