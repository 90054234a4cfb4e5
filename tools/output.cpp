#include "tools/output.h"

#include <cstdio>
#include <utility>

#include "kx/message_json.h"
#include "tools/arg_parse.h"

namespace kxctl {

namespace {

bool keep(uint32_t key, bool keepEventFields) {
  if (!isTransportKey(key)) return true;
  return keepEventFields && (key == kx::kCommand || key == kx::kSrcPath);
}

kx::message without(const kx::message& m, bool keepEventFields) {
  kx::message out = m;
  for (size_t i = 0; i < m.size(); ++i) {
    uint32_t key = m.keyAt(i);
    if (!keep(key, keepEventFields)) out.erase(key);
  }
  return out;
}

}  // namespace

nlohmann::json replyJson(const kx::message& reply) {
  return kx::messageToJson(without(reply, false));
}

nlohmann::json eventJson(const kx::message& event) {
  return kx::messageToJson(without(event, true));
}

nlohmann::json listJson(const std::vector<kx::message>& objects) {
  nlohmann::json list = nlohmann::json::array();
  for (const kx::message& m : objects) list.push_back(kx::messageToJson(m));
  return list;
}

void writeJsonLine(std::ostream& out, const nlohmann::json& j) {
  out << j.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
  out.flush();
}

std::string errorLine(const kx::message& reply) {
  char code[16];
  std::snprintf(code, sizeof code, "0x%06x", kx::getErrorCode(reply));
  return std::string("error ") + code + ": " + kx::getError(reply);
}

EventPrinter::EventPrinter(std::ostream& out, uint64_t limit, std::function<void()> onLimit)
    : out_(out), limit_(limit), onLimit_(std::move(onLimit)) {}

kx::message EventPrinter::print(const kx::message& event) {
  // Events past the limit may already be queued; they are not printed so
  // that --count N prints exactly N lines.
  if (limit_ != 0 && printed_ >= limit_) return kx::message();
  writeJsonLine(out_, eventJson(event));
  ++printed_;
  if (limit_ != 0 && printed_ == limit_ && onLimit_) onLimit_();
  return kx::message();
}

}  // namespace kxctl
