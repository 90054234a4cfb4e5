// The providers of scalar records and the cache they keep: the data clock,
// CacheUpdateTimeout, the bus exchange every provider makes, and the
// providers themselves (SingleProvider and its GetProvider and
// GetFirstProvider, CountProvider, ProxyDataProvider).
#ifndef DATA_PROVIDERS_H_
#define DATA_PROVIDERS_H_

#include <cstdint>
#include <functional>
#include <vector>

#include "engine/data.h"
#include "engine/data_provider.h"
#include "kx/message.h"

class Table;

// The clock of the data caches: ticks of times(), replaceable for tests.
//
// Cache limits are counted in these ticks; timers on the runner are armed in
// milliseconds (tickToMs).

// A source of ticks.  Differences are taken modulo 2^32, so the source may
// wrap.
using TickSource = uint32_t (*)();

// The current tick count of the installed source (times() by default).
uint32_t currentTicks();
// Installs source; null restores times().
void setTickSource(TickSource source);
// ticks converted to milliseconds with the system's tick rate, saturated at
// the largest unsigned value.
unsigned tickToMs(uint32_t ticks);

// CacheUpdateTimeout: keeps a cache alive while it is read, for a bounded time.
//
// A subclass fills its cache in updateCache and drops it in clearCache.  Every
// read calls accessData, which fills an empty cache and arms a one-shot re-check
// timer on the process's runner.  When the timer fires, the cache stays if it
// was read within the idle limit and was filled less than the age limit ago;
// otherwise it is dropped and the next read refills it.  Both limits are in
// ticks of the data clock (above); the timer period is the idle
// limit converted to milliseconds.
//
// Single-threaded: every call comes from the looper thread, and the timer
// fires on it too.

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

// The data model's way onto the message bus: every exchange a provider
// makes goes through the process's looper (kx::getLooper), the agent's.

// How long (in the looper's milliseconds) a provider waits for a reply.
constexpr int kBusExchangeTimeout = 6000;

// Sends request to its destination path (0xff0001) and waits for the reply
// (at most kBusExchangeTimeout).  The transport adds its request id and the
// sender path to request.  Returns the reply, or an error reply ("no bus"
// when the process has no looper, otherwise the looper's own error) when
// there is none; never throws.
kx::message busExchange(kx::message& request);

// Limits of the paged list reads.

// Pages read from one list before giving up.  A service that keeps sending a
// continuation mark would otherwise hold the agent's only thread forever;
// a real list is far shorter (tens of thousands of objects at most, many
// per page).
constexpr unsigned kMaxListPages = 100000;

// Reads the list that request (a get-all, 0xfe0004) names, page by page:
// each page echoes the continuation mark (0xfe0003) of the one before, up
// to kMaxListPages pages.  visit sees every object in list order until it
// returns false.  A failed page ends the walk; what was visited stays.
void busWalkList(const kx::message& request,
                 const std::function<bool(const kx::message& object)>& visit);

// SingleProvider: a DataProvider that caches one record for a short while.
//
// The first read fetches a record (getData) and keeps it until the cache
// expires (idle 25 ticks, age 200 ticks by default; see CacheUpdateTimeout),
// so a walk over the scalars of one record costs one fetch.
class SingleProvider : public DataProvider, public CacheUpdateTimeout {
 public:
  SingleProvider();
  // Deletes the cached record.
  ~SingleProvider() override;

  // The cached record (fetched first when the cache is empty); may be null.
  // The provider keeps ownership; the record lives until the cache expires.
  Data* get() override;
  // Writes record back through setData; true on success.  The cached record
  // keeps whatever the caller wrote into it.
  bool set(Data* record) override;

  void clearCache() override;
  void updateCache() override;

  // A freshly fetched record (the caller owns it), or null.
  virtual Data* getData() = 0;
  // Writes record back to its owner; true on success.
  virtual bool setData(Data* record) = 0;

 private:
  Data* cached_ = nullptr;
};

// GetProvider: a service's settings record, fetched with one bus request.
class GetProvider : public SingleProvider {
 public:
  // Builds a record from a reply (or from an empty message when the service
  // can't be reached); the caller owns the result.
  using Convert = Data* (*)(kx::message const&);

  // convert: the module's callback.  path: the service handler's bus address.
  // getCmd, setCmd: the commands that read and write the record (the modules
  // use 0xfe000d and 0xfe000e).
  GetProvider(Convert convert, std::vector<unsigned int> const& path, unsigned int getCmd,
              unsigned int setCmd);

  // Sends the get command.  On an error reply logs
  // "GetProvider::getData error: <text>" and returns the record converted
  // from an empty message, so the module's defaults are served.
  Data* getData() override;
  // Sends the set command with the record's fields (reverseBuild); true
  // unless the reply is an error.  Logs nothing.
  bool setData(Data* record) override;

 private:
  std::vector<unsigned int> path_;
  unsigned int getCmd_;
  unsigned int setCmd_;
  Convert convert_;
};

// GetFirstProvider: the first object of a service's list that the module
// accepts, as a single record.  Read-only.
class GetFirstProvider : public SingleProvider {
 public:
  // Builds a record from one list object, or returns null to pass over it;
  // the caller owns the result.
  using Convert = Data* (*)(kx::message const&);

  // Object id reported before any object has been accepted.
  static constexpr uint32_t kNoObject = 0xffffffff;

  GetFirstProvider(Convert convert, std::vector<unsigned int> const& path);

  // Pages through the list (get all, continuation mark echoed) until convert
  // accepts an object; remembers that object's id (0xfe0001).  Null when no
  // object converts or an exchange fails (nothing logged).
  Data* getData() override;
  // SET is not supported: false.
  bool setData(Data* record) override;

  // The id of the object the current cache was built from.  Reads through
  // the cache first; keeps the previous id when the refill found nothing.
  uint32_t getFirstObjId();

 private:
  std::vector<unsigned int> path_;
  Convert convert_;
  uint32_t firstObjId_ = kNoObject;
};

// CountProvider: the row count of a table as a one-field record, for scalars
// such as "number of interfaces".  Pair it with a DataNumPacker on
// CountProvider::CountData::count.
class CountProvider : public DataProvider {
 public:
  class CountData : public Data {
   public:
    int count = 0;
  };

  // table: not owned; must outlive the provider.
  explicit CountProvider(Table* table) : table_(table) {}

  // Refreshes the embedded record from the table's count() and returns it
  // (always the same record, owned by the provider).
  Data* get() override;
  // Read-only: false.
  bool set(Data*) override { return false; }

 private:
  Table* table_;
  CountData data_;
};

// ProxyDataProvider: a scalar record produced by a plain function.
class ProxyDataProvider : public DataProvider {
 public:
  // Returns the current record; the function keeps ownership (typically a
  // static record refreshed in place).
  using Function = Data* (*)();

  explicit ProxyDataProvider(Function function) : function_(function) {}

  // Whatever the function returns (null without a function).
  Data* get() override { return function_ ? function_() : nullptr; }
  // Read-only: false.
  bool set(Data*) override { return false; }

 private:
  Function function_;
};

#endif  // DATA_PROVIDERS_H_
