#include "sim/change_schedule.h"

namespace sim {
namespace {

constexpr const char kTimerKey[] = "sim-change";

}  // namespace

ChangeSchedule::ChangeSchedule(Service& service, uint32_t setCmd, std::vector<Change> changes)
    : service_(service), setCmd_(setCmd) {
  for (auto& c : changes) armed_.push_back(std::make_unique<Armed>(Armed{this, std::move(c)}));
}

ChangeSchedule::~ChangeSchedule() {
  if (!runner_) return;
  for (auto& a : armed_) runner_->removeTimerFn(a.get(), kTimerKey);
}

void ChangeSchedule::start(kx::ThinRunner& runner) {
  runner_ = &runner;
  for (auto& a : armed_) {
    Armed* p = a.get();
    runner.addTimerFn(p, kTimerKey, [this, p]() { fire(*p); }, p->change.afterMs);
  }
}

void ChangeSchedule::fire(Armed& a) {
  kx::message req = a.change.fields;
  req.setCommand(setCmd_);
  service_.serve(setCmd_, req);
  ++applied_;
  if (a.change.everyMs && runner_) {
    Armed* p = &a;
    runner_->addTimerFn(p, kTimerKey, [this, p]() { fire(*p); }, a.change.everyMs);
  }
}

}  // namespace sim
