#include "mibs/interfaces_records.h"

#include "data/bus.h"
#include "mibs/interfaces_kind.h"

const std::vector<unsigned int> kInterfacesPath = {20, 0};

namespace {

// Fields of an interface object.
constexpr uint32_t kKind = kx::u32_id(0x10001);
constexpr uint32_t kName = kx::string_id(0x10006);
constexpr uint32_t kRunning = kx::bool_id(0x1000e);
constexpr uint32_t kMtu = kx::u32_id(0x10064);
constexpr uint32_t kSpeedIndex = kx::u32_id(0x3f2);
constexpr uint32_t kParent = kx::u32_id(0x7d2);
constexpr uint32_t kHwAddress = kx::raw_id(0x3e9);
constexpr uint32_t kDisabled = kx::bool_id(0xfe000a);

constexpr uint32_t kInOctets = kx::u64_id(0x100fc);
constexpr uint32_t kOutOctets = kx::u64_id(0x100fd);
constexpr uint32_t kInPackets = kx::u64_id(0x100fe);
constexpr uint32_t kOutPackets = kx::u64_id(0x100ff);
constexpr uint32_t kInErrors = kx::u32_id(0x100fa);
constexpr uint32_t kOutErrors = kx::u32_id(0x100fb);
constexpr uint32_t kInDiscards = kx::u32_id(0x100f8);
constexpr uint32_t kOutDiscards = kx::u32_id(0x100f9);

// The speed index of another interface, read from the list service.
uint32_t parentSpeedIndex(uint32_t parent) {
  kx::message request;
  request.setCommand(kx::kCmdGetObj);
  request.setDstPath(kInterfacesPath);
  request.setU32(kx::kObjId, parent);
  // An error reply has no speed index: it reads as 0 like any absent field.
  return busExchange(request).getU32(kSpeedIndex);
}

int low32(uint64_t v) { return static_cast<int>(static_cast<uint32_t>(v)); }

}  // namespace

InterfaceData* InterfaceData::fromMessage(kx::message const& object) {
  auto* d = new InterfaceData;
  d->id = static_cast<int>(object.getU32(kx::kObjId));
  d->mtu = static_cast<int>(object.getU32(kMtu));
  const InterfaceKindInfo kind = interfaceKindInfo(object.getU32(kKind));
  d->ifType = kind.ifType;
  d->speed = kind.speed;
  if (kind.speedFromIndex) {
    const uint32_t index = object.getU32(kKind) == kKindVlan
                               ? parentSpeedIndex(object.getU32(kParent))
                               : object.getU32(kSpeedIndex);
    d->speed = speedOfIndex(index);
  }
  d->operStatus = object.getBool(kRunning) ? 1 : 2;
  d->adminStatus = object.getBool(kDisabled) ? 2 : 1;
  d->name = object.getString(kName);
  if (const kx::message::raw* hw = object.findRaw(kHwAddress))
    d->hwAddress.assign(hw->begin(), hw->end());
  return d;
}

void InterfaceData::build(kx::message const& object, std::vector<Data*>* out) {
  out->push_back(fromMessage(object));
}

void InterfaceCounters::fill(kx::message const& object) {
  inOctets64 = object.getU64(kInOctets);
  outOctets64 = object.getU64(kOutOctets);
  inPackets64 = object.getU64(kInPackets);
  outPackets64 = object.getU64(kOutPackets);
  inOctets = low32(inOctets64);
  outOctets = low32(outOctets64);
  inPackets = low32(inPackets64);
  outPackets = low32(outPackets64);
  inErrors = static_cast<int>(object.getU32(kInErrors));
  outErrors = static_cast<int>(object.getU32(kOutErrors));
  inDiscards = static_cast<int>(object.getU32(kInDiscards));
  outDiscards = static_cast<int>(object.getU32(kOutDiscards));
}
