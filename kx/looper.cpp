#include "kx/looper.h"

#include "kx/transport.h"

namespace kx {

Looper::Looper(uint32_t serviceId, const std::vector<unsigned>& params)
    : serviceId_(serviceId), params_(params), transport_(new Transport(*this)) {
  looper_ = this;
  path_ = {serviceId, 0};
  // A looper that cannot listen still sends requests (logged by listen).
  listen(serviceId);
}

Looper::~Looper() {
  transport_.reset();
  for (auto& h : handlers_)
    if (h.second->looper_ == this) h.second->looper_ = nullptr;
  looper_ = nullptr;
}

bool Looper::listen(uint32_t service) { return transport_->listen(service); }

void Looper::serveInProcess(uint32_t service) { transport_->serveInProcess(service); }

bool Looper::listening(uint32_t service) const { return transport_->listening(service); }

void Looper::addHandler(uint32_t id, Handler* h) { addHandler(serviceId_, id, h); }

void Looper::addHandler(uint32_t service, uint32_t id, Handler* h) {
  if (!h) return;
  handlers_[{service, id}] = h;
  h->looper_ = this;
  h->path_ = {service, id};
}

void Looper::removeHandler(uint32_t service, uint32_t id) {
  auto it = handlers_.find({service, id});
  if (it == handlers_.end()) return;
  // It may outlive this looper now; it falls back to the process's looper.
  if (it->second->looper_ == this) it->second->looper_ = nullptr;
  handlers_.erase(it);
}

Handler* Looper::findHandler(uint32_t service, uint32_t id) const {
  auto it = handlers_.find({service, id});
  if (it != handlers_.end()) return it->second;
  // Handler 0 of a service this looper serves is the looper itself.
  if (id == 0 && (service == serviceId_ || listening(service))) return const_cast<Looper*>(this);
  return nullptr;
}

message Looper::exchangeMessage(message& msg, int timeoutMs) {
  return transport_->exchange(msg, timeoutMs, path_);
}

void Looper::sendMessage(const message& msg) { transport_->send(msg, path_); }

void Looper::addPolicy(uint32_t a, uint32_t b) { policies_.emplace_back(a, b); }

int Looper::run() { return ThinRunner::run(); }

uint64_t Looper::exchangesSent() const { return transport_->exchangesSent(); }

void Looper::beforePoll() { transport_->dispatchQueued(); }

Looper* getLooper() { return dynamic_cast<Looper*>(getRunner()); }

}  // namespace kx
