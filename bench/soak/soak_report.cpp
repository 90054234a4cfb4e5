#include "bench/soak/soak_report.h"

#include <dirent.h>

#include <cstdio>
#include <string>

#include "bench/load/peer_process.h"

namespace bench {

namespace {

unsigned long long ull(uint64_t v) { return static_cast<unsigned long long>(v); }

std::string count(uint64_t v) {
  std::string digits = std::to_string(v), out;
  for (size_t i = 0; i < digits.size(); ++i) {
    if (i && (digits.size() - i) % 3 == 0) out += ',';
    out += digits[i];
  }
  return out;
}

}  // namespace

void TallyRow::add(const TallyRow& r) {
  sent += r.sent;
  for (int i = 0; i < kOpCount; ++i) ops[i] += r.ops[i];
  mute += r.mute;
  values += r.values;
  errors += r.errors;
  reports += r.reports;
  silent += r.silent;
  lost += r.lost;
  wrong += r.wrong;
}

TallyRow Tally::total() const {
  TallyRow t;
  for (const TallyRow& r : rows) t.add(r);
  return t;
}

int openDescriptors(pid_t pid) {
  DIR* d = ::opendir(("/proc/" + std::to_string(pid) + "/fd").c_str());
  if (d == nullptr) return -1;
  int n = 0;
  while (const dirent* e = ::readdir(d)) {
    if (e->d_name[0] != '.') ++n;
  }
  ::closedir(d);
  return n;
}

void Report::sample(uint64_t requests, double seconds, uint64_t mibObjects,
                    const TrapSink::Counts& traps, const Operator& op) {
  if (samples_.empty()) {
    std::printf("%5s %10s %8s %10s %12s %4s %5s %6s %7s %7s\n", "cycle", "requests", "seconds",
                "VmRSS KiB", "RssAnon KiB", "fds", "MIB", "traps", "kxsim", "kxctl");
  }
  const Sample s{requests, statusKiB(agent_, "VmRSS"), statusKiB(agent_, "RssAnon"),
                 openDescriptors(agent_), mibObjects};
  std::printf("%5zu %10s %8.1f %10ld %12ld %4d %5llu %6llu %7d %7llu\n", samples_.size(),
              count(requests).c_str(), seconds, s.rss, s.anon, s.fds, ull(mibObjects),
              ull(traps.links() + traps.enterprises()), op.restarts() + 1, ull(op.calls()));
  std::fflush(stdout);
  samples_.push_back(s);
}

void Report::check(bool ok, const char* what, const std::string& detail) {
  std::printf("  %-12s %s: %s\n", what, ok ? "ok  " : "FAIL", detail.c_str());
  passed_ = passed_ && ok;
}

void Report::summary(const Tally& tally, const SoakTraffic& traffic,
                     const TrapSink::Counts& expected, const TrapSink& sink, double seconds,
                     int agentExit) {
  std::printf("\n%-38s %9s %8s %8s %7s %8s %5s %8s %7s %7s %7s %5s %5s\n", "identity", "sent",
              "GET", "GETNEXT", "SET", "walk", "disc", "values", "errors", "reports", "silent",
              "lost", "wrong");
  auto row = [](const std::string& label, const TallyRow& r) {
    std::printf("%-38s %9s %8s %8s %7s %8s %5s %8s %7s %7s %7s %5s %5s\n", label.c_str(),
                count(r.sent).c_str(), count(r.ops[0]).c_str(), count(r.ops[1]).c_str(),
                count(r.ops[2]).c_str(), count(r.ops[3]).c_str(), count(r.ops[4]).c_str(),
                count(r.values).c_str(), count(r.errors).c_str(), count(r.reports).c_str(),
                count(r.silent).c_str(), count(r.lost).c_str(), count(r.wrong).c_str());
  };
  for (int i = 0; i < kIdentityCount; ++i) row(traffic.identity(i).label, tally.rows[i]);
  const TallyRow t = tally.total();
  row("all", t);
  std::printf("\nduration %.1f s (%s requests/s overall); %s walks completed\n", seconds,
              count(static_cast<uint64_t>(seconds > 0 ? t.sent / seconds : 0)).c_str(),
              count(traffic.walksDone()).c_str());
  std::printf(
      "%s requests sent while kxsim restarted, %s of them answered noSuchName, which only its "
      "absence excuses\n",
      count(tally.awaySent).c_str(), count(tally.awayMisses).c_str());
  for (const std::string& f : tally.faults) std::printf("  fault: %s\n", f.c_str());
  std::printf("verdict:\n");

  check(t.rightAnswers() == t.expectedAnswers() && t.wrong == 0 && t.lost == 0, "replies",
        count(t.expectedAnswers()) + " expected (" + count(t.sent) + " sent, " + count(t.mute) +
            " left unanswered on purpose), " + count(t.rightAnswers()) + " received as expected, " +
            count(t.wrong) + " wrong, " + count(t.lost) + " lost; " + count(tally.stray) +
            " late or repeated, " + count(tally.unparsed) + " undecodable");
  check(t.silent == t.mute && t.mute > 0, "silence",
        count(t.mute) + " requests through a removed community, " + count(t.silent) +
            " stayed unanswered");

  const TrapSink::Counts& got = sink.counts();
  const bool trapsOk = got.link[0] == expected.link[0] && got.link[1] == expected.link[1] &&
                       got.enterprise[0] == expected.enterprise[0] &&
                       got.enterprise[1] == expected.enterprise[1] && got.unexpected == 0;
  check(trapsOk, "traps",
        "link v1 " + count(got.link[0]) + "/" + count(expected.link[0]) + ", v2c " +
            count(got.link[1]) + "/" + count(expected.link[1]) + "; enterprise v1 " +
            count(got.enterprise[0]) + "/" + count(expected.enterprise[0]) + ", v2c " +
            count(got.enterprise[1]) + "/" + count(expected.enterprise[1]) +
            " (received/raised); " + count(got.unexpected) + " unexpected" +
            (sink.firstUnexpected().empty() ? "" : ", the first " + sink.firstUnexpected()));

  // The reference is the sample after warm-up: cycle ceil(cycles / 10).
  const size_t cycles = samples_.size() - 1;
  const size_t warm = cycles ? (cycles + 9) / 10 : 0;
  const Sample& ref = samples_[warm];
  const Sample& last = samples_.back();
  long highest = ref.rss;
  for (size_t i = warm; i < samples_.size(); ++i) highest = std::max(highest, samples_[i].rss);
  check(cycles > warm && last.rss - ref.rss <= kRssMarginKiB, "memory",
        "VmRSS " + count(ref.rss) + " KiB after warm-up (cycle " + std::to_string(warm) + "), " +
            count(last.rss) + " KiB at the end (" + std::to_string(last.rss - ref.rss) +
            " KiB; flat: at most " + std::to_string(kRssMarginKiB) + " more), at most " +
            count(highest) + " KiB between; RssAnon " + count(ref.anon) + " -> " +
            count(last.anon) + " KiB");
  check(cycles > warm && last.fds - ref.fds <= kFdMargin, "descriptors",
        std::to_string(ref.fds) + " after warm-up, " + std::to_string(last.fds) + " at the end");
  bool sameMib = true;
  for (const Sample& s : samples_) sameMib = sameMib && s.mibObjects == samples_[0].mibObjects;
  check(sameMib && samples_[0].mibObjects > 0, "MIB walks",
        "the whole MIB held " + count(samples_[0].mibObjects) + " objects at the start, " +
            count(last.mibObjects) + " at the end" + (sameMib ? ", the same at every sample" : ""));
  check(agentExit == 0, "snmpd", "exit status " + std::to_string(agentExit) + " on SIGTERM");
}

}  // namespace bench
