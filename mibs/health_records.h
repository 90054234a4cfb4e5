// HealthData: the router's health readings (service path [12, 1]).
#ifndef MIBS_HEALTH_RECORDS_H_
#define MIBS_HEALTH_RECORDS_H_

#include <string>

#include "engine/data.h"
#include "kx/message.h"

class HealthData : public Data {
 public:
  // Temperature shown when the board reports none, in degrees: absolute
  // zero, so a missing sensor reads as an impossible -273.0.
  static constexpr int kNoTemperature = -273;

  // Never fails; the caller owns the record.  Power source u32 0xc: 1
  // "main", 0 "aux", 2 "none", anything else (a missing field too) "n/a".
  static Data* build(const kx::message& msg);

  int value = 0;        // u32 0xd, reported unchanged
  int temperature = 0;  // u32 0xe (signed degrees) in tenths of a degree
  std::string powerSource;
};

#endif  // MIBS_HEALTH_RECORDS_H_
