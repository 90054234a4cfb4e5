// core_bench: the cost of answering one request inside the agent, set
// against a loopback UDP round trip measured in the same run.
//
// Printed ratios (lower is better):
//   one-binding GET dispatch / UDP round trip   (target <= 0.1): answering
//       must stay small beside what the network costs anyway;
//   GETNEXT at 100,000 leaves / at 100 leaves   (target <= 2): the MIB
//       lookup must grow slowly (ordered map), not with the tree's size.
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "asn1/in_stream.h"
#include "asn1/out_stream.h"
#include "engine/community_list.h"
#include "engine/context.h"
#include "engine/create_reply.h"
#include "engine/leafs.h"
#include "engine/packer.h"
#include "tests/unit/support/snmp_request.h"

namespace {

constexpr unsigned kSmallMib = 100;
constexpr unsigned kLargeMib = 100000;
constexpr unsigned kReplyBindings = 50;
constexpr double kMinTime = 0.2;  // seconds per benchmark: a short run
const OID kBase("1.3.6.1.4.1.32473.9");

// Nanoseconds per iteration of the last run of each yardstick.
double getNs = 0, getNextSmallNs = 0, getNextLargeNs = 0, udpNs = 0;

class ConstInt : public Packer {
 public:
  ConstInt() : Packer(0x02) {}
  void pack(Context& ctx, Data const*) override { ctx.out.add(12345, tag); }
  void unpack(Data*, Context&) override {}
};

// A MIB of n constant scalars under kBase, rebuilt only when n changes.
void useMib(unsigned n) {
  static ConstInt packer;
  static std::vector<Leaf*> leaves;
  if (leaves.size() == n) return;
  leafs.clear();
  for (Leaf* leaf : leaves) delete leaf;
  leaves.clear();
  for (unsigned i = 1; i <= n; ++i) {
    leaves.push_back(new ScalarLeaf(&packer, nullptr));
    addLeaf(kBase + i, leaves.back());
  }
}

void useCommunity() {
  static CommunityList list;
  if (list.items.empty()) {
    auto* item = new CommunityList::Item;
    item->name = "public";
    item->readAccess = true;
    list.items.push_back(item);
  }
  communityKeep = &list;
}

std::vector<unsigned char> request(unsigned tag, const OID& name) {
  return snmp_request::communityRequest(1, "public", tag, {name}, 4242);
}

double nsPerIteration(benchmark::State& state, std::chrono::steady_clock::time_point start) {
  std::chrono::duration<double, std::nano> d = std::chrono::steady_clock::now() - start;
  return state.iterations() ? d.count() / state.iterations() : 0;
}

void dispatchLoop(benchmark::State& state, unsigned tag, const OID& name, double* ns) {
  useCommunity();
  std::vector<unsigned char> bytes = request(tag, name);
  auto start = std::chrono::steady_clock::now();
  for (auto _ : state) {
    Context ctx(bytes.data(), bytes.size());
    if (!createReply(ctx, 0)) state.SkipWithError("request not answered");
    benchmark::DoNotOptimize(ctx.out.bytes().data());
  }
  *ns = nsPerIteration(state, start);
}

void BM_DispatchGet(benchmark::State& state) {
  useMib(kSmallMib);
  dispatchLoop(state, 0xA0, kBase + (kSmallMib / 2) + 0, &getNs);
}

void BM_DispatchGetNext(benchmark::State& state) {
  const unsigned n = static_cast<unsigned>(state.range(0));
  useMib(n);
  double* ns = n == kLargeMib ? &getNextLargeNs : &getNextSmallNs;
  // The middle leaf's key: answered with its instance.
  dispatchLoop(state, 0xA1, kBase + (n / 2), ns);
}

// A response of 50 bindings, as createReply would build it.
std::vector<unsigned char> encodeReply() {
  static const std::vector<OID> names = [] {
    std::vector<OID> v;
    for (unsigned i = 1; i <= kReplyBindings; ++i) {
      v.push_back(OID("1.3.6.1.2.1.2.2.1.10") + i);
    }
    return v;
  }();
  OutStream out;
  out.startSeq(0x30);
  out.add(1, 0x02);
  out.add(std::string("public"), 0x04);
  out.startSeq(0xA2);
  out.add(4242, 0x02);
  out.addErrorStatus(0);
  out.addErrorIndex(0);
  out.startSeq(0x30);
  for (unsigned i = 0; i < kReplyBindings; ++i) {
    out.startSeq(0x30);
    out.addOID(names[i], 0x06);
    out.add(0x80000000u + i, 0x41);
    out.endSeq();
  }
  out.endSeq();
  out.endSeq();
  out.endSeq();
  return {out.bytes().begin(), out.bytes().end()};
}

void BM_Encode50(benchmark::State& state) {
  for (auto _ : state) {
    std::vector<unsigned char> bytes = encodeReply();
    benchmark::DoNotOptimize(bytes.data());
  }
}

void BM_Decode50(benchmark::State& state) {
  const std::vector<unsigned char> bytes = encodeReply();
  for (auto _ : state) {
    InStream in(bytes.data(), bytes.size());
    std::string community;
    int id = 0, status = 0, index = 0;
    in.getVersion();
    in.getString(&community);
    in.enterSeq();
    in.getInt(&id);
    in.getInt(&status);
    in.getInt(&index);
    in.enterSeq();
    unsigned count = 0;
    while (!in.atSeqEnd() && in.enterSeq() >= 0) {
      OID name;
      unsigned long long value = 0;
      in.getOID(&name);
      in.get64(&value);
      in.exitSeq();
      ++count;
    }
    if (count != kReplyBindings) state.SkipWithError("decode lost bindings");
  }
}

// Loopback UDP: a thread echoes every datagram back to its sender.
class UdpEcho {
 public:
  bool start() {
    server_ = socket(AF_INET, SOCK_DGRAM, 0);
    client_ = socket(AF_INET, SOCK_DGRAM, 0);
    if (server_ < 0 || client_ < 0) return false;
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof addr;
    if (bind(server_, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0 ||
        getsockname(server_, reinterpret_cast<sockaddr*>(&addr), &len) != 0 ||
        connect(client_, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
      return false;
    }
    echo_ = std::thread([this] {
      unsigned char buf[2048];
      sockaddr_in from{};
      for (;;) {
        socklen_t fl = sizeof from;
        ssize_t n = recvfrom(server_, buf, sizeof buf, 0, reinterpret_cast<sockaddr*>(&from), &fl);
        if (n <= 0 || stop_) return;
        sendto(server_, buf, n, 0, reinterpret_cast<sockaddr*>(&from), fl);
      }
    });
    return true;
  }
  ~UdpEcho() {
    if (echo_.joinable()) {
      stop_ = true;
      send(client_, "x", 1, 0);
      echo_.join();
    }
    if (server_ >= 0) close(server_);
    if (client_ >= 0) close(client_);
  }
  bool roundTrip(const std::vector<unsigned char>& bytes) {
    unsigned char buf[2048];
    if (send(client_, bytes.data(), bytes.size(), 0) < 0) return false;
    return recv(client_, buf, sizeof buf, 0) == static_cast<ssize_t>(bytes.size());
  }

 private:
  int server_ = -1, client_ = -1;
  std::atomic<bool> stop_{false};
  std::thread echo_;
};

void BM_UdpRoundTrip(benchmark::State& state) {
  UdpEcho echo;
  if (!echo.start()) {
    state.SkipWithError("no loopback UDP");
    return;
  }
  const std::vector<unsigned char> bytes = request(0xA0, kBase + 1 + 0);
  auto start = std::chrono::steady_clock::now();
  for (auto _ : state) {
    if (!echo.roundTrip(bytes)) state.SkipWithError("echo failed");
  }
  udpNs = nsPerIteration(state, start);
}

BENCHMARK(BM_UdpRoundTrip)->MinTime(kMinTime)->UseRealTime();
BENCHMARK(BM_DispatchGet)->MinTime(kMinTime);
BENCHMARK(BM_DispatchGetNext)->Arg(kSmallMib)->Arg(kLargeMib)->MinTime(kMinTime);
BENCHMARK(BM_Encode50)->MinTime(kMinTime);
BENCHMARK(BM_Decode50)->MinTime(kMinTime);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  if (udpNs > 0 && getNs > 0) {
    std::printf("GET dispatch / UDP round trip: %.3f (target <= 0.10)\n", getNs / udpNs);
  }
  if (getNextSmallNs > 0 && getNextLargeNs > 0) {
    std::printf("GETNEXT at %u / at %u leaves: %.2f (target <= 2.00)\n", kLargeMib, kSmallMib,
                getNextLargeNs / getNextSmallNs);
  }
  benchmark::Shutdown();
  useMib(0);  // frees the leaves
  return 0;
}
