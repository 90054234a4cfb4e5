// CacheUpdateTimeout: keeps a cache alive while it is read, for a bounded time.
//
// A subclass fills its cache in updateCache and drops it in clearCache.  Every
// read calls accessData, which fills an empty cache and arms a one-shot re-check
// timer on the process's runner.  When the timer fires, the cache stays if it
// was read within the idle limit and was filled less than the age limit ago;
// otherwise it is dropped and the next read refills it.  Both limits are in
// ticks of the data clock (data/tick_clock.h); the timer period is the idle
// limit converted to milliseconds.
//
// Single-threaded: every call comes from the looper thread, and the timer
// fires on it too.
#ifndef DATA_CACHE_UPDATE_TIMEOUT_H_
#define DATA_CACHE_UPDATE_TIMEOUT_H_

#include <cstdint>

// The providers' cache limits, in ticks: a cache read at least every quarter
// second lives up to two seconds (at 100 ticks per second).
constexpr unsigned int kProviderIdleTicks = 25;
constexpr unsigned int kProviderAgeTicks = 200;

class CacheUpdateTimeout {
 public:
  // idle, age: limits in ticks.  The cache starts empty, no timer armed.
  CacheUpdateTimeout(unsigned int idle, unsigned int age);
  CacheUpdateTimeout(const CacheUpdateTimeout&) = delete;
  CacheUpdateTimeout& operator=(const CacheUpdateTimeout&) = delete;

  // Fills the cache.  Called by accessData when the cache is not valid.
  virtual void updateCache() = 0;
  // Drops the cache.  Called when it expires or is invalidated.
  virtual void clearCache() = 0;
  // Cancels a pending re-check so the runner never calls into a dead object.
  // Does not call clearCache (the subclass part is already gone).
  virtual ~CacheUpdateTimeout();

  // New limits; they take effect at the next check.
  void setTimeouts(unsigned int idle, unsigned int age);
  // Notes a read; fills the cache (and arms the timer) when it is not valid.
  void accessData();
  // Drops the cache at once and cancels the pending re-check.
  void invalidateData();
  // The re-check timer's callback: re-arms while the cache is in use and
  // young enough, otherwise drops the cache.
  void invalidateDataTimer();

  // For tests and diagnostics.
  bool cacheValid() const { return valid_; }
  bool timerArmed() const { return timerArmed_; }

 private:
  void armTimer();

  uint32_t lastAccess_ = 0;
  uint32_t fillTime_ = 0;
  bool valid_ = false;
  bool timerArmed_ = false;
  uint32_t idleLimit_;
  uint32_t ageLimit_;
};

#endif  // DATA_CACHE_UPDATE_TIMEOUT_H_
