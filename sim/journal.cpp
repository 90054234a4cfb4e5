#include "sim/journal.h"

#include <cerrno>
#include <cstring>

#include "kx/message_json.h"

namespace sim {

Journal::~Journal() {
  if (file_) std::fclose(file_);
}

bool Journal::open(const std::string& file, std::string& err) {
  std::FILE* f = std::fopen(file.c_str(), "a");
  if (!f) {
    err = file + ": " + std::strerror(errno);
    return false;
  }
  if (file_) std::fclose(file_);
  file_ = f;
  return true;
}

void Journal::record(const kx::message& m) {
  if (!file_) return;
  std::string line =
      kx::messageToJson(m).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
  line += '\n';
  std::fwrite(line.data(), 1, line.size(), file_);
  std::fflush(file_);
}

}  // namespace sim
