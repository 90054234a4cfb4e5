#include "bench/soak/soak_operator.h"

#include <cstdio>

namespace bench {

namespace {

// kxctl waits 6 s for the agent's reply at most; this only catches a hang.
constexpr std::chrono::milliseconds kKxctlLimit{15000};

}  // namespace

Operator::Operator(const OurAgent& paths, const TempDir& root, ChildProcess* sim)
    : paths_(paths),
      root_(root),
      sim_(sim),
      log_(root.path() + "/kxctl.log"),
      kxsimStarted_(std::chrono::steady_clock::now()) {}

bool Operator::kxctl(const std::vector<std::string>& words) {
  std::vector<std::string> argv = {paths_.kxctl, "--root", root_.path()};
  argv.insert(argv.end(), words.begin(), words.end());
  ++calls_;
  const int status = runToCompletion(argv, log_, kKxctlLimit);
  if (status == 0) return true;
  std::string line;
  for (const std::string& w : words) line += " " + w;
  std::fprintf(stderr, "snmp_soak: kxctl%s failed (status %d); its log (%s):\n%s\n", line.c_str(),
               status, log_.c_str(), logTail(log_).c_str());
  return false;
}

bool Operator::stopKxsim() {
  const int status = sim_->stop();
  if (status == 0) return true;
  std::fprintf(stderr, "snmp_soak: kxsim ended with status %d on SIGTERM\n", status);
  return false;
}

bool Operator::startKxsim() {
  std::string error;
  const std::string log = root_.path() + "/kxsim-" + std::to_string(++restarts_) + ".log";
  if (!bench::startKxsim(paths_, root_, log, sim_, &error)) {
    std::fprintf(stderr, "snmp_soak: %s\n", error.c_str());
    return false;
  }
  kxsimStarted_ = std::chrono::steady_clock::now();
  return true;
}

}  // namespace bench
