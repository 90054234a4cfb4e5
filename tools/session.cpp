#include "tools/session.h"

#include <unistd.h>

#include <utility>

#include "tools/output.h"

namespace kxctl {

Session::Session(Options options, std::ostream& out, std::ostream& err, BusFactory makeBus)
    : options_(std::move(options)), out_(out), err_(err), makeBus_(std::move(makeBus)) {}

BusClient& Session::bus() {
  if (!bus_) bus_ = makeBus_(options_);
  return *bus_;
}

int Session::usage(const std::string& command, const std::string& problem) {
  err_ << "kxctl: " << command << ": " << problem << '\n'
       << "Try 'kxctl " << command << " --help'." << std::endl;
  return kExitUsage;
}

int Session::fail(const std::string& command, const std::string& problem) {
  err_ << "kxctl: " << command << ": " << problem << std::endl;
  return kExitError;
}

int Session::errorReply(const kx::message& reply) {
  err_ << errorLine(reply) << std::endl;
  return kExitError;
}

uint32_t clientServiceId() { return kClientServiceBase + static_cast<uint32_t>(getpid()); }

LooperBusClient::LooperBusClient(int timeoutMs)
    : timeoutMs_(timeoutMs), looper_(clientServiceId()) {}

kx::message LooperBusClient::exchange(kx::message& msg) {
  return looper_.exchangeMessage(msg, timeoutMs_);
}

}  // namespace kxctl
