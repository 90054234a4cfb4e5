#include "mibs/system_records.h"

#include <cstdio>

#include "data/bus.h"

namespace {

// Fields of the resources record [24, 2].
constexpr uint32_t kUptime = kx::u32_id(0x1);  // seconds
constexpr uint32_t kMemoryTotal = kx::u32_id(0x2);
constexpr uint32_t kMemoryFree = kx::u32_id(0x3);
constexpr uint32_t kDiskTotal = kx::u32_id(0xa);
constexpr uint32_t kDiskFree = kx::u32_id(0xb);
constexpr uint32_t kProcessorLoad = kx::u32_id(0x6);
constexpr uint32_t kHundredthsPerSecond = 100;

// Fields of the clock record [24, 0].
constexpr uint32_t kClockSeconds = kx::u32_id(0x7);
constexpr uint32_t kClockUtcOffset = kx::u32_id(0x1b);  // seconds, signed

// Field of the identity record [24, 1].
constexpr uint32_t kIdentName = kx::string_id(0xc);

// Fields of the software record [65].
constexpr uint32_t kSoftwareText = kx::string_id(0x1);
constexpr uint32_t kSoftwareVersion = kx::u32_id(0x4);
constexpr uint32_t kSoftwareVariant = kx::u32_id(0x9);
// The time every software date is taken from.
constexpr std::time_t kSoftwareDateTime = 67;

// The reboot command goes to the system service's own looper.
const std::vector<uint32_t> kRebootPath = {24};
constexpr uint32_t kRebootCommand = 5;

constexpr int kSecondsPerHour = 3600;
constexpr int kSecondsPerMinute = 60;

}  // namespace

std::vector<unsigned char> localDateBytes(std::time_t t) {
  std::vector<unsigned char> bytes(kLocalDateLength, 0);
  const std::tm* tm = std::localtime(&t);
  if (!tm) return bytes;
  const int year = tm->tm_year + 1900;
  bytes[0] = static_cast<unsigned char>(year >> 8);
  bytes[1] = static_cast<unsigned char>(year % 256);
  bytes[2] = static_cast<unsigned char>(tm->tm_mon + 1);
  bytes[3] = static_cast<unsigned char>(tm->tm_mday);
  bytes[4] = static_cast<unsigned char>(tm->tm_hour);
  bytes[5] = static_cast<unsigned char>(tm->tm_min);
  bytes[6] = static_cast<unsigned char>(tm->tm_sec);
  bytes[7] = 0;  // deci-seconds are not known
  return bytes;
}

Data* ResourceData::build(const kx::message& msg) {
  auto* r = new ResourceData;
  const uint32_t memoryTotal = msg.getU32(kMemoryTotal);
  const uint32_t diskTotal = msg.getU32(kDiskTotal);
  r->uptime = static_cast<int>(msg.getU32(kUptime) * kHundredthsPerSecond);
  r->memoryTotal = static_cast<int>(memoryTotal);
  r->memoryUsed = static_cast<int>(memoryTotal - msg.getU32(kMemoryFree));
  r->diskTotal = static_cast<int>(diskTotal);
  r->diskUsed = static_cast<int>(diskTotal - msg.getU32(kDiskFree));
  r->processorLoad = static_cast<int>(msg.getU32(kProcessorLoad));
  return r;
}

Data* DateData::build(const kx::message& msg) {
  auto* d = new DateData;
  d->date = localDateBytes(static_cast<std::time_t>(msg.getU32(kClockSeconds)));
  // Widened before negating: the most negative offset has no 32-bit
  // opposite.
  int64_t offset = static_cast<int32_t>(msg.getU32(kClockUtcOffset));
  unsigned char sign = '+';
  if (offset < 0) {
    sign = '-';
    offset = -offset;
  }
  d->date.push_back(sign);
  d->date.push_back(static_cast<unsigned char>(offset / kSecondsPerHour));
  d->date.push_back(static_cast<unsigned char>((offset / kSecondsPerMinute) % 60));
  return d;
}

Data* Ident::build(const kx::message& msg) {
  auto* i = new Ident;
  i->name = msg.getString(kIdentName);
  return i;
}

void Ident::reverseBuild(kx::message& msg) {
  std::fputs("Ident::reverseBuild\n", stderr);
  msg.setString(kIdentName, name);
}

Data* TheSystem::build(const kx::message&) {
  std::fputs("TheSystem::build\n", stderr);
  return new TheSystem;
}

void TheSystem::reverseBuild(kx::message&) {
  std::fputs("TheSystem::reverseBuild\n", stderr);
  if (reboot == 0) return;
  std::fputs("TheSystem::REBOOT\n", stderr);
  kx::message request;
  request.setDstPath(kRebootPath);
  request.setCommand(kRebootCommand);
  // The answer means nothing: the router is going down.
  busExchange(request);
}

Data* SoftwareInfoData::build(const kx::message& msg) {
  auto* s = new SoftwareInfoData;
  s->text = msg.getString(kSoftwareText);
  s->date = localDateBytes(kSoftwareDateTime);
  s->versionNumber = static_cast<int>(msg.getU32(kSoftwareVersion));
  s->variant = static_cast<int>(msg.getU32(kSoftwareVariant) + 1);
  return s;
}
