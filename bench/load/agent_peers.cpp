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
const char kEnabled[] = "0x00000001=true";
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
  if (ask(port, request, std::chrono::duration_cast<std::chrono::milliseconds>(kStartTimeout),
          server, &reply)) {
    return true;
  }
  *error =
      (server->alive() ? "no answer on port " + std::to_string(port) : std::string("it exited")) +
      "; its log (" + log + "):\n" + logTail(log);
  return false;
}

}  // namespace

bool ask(uint16_t port, const RequestTemplate& request, std::chrono::milliseconds timeout,
         ChildProcess* server, std::vector<uint8_t>* reply) {
  const int fd = connectUdp(port);
  if (fd < 0) return false;
  const auto deadline = Clock::now() + timeout;
  std::vector<uint8_t> buf(kDatagramMax);
  bool got = false;
  while (!got && Clock::now() < deadline && (!server || server->alive())) {
    (void)::send(fd, request.bytes().data(), request.bytes().size(), 0);
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

bool startOurAgent(const OurAgent& paths, const TempDir& root, uint16_t port, ChildProcess* sim,
                   ChildProcess* agent, std::string* error) {
  const std::string& dir = root.path();
  if (!paths.kxsim.empty()) {
    std::vector<std::string> args = {paths.kxsim, "--root", dir};
    if (!paths.journal.empty()) args.insert(args.end(), {"--journal", paths.journal});
    args.push_back(paths.scenario);
    const std::string log = dir + "/kxsim.log";
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
  }

  const std::string seedLog = dir + "/seed.log";
  if (runToCompletion({paths.kxctl, "--root", dir, "store", "put", kSettingsStore, "0", kEnabled},
                      seedLog, kSeedTimeout) != 0) {
    *error = "kxctl could not seed the settings store:\n" + logTail(seedLog);
    return false;
  }
  // Traps, if any generator is on, go to a port nobody listens on.
  const uint16_t trapPort = freeUdpPort();
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
