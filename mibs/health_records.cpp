#include "mibs/health_records.h"

#include <cstdint>

namespace {

constexpr uint32_t kValue = kx::u32_id(0xd);
constexpr uint32_t kTemperature = kx::u32_id(0xe);
constexpr uint32_t kPowerSource = kx::u32_id(0xc);
// Read when the power source is missing; names no source, so it shows "n/a".
constexpr uint32_t kNoPowerSource = 42;
constexpr int kTenthsPerDegree = 10;

const char* powerSourceText(uint32_t source) {
  switch (source) {
    case 0:
      return "aux";
    case 1:
      return "main";
    case 2:
      return "none";
    default:
      return "n/a";
  }
}

}  // namespace

Data* HealthData::build(const kx::message& msg) {
  auto* h = new HealthData;
  h->value = static_cast<int>(msg.getU32(kValue));
  const auto degrees =
      static_cast<int32_t>(msg.getU32(kTemperature, static_cast<uint32_t>(kNoTemperature)));
  // Multiplied in 32-bit unsigned arithmetic: a wild reading wraps instead
  // of overflowing.
  h->temperature = static_cast<int>(static_cast<uint32_t>(degrees) * kTenthsPerDegree);
  h->powerSource = powerSourceText(msg.getU32(kPowerSource, kNoPowerSource));
  return h;
}
