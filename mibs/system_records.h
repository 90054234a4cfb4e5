// Records of the system group, hrSystem and the enterprise software and
// system-control scalars.  Each is built from one service's settings record
// by its static build (the providers' conversion callback), which never
// fails: a missing u32 reads as 0, a missing string as "".
//
// The caller of build owns the record it returns.
#ifndef MIBS_SYSTEM_RECORDS_H_
#define MIBS_SYSTEM_RECORDS_H_

#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

#include "engine/data.h"
#include "kx/message.h"

// Length of a DateAndTime without, and with, its UTC-offset part.
constexpr size_t kLocalDateLength = 8;
constexpr size_t kZonedDateLength = 11;

// The first eight octets of a DateAndTime (year high, year low, month,
// day, hour, minute, second, deci-seconds 0) of t in local time (the
// process's time zone).  Eight zero octets when t cannot be broken down.
std::vector<unsigned char> localDateBytes(std::time_t t);

// Uptime, memory, disk and load of the router (service path [24, 2]).
class ResourceData : public Data {
 public:
  // Seconds of u32 0x1 times 100, in 32-bit arithmetic.  The "used"
  // values are total minus free in unsigned 32-bit arithmetic: a free
  // value above the total wraps (kept as the router reports it).
  static Data* build(const kx::message& msg);

  int uptime = 0;  // hundredths of a second
  int memoryTotal = 0;
  int memoryUsed = 0;
  int diskTotal = 0;
  int diskUsed = 0;
  int processorLoad = 0;
};

// The router's clock (service path [24, 0]) as an 11-octet DateAndTime.
class DateData : public Data {
 public:
  // u32 0x7: seconds since the epoch, shown in local time; u32 0x1b: the
  // offset from UTC in seconds, read as signed.
  static Data* build(const kx::message& msg);

  std::vector<unsigned char> date;
};

// The router's name (service path [24, 1]); sysName.
class Ident : public Data {
 public:
  static Data* build(const kx::message& msg);
  // Logs "Ident::reverseBuild" and adds the name as string 0xc.
  void reverseBuild(kx::message& msg) override;

  std::string name;
};

// The reboot control.  Reads 0 whatever the service holds.
class TheSystem : public Data {
 public:
  // Logs "TheSystem::build"; the reply's contents are not read.
  static Data* build(const kx::message& msg);
  // Logs "TheSystem::reverseBuild".  A non-zero request logs
  // "TheSystem::REBOOT" and sends the reboot command (5 to path [24])
  // itself, waiting for the answer; msg gets nothing either way, so the
  // ordinary set that follows carries no fields.
  void reverseBuild(kx::message& msg) override;

  int reboot = 0;
};

// The installed software (service path [65]).
class SoftwareInfoData : public Data {
 public:
  // The date is always that of the fixed time 67 (a minute past midnight
  // UTC on the first day of 1970), in local time: the service reports no
  // date of its own.
  static Data* build(const kx::message& msg);

  std::string text;                 // string 0x1
  std::vector<unsigned char> date;  // 8 octets, no UTC offset
  int versionNumber = 0;            // u32 0x4
  int variant = 0;                  // u32 0x9 plus one
};

#endif  // MIBS_SYSTEM_RECORDS_H_
