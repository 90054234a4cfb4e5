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

// Windows every operation is measured at.
constexpr int kWindows[] = {1, 16};

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
};

// What is asked: a v2c GET or GETNEXT, or a v3 GET by one of kV3Users.
struct Operation {
  const char* name;
  uint8_t pduTag;
  const V3User* user;  // null for v2c
};

// One round of one cell: the generator's result and the server's CPU time
// per reply over the whole run (warm-up included).
struct Round {
  LoadResult load;
  double cpuUs = 0;
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

// Prints the table of median rounds, the ratios against their targets and
// the resident memory of the two agents.
void printReport(const std::vector<Cell>& cells, const std::vector<Operation>& ops,
                 const Server& ours, const Server& net, const Server& echo, uint64_t requests);

}  // namespace bench

#endif  // BENCH_LOAD_LOAD_CELLS_H_
