// The load benchmark's servers, operations and measured cells, and the
// report printed from them (load_report.cpp).
#ifndef BENCH_LOAD_LOAD_CELLS_H_
#define BENCH_LOAD_LOAD_CELLS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "bench/load/load_window.h"
#include "bench/load/peer_process.h"
#include "bench/load/v3_traffic.h"

namespace bench {

// Windows every operation is measured at: one request at a time (latency),
// and 16 and 64 in flight (throughput).
constexpr int kWindows[] = {1, 16, 64};

// One server under test and what it is asked.
struct Server {
  explicit Server(const char* n) : name(n) {}
  const char* name;
  uint16_t port = 0;
  ChildProcess process;
  std::string getOid;   // GET asks this
  std::string nextOid;  // GETNEXT asks this and expects getOid back
  bool echoes = false;  // replies are the requests themselves
  uint64_t sent = 0;    // requests so far
  long rssStart = -1;
  long rssAfter = -1;
  long anonStart = -1;  // the private part of the resident memory
  long anonAfter = -1;
  uint64_t sentAtRss = 0;  // requests served when rssAfter was read
};

// The program's size on disk once stripped of symbols (as installed on a
// board), or -1 when it cannot be measured (no strip).
struct Footprint {
  long long strippedBytes = -1;
};

// What is asked: a v2c GET or GETNEXT, or a v3 GET by one of kV3Users.
struct Operation {
  const char* name;
  uint8_t pduTag;
  const V3User* user;  // null for v2c
};

// One round of one cell: the generator's result, and the server's CPU time
// and context switches (it slept, or was put aside for another process),
// per reply over the whole run (warm-up included).
struct Round {
  LoadResult load;
  double cpuUs = 0;
  double switches = 0;
};

struct Cell {
  const Server* server;
  const Operation* op;
  int window;
  std::vector<Round> rounds;

  // The round of median rate.  REQUIRES: at least one round.
  Round median() const;
  uint64_t lost() const;
};

// The cell of server, op and window, or null.
const Cell* findCell(const std::vector<Cell>& cells, const Server& s, const Operation* op,
                     int window);

// Prints the table of median rounds, the ratios against their targets, the
// agent's size and the resident memory of the agents.  ours answered the
// v2c cells, oursV3 the v3 ones.
void printReport(const std::vector<Cell>& cells, const std::vector<Operation>& ops,
                 const Server& ours, const Server& oursV3, const Server& net, const Server& echo,
                 const Footprint& footprint);

}  // namespace bench

#endif  // BENCH_LOAD_LOAD_CELLS_H_
