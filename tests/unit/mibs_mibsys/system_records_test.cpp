// Conversions of the resource, clock, software and reboot-control records:
// the arithmetic and time-zone cases that the walks of the example router
// do not reach.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "kx/message.h"
#include "mibs/system_mib.h"

namespace {

using Bytes = std::vector<unsigned char>;

// Sets TZ for the life of the object, then restores it.
class ScopedTimeZone {
 public:
  explicit ScopedTimeZone(const char* tz) {
    if (const char* old = getenv("TZ")) old_ = std::make_unique<std::string>(old);
    setenv("TZ", tz, 1);
    tzset();
  }
  ~ScopedTimeZone() {
    if (old_)
      setenv("TZ", old_->c_str(), 1);
    else
      unsetenv("TZ");
    tzset();
  }

 private:
  std::unique_ptr<std::string> old_;
};

template <class Record>
std::unique_ptr<Record> convert(Data* (*build)(const kx::message&), const kx::message& msg) {
  return std::unique_ptr<Record>(static_cast<Record*>(build(msg)));
}

kx::message resources(uint32_t uptime, uint32_t memTotal, uint32_t memFree, uint32_t diskTotal,
                      uint32_t diskFree, uint32_t load) {
  kx::message m;
  m.setU32(0x08000001, uptime);
  m.setU32(0x08000002, memTotal);
  m.setU32(0x08000003, memFree);
  m.setU32(0x0800000a, diskTotal);
  m.setU32(0x0800000b, diskFree);
  m.setU32(0x08000006, load);
  return m;
}

kx::message clock(uint32_t seconds, int32_t utcOffset) {
  kx::message m;
  m.setU32(0x08000007, seconds);
  m.setU32(0x0800001b, static_cast<uint32_t>(utcOffset));
  return m;
}

}  // namespace

TEST(ResourceData, UsedIsTotalLessFreeWrappingAtThirtyTwoBits) {
  // More free than total: used wraps instead of saturating at 0.
  auto r = convert<ResourceData>(ResourceData::build, resources(50000000, 100, 300, 10, 11, 0));
  EXPECT_EQ(static_cast<uint32_t>(r->memoryUsed), 0xffffff38u);
  EXPECT_EQ(static_cast<uint32_t>(r->diskUsed), 0xffffffffu);
  EXPECT_EQ(static_cast<uint32_t>(r->uptime), static_cast<uint32_t>(5000000000ull));
  // Missing fields read as zero: used equals total.
  kx::message m;
  m.setU32(0x08000002, 4096);
  m.setU32(0x0800000a, 512);
  r = convert<ResourceData>(ResourceData::build, m);
  EXPECT_EQ(r->uptime, 0);
  EXPECT_EQ(r->memoryUsed, 4096);
  EXPECT_EQ(r->diskUsed, 512);
  EXPECT_EQ(r->processorLoad, 0);
}

TEST(DateData, ElevenOctetsInLocalTimeWithTheReportedOffset) {
  // 1700000000 is 2023-11-14 22:13:20 UTC.  The calendar follows the
  // process's time zone, the last three octets the reported offset.
  const struct {
    const char* tz;
    uint32_t seconds;
    int32_t offset;
    Bytes date;
  } cases[] = {
      {"UTC", 1700000000, -19800, {0x07, 0xe7, 11, 14, 22, 13, 20, 0, '-', 5, 30}},
      {"UTC", 1700000000, 3600 + 45 * 60, {0x07, 0xe7, 11, 14, 22, 13, 20, 0, '+', 1, 45}},
      {"UTC-2", 1700000000, 0, {0x07, 0xe7, 11, 15, 0, 13, 20, 0, '+', 0, 0}},  // 2 h ahead
      // The most negative offset does not overflow: 2^31 s is 596523 h
      // (truncated to an octet) and 14 min.
      {"UTC", 0, INT32_MIN, {0x07, 0xb2, 1, 1, 0, 0, 0, 0, '-', 596523 % 256, 14}},
  };
  for (const auto& c : cases) {
    ScopedTimeZone zone(c.tz);
    EXPECT_EQ(convert<DateData>(DateData::build, clock(c.seconds, c.offset))->date, c.date)
        << c.tz << " " << c.offset;
  }
}

TEST(SoftwareInfoData, DateIsThatOfTimeSixtySevenInTheProcessTimeZone) {
  ScopedTimeZone west("EST5");
  kx::message m;
  m.setU32(0x08000007, 1700000000);  // a clock field is no date source here
  auto s = convert<SoftwareInfoData>(SoftwareInfoData::build, m);
  EXPECT_EQ(s->date, (Bytes{0x07, 0xb1, 12, 31, 19, 1, 7, 0}));
}

TEST(TheSystem, ReadsZeroWhateverTheServiceHolds) {
  kx::message reply;
  reply.setU32(0x08000001, 9);
  testing::internal::CaptureStderr();
  auto system = convert<TheSystem>(TheSystem::build, reply);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "TheSystem::build\n");
  EXPECT_EQ(system->reboot, 0);
}
