#include "sim/change.h"

#include <string>

#include "sim/object_template.h"

namespace sim {

namespace {

unsigned readMs(const nlohmann::json& v, const JsonPath& at, unsigned min) {
  if (!v.is_number_unsigned() || v.get<uint64_t>() < min || v.get<uint64_t>() > kMaxChangeMs) {
    throw ScenarioError(at, "expected milliseconds from " + std::to_string(min) + " to " +
                                std::to_string(kMaxChangeMs));
  }
  return v.get<unsigned>();
}

Change parseOne(const nlohmann::json& j, const JsonPath& at, bool needsId) {
  if (!j.is_object()) throw ScenarioError(at, "expected {\"after_ms\": n, \"set\": {...}}");
  Change c;
  bool haveSet = false;
  for (const auto& [key, v] : j.items()) {
    if (key == "after_ms") {
      c.afterMs = readMs(v, at.key(key), 0);
    } else if (key == "every_ms") {
      c.everyMs = readMs(v, at.key(key), kMinChangeEveryMs);
    } else if (key == "set") {
      ObjectTemplate t = parseObject(v, at.key(key));
      if (t.hasDynamic()) {
        throw ScenarioError(at.key(key), "a change sets fixed values, not dynamic ones");
      }
      c.fields = t.fixed();
      haveSet = true;
    } else {
      throw ScenarioError(at.key(key), "unknown field (after_ms, every_ms, set)");
    }
  }
  if (!haveSet) throw ScenarioError(at, "set is missing");
  if (needsId && !c.fields.has(kx::kObjId)) {
    throw ScenarioError(at.key("set"), "a change of a list object names its id (0x08fe0001)");
  }
  return c;
}

}  // namespace

std::vector<Change> parseChanges(const nlohmann::json& j, const JsonPath& at, bool needsId) {
  if (!j.is_array()) throw ScenarioError(at, "expected an array of changes");
  std::vector<Change> out;
  for (size_t i = 0; i < j.size(); ++i) out.push_back(parseOne(j[i], at.index(i), needsId));
  return out;
}

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
    runner.addTimerFn(
        p, kTimerKey, [this, p]() { fire(*p); }, p->change.afterMs);
  }
}

void ChangeSchedule::fire(Armed& a) {
  kx::message req = a.change.fields;
  req.setCommand(setCmd_);
  service_.serve(setCmd_, req);
  ++applied_;
  if (a.change.everyMs && runner_) {
    Armed* p = &a;
    runner_->addTimerFn(
        p, kTimerKey, [this, p]() { fire(*p); }, a.change.everyMs);
  }
}

}  // namespace sim
