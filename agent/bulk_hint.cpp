#include "agent/bulk_hint.h"

#include <arpa/inet.h>

#include <cstdio>

bool BulkHint::note(uint32_t peer, uint32_t now) {
  Source* slot = nullptr;
  for (Source& s : sources_) {
    if (s.used && s.peer == peer) {
      if (quiet(s, now)) return false;
      slot = &s;
      break;
    }
  }
  for (size_t i = 0; !slot && i < kSources; ++i) {
    if (!quiet(sources_[i], now)) slot = &sources_[i];
  }
  if (!slot) return false;
  *slot = Source{peer, now, true};

  char address[INET_ADDRSTRLEN] = "?";
  inet_ntop(AF_INET, &peer, address, sizeof address);
  std::fprintf(stderr,
               "GetBulk from %s is not answered by this agent: walk with GetNext instead "
               "(snmpwalk, snmptable -CB; turn bulk requests off in pollers)\n",
               address);
  return true;
}
