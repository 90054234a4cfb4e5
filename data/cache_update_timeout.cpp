#include "data/cache_update_timeout.h"

#include "data/tick_clock.h"
#include "kx/runner.h"

CacheUpdateTimeout::CacheUpdateTimeout(unsigned int idle, unsigned int age)
    : idleLimit_(idle), ageLimit_(age) {}

CacheUpdateTimeout::~CacheUpdateTimeout() {
  if (timerArmed_) kx::removeTimer(this, &CacheUpdateTimeout::invalidateDataTimer);
}

void CacheUpdateTimeout::setTimeouts(unsigned int idle, unsigned int age) {
  idleLimit_ = idle;
  ageLimit_ = age;
}

void CacheUpdateTimeout::armTimer() {
  kx::addTimer(this, &CacheUpdateTimeout::invalidateDataTimer, tickToMs(idleLimit_));
  timerArmed_ = true;
}

void CacheUpdateTimeout::accessData() {
  uint32_t now = currentTicks();
  lastAccess_ = now;
  if (valid_) return;
  fillTime_ = now;
  // Valid before the fill, so a read made while filling does not refill.
  valid_ = true;
  updateCache();
  armTimer();
}

void CacheUpdateTimeout::invalidateDataTimer() {
  uint32_t now = currentTicks();
  // Unsigned differences: correct across a wrap of the tick counter.
  if (now - lastAccess_ < idleLimit_ && now - fillTime_ < ageLimit_) {
    armTimer();
    return;
  }
  clearCache();
  timerArmed_ = false;
  valid_ = false;
}

void CacheUpdateTimeout::invalidateData() {
  if (timerArmed_) kx::removeTimer(this, &CacheUpdateTimeout::invalidateDataTimer);
  clearCache();
  timerArmed_ = false;
  valid_ = false;
}
