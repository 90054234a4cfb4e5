#include "mibs/interfaces_kind.h"

namespace {

// Speeds of the Ethernet speed index, in bits per second.
constexpr int kSpeedByIndex[] = {10000000, 100000000, 1000000000};
constexpr uint32_t kSpeedIndexCount = sizeof(kSpeedByIndex) / sizeof(kSpeedByIndex[0]);

constexpr int kTenMbit = 10000000;

}  // namespace

int speedOfIndex(uint32_t index) { return index < kSpeedIndexCount ? kSpeedByIndex[index] : 0; }

InterfaceKindInfo interfaceKindInfo(uint32_t kind) {
  switch (kind) {
    case kKindEthernet:
      return {6, 0, true};
    case 2:
      return {188, 2000000, false};
    case 5:
    case 13:
    case 24:
    case 35:
      return {71, 11000000, false};
    case 6:
      return {188, kTenMbit, false};
    case 7:
    case 8:
    case 23:
    case 28:
      return {118, 64000, false};
    case 10:
    case 11:
    case 16:
    case 18:
    case 33:
    case 34:
      return {23, kTenMbit, false};
    case 12:
      return {209, 100000000, false};
    case 15:
    case 22:
      return {63, 64000, false};
    case 17:
      return {131, kTenMbit, false};
    case 19:
    case 20:
      return {23, 57600, false};
    case 21:
      return {131, 128000, false};
    case 27:
      return {32, 64000, false};
    case kKindVlan:
      return {135, 0, true};
    default:
      return {1, kTenMbit, false};
  }
}
