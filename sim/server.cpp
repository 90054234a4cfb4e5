#include "sim/server.h"

#include <algorithm>

#include "sim/scenario.h"

namespace sim {

Server::Server(const Scenario& scenario, std::vector<uint32_t> ids, const SimClock& clock,
               Journal& journal, const volatile std::sig_atomic_t& stop)
    : scenario_(scenario), ids_(std::move(ids)), clock_(clock), journal_(journal), stop_(stop) {}

Server::~Server() {
  // Schedules and handlers go before the looper that points at them.
  schedules_.clear();
  if (host_) {
    for (const auto& [service, handler] : served_) host_->removeHandler(service, handler);
  }
}

bool Server::start(std::string& err) {
  if (ids_.empty()) {
    idle_ = std::make_unique<kx::ThinRunner>();
    return true;
  }
  looper_ = std::make_unique<kx::Looper>(ids_[0]);
  for (uint32_t id : ids_) {
    // The looper already tried its own id; a second try only repeats the log.
    if (!looper_->listening(id) && (id == ids_[0] || !looper_->listen(id))) {
      err = "cannot serve service " + std::to_string(id) + " (see the kx line above)";
      return false;
    }
  }
  serveAll(*looper_);
  return true;
}

void Server::startOn(kx::Looper& host) {
  for (uint32_t id : ids_) host.serveInProcess(id);
  serveAll(host);
}

void Server::serveAll(kx::Looper& looper) {
  host_ = &looper;
  for (const auto& s : scenario_.services) {
    if (std::count(ids_.begin(), ids_.end(), s.path[0])) serve(s);
  }
  // Handler 0 of every service gets commands with no behaviour (a reboot
  // to [24]); it answers them empty even where the scenario is silent.
  for (uint32_t id : ids_) {
    if (!served_.count({id, 0})) {
      ServiceDesc empty;
      empty.path = {id, 0};
      serve(empty);
    }
  }
}

void Server::serve(const ServiceDesc& desc) {
  endpoints_.push_back(buildEndpoint(desc, clock_));
  responders_.push_back(std::make_unique<Responder>(*endpoints_.back(), journal_, stop_));
  handlers_.push_back(std::make_unique<BusHandler>(*responders_.back(), desc.events));
  host_->addHandler(desc.path[0], desc.path[1], handlers_.back().get());
  served_.insert({desc.path[0], desc.path[1]});
  if (!desc.changes.empty()) {
    uint32_t cmd = desc.kind == ServiceDesc::Kind::kList ? kx::kCmdSetObj : kx::kCmdSet;
    schedules_.push_back(
        std::make_unique<ChangeSchedule>(endpoints_.back()->service(), cmd, desc.changes));
    schedules_.back()->start(*host_);
  }
}

uint64_t Server::changes() const {
  uint64_t n = 0;
  for (const auto& e : endpoints_) n += e->service().changeCount();
  return n;
}

void Server::every(unsigned periodMs, std::function<void()> task) {
  periodMs_ = periodMs;
  task_ = std::move(task);
}

void Server::tick() {
  kx::ThinRunner* r = looper_ ? static_cast<kx::ThinRunner*>(looper_.get()) : idle_.get();
  if (!r) return;
  // Also catches a stop signal that came just before run() started.
  if (stop_) {
    r->stop();
    return;
  }
  if (task_) task_();
  r->addTimer(this, &Server::tick, periodMs_);
}

void Server::run() {
  kx::ThinRunner* r = looper_ ? static_cast<kx::ThinRunner*>(looper_.get()) : idle_.get();
  if (!r) return;
  r->addTimer(this, &Server::tick, periodMs_);
  r->setupLeave(0);
  if (!stop_) r->run();
}

void Server::stop() {
  if (looper_) looper_->stop();
  if (idle_) idle_->stop();
}

}  // namespace sim
