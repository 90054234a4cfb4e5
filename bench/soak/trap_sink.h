// The trap receiver of the soak run: a UDP socket on 127.0.0.1 whose
// datagrams are decoded and counted.  The soak flips one interface down
// and up again, so the link traps it expects alternate linkDown, linkUp,
// each naming that interface with the matching status columns; the
// enterprise trap is the one `kxctl snmp send-trap` asks for, without a
// binding.  Anything else (another trap, a wrong binding, a datagram that
// does not parse, the wrong community) is counted as unexpected.
#ifndef BENCH_SOAK_TRAP_SINK_H_
#define BENCH_SOAK_TRAP_SINK_H_

#include <cstdint>
#include <string>
#include <vector>

namespace bench {

class TrapSink {
 public:
  struct Counts {
    uint64_t link[2] = {0, 0};  // by version: [0] v1, [1] v2c
    uint64_t enterprise[2] = {0, 0};
    uint64_t unexpected = 0;
    uint64_t links() const { return link[0] + link[1]; }
    uint64_t enterprises() const { return enterprise[0] + enterprise[1]; }
  };

  TrapSink() = default;
  TrapSink(const TrapSink&) = delete;
  TrapSink& operator=(const TrapSink&) = delete;
  ~TrapSink();

  // Binds a free port on 127.0.0.1 with a deep receive buffer; traps are
  // expected from community.  False when the socket cannot be made.
  bool open(const std::string& community, uint32_t linkInterface);
  int fd() const { return fd_; }
  uint16_t port() const { return port_; }
  // Reads and counts every datagram waiting; never blocks.
  void drain();
  const Counts& counts() const { return counts_; }
  // What the first unexpected datagram was, or empty.
  const std::string& firstUnexpected() const { return firstUnexpected_; }

 private:
  void count(const uint8_t* data, size_t n);

  std::vector<uint8_t> buf_;
  int fd_ = -1;
  uint16_t port_ = 0;
  std::string community_;
  uint32_t interface_ = 0;
  bool lastWasDown_ = false;  // the interface starts up
  Counts counts_;
  std::string firstUnexpected_;
};

}  // namespace bench

#endif  // BENCH_SOAK_TRAP_SINK_H_
