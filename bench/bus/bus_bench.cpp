// Round trips per second of Looper::exchangeMessage against a service in
// another process, next to a bare SOCK_SEQPACKET ping-pong of the same size
// between two processes, measured in the same run.  The final line gives
// the ratio exchange/raw (the bus aims for at least 0.5).
//
// The service is a Looper with an echo handler; kxsim's handlers answer a
// request the same way (one decode, one handler call, one encoded reply),
// so this stands in for it without needing a scenario file.
#include <benchmark/benchmark.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "kx/handler.h"
#include "kx/looper.h"
#include "kx/message.h"
#include "kx/paths.h"

namespace {

constexpr uint32_t kEchoService = 900;
constexpr uint32_t kClientService = 901;
constexpr uint32_t kPayloadKey = kx::string_id(1);

class Echo : public kx::Handler {
 public:
  kx::message cmdGet(const kx::message& msg) override { return msg; }
};

struct Peers {
  pid_t echo = -1;
  pid_t raw = -1;
  int rawFd = -1;
  std::string root;
};
Peers peers;

// Round trips per second of the last (longest) run of each benchmark.
double exchangeRate = 0;
double rawRate = 0;

kx::message sampleRequest() {
  kx::message m;
  m.setDstPath({kEchoService, 0});
  m.setCommand(kx::kCmdGet);
  m.setString(kPayloadKey, std::string(32, 'x'));
  return m;
}

bool waitByte(int fd) {
  char b;
  return read(fd, &b, 1) == 1;
}

bool startPeers() {
  char tmpl[] = "/tmp/kxbusbenchXXXXXX";
  if (!mkdtemp(tmpl)) return false;
  peers.root = tmpl;
  kx::setRoot(peers.root);

  int ready[2];
  if (pipe(ready) != 0) return false;
  peers.echo = fork();
  if (peers.echo == 0) {
    kx::Looper l(kEchoService);
    Echo echo;
    l.addHandler(0, &echo);
    if (write(ready[1], "r", 1) != 1) _exit(1);
    l.run();
    _exit(0);
  }
  if (!waitByte(ready[0])) return false;

  int sv[2];
  if (socketpair(AF_UNIX, SOCK_SEQPACKET, 0, sv) != 0) return false;
  peers.raw = fork();
  if (peers.raw == 0) {
    close(sv[0]);
    char buf[4096];
    for (;;) {
      ssize_t n = recv(sv[1], buf, sizeof buf, 0);
      if (n <= 0 || send(sv[1], buf, n, MSG_NOSIGNAL) != n) _exit(0);
    }
  }
  close(sv[1]);
  peers.rawFd = sv[0];
  close(ready[0]);
  close(ready[1]);
  return true;
}

void stopPeers() {
  for (pid_t p : {peers.echo, peers.raw}) {
    if (p > 0) {
      kill(p, SIGKILL);
      waitpid(p, nullptr, 0);
    }
  }
  if (peers.rawFd >= 0) close(peers.rawFd);
  if (!peers.root.empty()) {
    std::string cmd = "rm -rf '" + peers.root + "'";
    if (std::system(cmd.c_str()) != 0) std::fprintf(stderr, "cannot remove %s\n", peers.root.c_str());
  }
}

double perSecond(int64_t n, std::chrono::steady_clock::time_point start) {
  std::chrono::duration<double> s = std::chrono::steady_clock::now() - start;
  return s.count() > 0 ? n / s.count() : 0;
}

void BM_Exchange(benchmark::State& state) {
  kx::Looper client(kClientService);
  const kx::message request = sampleRequest();
  auto start = std::chrono::steady_clock::now();
  for (auto _ : state) {
    kx::message m = request;
    kx::message reply = client.exchangeMessage(m, 2000);
    if (kx::isError(reply)) {
      state.SkipWithError(kx::getError(reply).c_str());
      return;
    }
    benchmark::DoNotOptimize(reply);
  }
  exchangeRate = perSecond(state.iterations(), start);
  state.counters["round_trips"] = benchmark::Counter(state.iterations(), benchmark::Counter::kIsRate);
}

void BM_RawSeqpacket(benchmark::State& state) {
  // The same number of bytes as an encoded exchange request.
  kx::message m = sampleRequest();
  m.setU32(kx::kRequestId, 1);
  m.setU32Array(kx::kSrcPath, {kClientService, 0});
  std::string packet = m.encode();
  std::vector<char> buf(4096);
  auto start = std::chrono::steady_clock::now();
  for (auto _ : state) {
    if (send(peers.rawFd, packet.data(), packet.size(), MSG_NOSIGNAL) < 0 ||
        recv(peers.rawFd, buf.data(), buf.size(), 0) <= 0) {
      state.SkipWithError("raw peer gone");
      return;
    }
  }
  rawRate = perSecond(state.iterations(), start);
  state.counters["round_trips"] = benchmark::Counter(state.iterations(), benchmark::Counter::kIsRate);
}

BENCHMARK(BM_RawSeqpacket)->MinTime(1.0)->UseRealTime();
BENCHMARK(BM_Exchange)->MinTime(1.0)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  if (!startPeers()) {
    std::fprintf(stderr, "bus_bench: cannot start the peer processes\n");
    stopPeers();
    return 1;
  }
  benchmark::RunSpecifiedBenchmarks();
  stopPeers();
  if (exchangeRate > 0 && rawRate > 0)
    std::printf("exchange/raw round-trip ratio: %.2f (target >= 0.50)\n", exchangeRate / rawRate);
  benchmark::Shutdown();
  return 0;
}
