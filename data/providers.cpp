#include "data/providers.h"

#include <sys/times.h>
#include <unistd.h>

#include <cstdio>
#include <limits>
#include <utility>

#include "engine/data.h"
#include "engine/table.h"
#include "kx/looper.h"
#include "kx/runner.h"

namespace {

uint32_t systemTicks() {
  // Only the return value matters; the buffer is there for libraries that
  // don't accept a null one.
  struct tms unused;
  return static_cast<uint32_t>(times(&unused));
}

TickSource g_tickSource = systemTicks;

// Used when sysconf cannot tell the rate; the usual USER_HZ.
constexpr long kFallbackTicksPerSecond = 100;

}  // namespace

uint32_t currentTicks() { return g_tickSource(); }

void setTickSource(TickSource source) { g_tickSource = source ? source : systemTicks; }

unsigned tickToMs(uint32_t ticks) {
  long hz = sysconf(_SC_CLK_TCK);
  if (hz <= 0) hz = kFallbackTicksPerSecond;
  unsigned long long ms =
      static_cast<unsigned long long>(ticks) * 1000ULL / static_cast<unsigned long long>(hz);
  if (ms > std::numeric_limits<unsigned>::max()) return std::numeric_limits<unsigned>::max();
  return static_cast<unsigned>(ms);
}

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

kx::message busExchange(kx::message& request) {
  kx::Looper* looper = kx::getLooper();
  if (looper == nullptr) return kx::errorMsg(kx::kErrNoService, "no bus");
  return looper->exchangeMessage(request, kBusExchangeTimeout);
}

void busWalkList(const kx::message& request,
                 const std::function<bool(const kx::message& object)>& visit) {
  bool haveMark = false;
  uint32_t mark = 0;
  for (unsigned page = 0; page < kMaxListPages; ++page) {
    // A fresh copy each time: the exchange adds its own fields.
    kx::message copy = request;
    if (haveMark) copy.setU32(kx::kContinue, mark);
    kx::message reply = busExchange(copy);
    if (kx::isError(reply)) return;
    if (const std::vector<kx::message>* objects = reply.findMessageArray(kx::kObjects)) {
      for (const kx::message& object : *objects)
        if (!visit(object)) return;
    }
    haveMark = reply.has(kx::kContinue);
    if (!haveMark) return;
    mark = reply.getU32(kx::kContinue);
  }
}

SingleProvider::SingleProvider() : CacheUpdateTimeout(kProviderIdleTicks, kProviderAgeTicks) {}

SingleProvider::~SingleProvider() { delete cached_; }

Data* SingleProvider::get() {
  accessData();
  return cached_;
}

bool SingleProvider::set(Data* record) { return setData(record); }

void SingleProvider::clearCache() {
  delete cached_;
  cached_ = nullptr;
}

void SingleProvider::updateCache() {
  // A refill without an expiry in between (invalidateData does clear first,
  // but keep the old record from leaking whatever the order).
  delete cached_;
  cached_ = getData();
}

GetProvider::GetProvider(Convert convert, std::vector<unsigned int> const& path,
                         unsigned int getCmd, unsigned int setCmd)
    : path_(path), getCmd_(getCmd), setCmd_(setCmd), convert_(convert) {}

Data* GetProvider::getData() {
  kx::message request;
  request.setCommand(getCmd_);
  request.setDstPath(path_);
  kx::message reply = busExchange(request);
  if (kx::isError(reply)) {
    std::fprintf(stderr, "GetProvider::getData error: %s\n", kx::getError(reply).c_str());
    reply = kx::message();
  }
  return convert_ ? convert_(reply) : nullptr;
}

bool GetProvider::setData(Data* record) {
  kx::message request;
  request.setCommand(setCmd_);
  request.setDstPath(path_);
  if (record) record->reverseBuild(request);
  return !kx::isError(busExchange(request));
}

GetFirstProvider::GetFirstProvider(Convert convert, std::vector<unsigned int> const& path)
    : path_(path), convert_(convert) {}

Data* GetFirstProvider::getData() {
  kx::message request;
  request.setCommand(kx::kCmdGetAll);
  request.setDstPath(path_);
  Data* record = nullptr;
  busWalkList(request, [&](const kx::message& object) {
    record = convert_ ? convert_(object) : nullptr;
    if (record) firstObjId_ = object.getU32(kx::kObjId, kNoObject);
    return record == nullptr;
  });
  return record;
}

bool GetFirstProvider::setData(Data*) { return false; }

uint32_t GetFirstProvider::getFirstObjId() {
  accessData();
  return firstObjId_;
}

Data* CountProvider::get() {
  data_.count = table_ ? static_cast<int>(table_->count()) : 0;
  return &data_;
}
