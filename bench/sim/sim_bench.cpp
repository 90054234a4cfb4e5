// kxsim under load: get-record round trips per second against the real
// kxsim process, next to a bare SOCK_SEQPACKET ping-pong between two
// processes measured in the same run (the final line gives the ratio; the
// aim is at least 0.5), and the time to page through 10,000 objects with
// get all.
//
//   sim_bench [--benchmark_filter=...]     kxsim and the scenario are found
//                                          through the build tree
#include <benchmark/benchmark.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "kx/looper.h"
#include "kx/message.h"
#include "kx/platform.h"

namespace {

constexpr uint32_t kClientService = 0x40000f01;
constexpr uint32_t kRows = 10000;
constexpr int kTimeoutMs = 5000;
constexpr const char kKxsim[] = KXSIM_PATH;
constexpr const char kScenario[] = SCALE_SCENARIO;

struct Peers {
  pid_t kxsim = -1;
  pid_t raw = -1;
  int rawFd = -1;
  std::string root;
} peers;

double recordRate = 0;
double rawRate = 0;
size_t requestBytes = 0;

kx::message getRecord() {
  kx::message m;
  m.setDstPath({24, 1});
  m.setCommand(kx::kCmdGet);
  return m;
}

// Starts kxsim and waits for its "serving" line.
bool startKxsim() {
  int out[2];
  if (pipe(out) != 0) return false;
  peers.kxsim = fork();
  if (peers.kxsim < 0) return false;
  if (peers.kxsim == 0) {
    dup2(out[1], STDOUT_FILENO);
    close(out[0]);
    close(out[1]);
    execl(kKxsim, kKxsim, "--root", peers.root.c_str(), kScenario, static_cast<char*>(nullptr));
    std::fprintf(stderr, "sim_bench: cannot run %s: %s\n", kKxsim, std::strerror(errno));
    _exit(127);
  }
  close(out[1]);
  std::string seen;
  char buf[256];
  ssize_t n;
  while (seen.find("serving") == std::string::npos && (n = read(out[0], buf, sizeof buf)) > 0) {
    seen.append(buf, n);
  }
  close(out[0]);
  return seen.find("serving") != std::string::npos;
}

bool startRawPeer() {
  int sv[2];
  if (socketpair(AF_UNIX, SOCK_SEQPACKET, 0, sv) != 0) return false;
  peers.raw = fork();
  if (peers.raw < 0) return false;
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
  return true;
}

void stopPeers() {
  if (peers.kxsim > 0) {
    kill(peers.kxsim, SIGTERM);
    int status = 0;
    waitpid(peers.kxsim, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
      std::fprintf(stderr, "sim_bench: kxsim did not stop cleanly (status %d)\n", status);
    }
  }
  if (peers.raw > 0) {
    kill(peers.raw, SIGKILL);
    waitpid(peers.raw, nullptr, 0);
  }
  if (peers.rawFd >= 0) close(peers.rawFd);
  if (!peers.root.empty()) {
    std::string cmd = "rm -rf '" + peers.root + "'";
    if (std::system(cmd.c_str()) != 0)
      std::fprintf(stderr, "cannot remove %s\n", peers.root.c_str());
  }
}

double perSecond(int64_t n, std::chrono::steady_clock::time_point start) {
  std::chrono::duration<double> s = std::chrono::steady_clock::now() - start;
  return s.count() > 0 ? n / s.count() : 0;
}

void BM_RawSeqpacket(benchmark::State& state) {
  // As many bytes as the encoded get-record request.
  std::string packet(requestBytes, 'x');
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
  state.counters["round_trips"] =
      benchmark::Counter(state.iterations(), benchmark::Counter::kIsRate);
}

void BM_KxsimGetRecord(benchmark::State& state) {
  kx::Looper client(kClientService);
  const kx::message request = getRecord();
  auto start = std::chrono::steady_clock::now();
  for (auto _ : state) {
    kx::message m = request;
    kx::message reply = client.exchangeMessage(m, kTimeoutMs);
    if (kx::isError(reply)) {
      state.SkipWithError(kx::getError(reply).c_str());
      return;
    }
    benchmark::DoNotOptimize(reply);
  }
  recordRate = perSecond(state.iterations(), start);
  state.counters["round_trips"] =
      benchmark::Counter(state.iterations(), benchmark::Counter::kIsRate);
}

// One iteration pages through the whole list; the argument is the wanted
// page size (0: the scenario's).
void BM_KxsimPageAll(benchmark::State& state) {
  kx::Looper client(kClientService + 1);
  uint32_t pageSize = static_cast<uint32_t>(state.range(0));
  for (auto _ : state) {
    kx::message req;
    req.setDstPath({20, 0});
    req.setCommand(kx::kCmdGetAll);
    if (pageSize) req.setU32(kx::kPageSize, pageSize);
    uint32_t rows = 0;
    int pages = 0;
    for (;;) {
      kx::message m = req;
      kx::message reply = client.exchangeMessage(m, kTimeoutMs);
      if (kx::isError(reply)) {
        state.SkipWithError(kx::getError(reply).c_str());
        return;
      }
      ++pages;
      const auto* objects = reply.findMessageArray(kx::kObjects);
      rows += objects ? objects->size() : 0;
      if (!reply.has(kx::kContinue)) break;
      req.setU32(kx::kContinue, reply.getU32(kx::kContinue));
    }
    if (rows != kRows) {
      state.SkipWithError("the walk did not return every row");
      return;
    }
    state.counters["pages"] = pages;
  }
  state.counters["rows_per_s"] = benchmark::Counter(static_cast<double>(state.iterations()) * kRows,
                                                    benchmark::Counter::kIsRate);
}

BENCHMARK(BM_RawSeqpacket)->MinTime(0.5)->UseRealTime();
BENCHMARK(BM_KxsimGetRecord)->MinTime(0.5)->UseRealTime();
BENCHMARK(BM_KxsimPageAll)
    ->Arg(0)
    ->Arg(1000)
    ->MinTime(0.5)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  char tmpl[] = "/tmp/sim_bench.XXXXXX";
  if (!mkdtemp(tmpl)) {
    std::perror("sim_bench: mkdtemp");
    return 1;
  }
  peers.root = tmpl;
  kx::setRoot(peers.root);
  kx::message probe = getRecord();
  probe.setU32(kx::kRequestId, 1);
  probe.setU32Array(kx::kSrcPath, {kClientService, 0});
  requestBytes = probe.encode().size();
  if (!startKxsim() || !startRawPeer()) {
    std::fprintf(stderr, "sim_bench: cannot start kxsim (%s) or the raw peer\n", kKxsim);
    stopPeers();
    return 1;
  }
  benchmark::RunSpecifiedBenchmarks();
  stopPeers();
  if (recordRate > 0 && rawRate > 0)
    std::printf("kxsim get-record/raw round-trip ratio: %.2f (target >= 0.50)\n",
                recordRate / rawRate);
  benchmark::Shutdown();
  return 0;
}
