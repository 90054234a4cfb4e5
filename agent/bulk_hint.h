// BulkHint: the line that follows "unknown request command" when the
// dropped request was a GetBulk.  The agent answers no GetBulk, and a
// manager that sends one only sees time-outs; the hint tells the operator
// why and what to use instead.
//
// At most one hint per source and minute, so that a poller that retries
// does not fill the log.  Single-threaded, like the receive path.
#ifndef AGENT_BULK_HINT_H_
#define AGENT_BULK_HINT_H_

#include <cstddef>
#include <cstdint>

class BulkHint {
 public:
  // How long a source gets no second hint.
  static constexpr uint32_t kQuietSeconds = 60;
  // Sources remembered at once.  While all of them are within their quiet
  // minute a new source gets no hint either, so that datagrams from many
  // (forged) sources cannot flood the log.
  static constexpr size_t kSources = 32;

  // Writes the hint for peer (IPv4, network order in memory) to standard
  // error, unless peer had one less than kQuietSeconds ago.  nowSeconds
  // comes from a clock that never goes back.  True when the line was
  // written.
  bool note(uint32_t peer, uint32_t nowSeconds);

 private:
  struct Source {
    uint32_t peer = 0;
    uint32_t at = 0;
    bool used = false;
  };
  bool quiet(const Source& s, uint32_t now) const { return s.used && now - s.at < kQuietSeconds; }

  Source sources_[kSources];
};

#endif  // AGENT_BULK_HINT_H_
