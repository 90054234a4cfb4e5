#include "mibs/bridge_records.h"

#include <cstdint>

#include "data/get_first_provider.h"

GetFirstProvider* bridgeProvider = nullptr;

namespace {

constexpr uint32_t kInterfaceKind = kx::u32_id(0x10001);
constexpr uint32_t kBridgeAddress = kx::raw_id(0x3e9);
constexpr uint32_t kBridgePriority = kx::u32_id(0x2);

constexpr uint32_t kFdbPort = kx::u32_id(0x1);
constexpr uint32_t kFdbAddress = kx::raw_id(0x2);
constexpr uint32_t kFdbLocal = kx::bool_id(0x4);
constexpr uint32_t kFdbBridge = kx::u32_id(0x5);  // interface id of the bridge

}  // namespace

Data* BridgeData::build(const kx::message& object) {
  if (object.getU32(kInterfaceKind) != kBridgeKind) return nullptr;
  auto* b = new BridgeData;
  b->address = object.getRaw(kBridgeAddress);
  b->priority = static_cast<int>(object.getU32(kBridgePriority));
  return b;
}

void FdbEntryData::build(const kx::message& object, std::vector<Data*>* out) {
  if (!bridgeProvider || object.getU32(kFdbBridge) != bridgeProvider->getFirstObjId()) return;
  auto* e = new FdbEntryData;
  e->port = static_cast<int>(object.getU32(kFdbPort));
  e->address = object.getRaw(kFdbAddress);
  e->status = object.getBool(kFdbLocal) ? kSelf : kLearned;
  out->push_back(e);
}
