// The journal: one JSON line per bus message received, flushed at once so
// that a test reading the file sees every message that was answered.
#ifndef SIM_JOURNAL_H_
#define SIM_JOURNAL_H_

#include <cstdio>
#include <string>

#include "kx/message.h"

namespace sim {

class Journal {
 public:
  Journal() = default;
  ~Journal();
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;

  // Opens file for appending.  False with err set when it cannot be opened.
  bool open(const std::string& file, std::string& err);
  bool isOpen() const { return file_ != nullptr; }
  // Appends m as one line (kx::messageToJson); nothing when not open.
  void record(const kx::message& m);

 private:
  std::FILE* file_ = nullptr;
};

}  // namespace sim

#endif  // SIM_JOURNAL_H_
