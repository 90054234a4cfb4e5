#include "mibs/ip_records.h"

namespace {

constexpr uint32_t kInvalid = kx::bool_id(0xfe0008);
constexpr uint32_t kDisabled = kx::bool_id(0xfe000a);
constexpr uint32_t kDynamic = kx::bool_id(0xfe0007);

constexpr uint32_t kAddress = kx::be32_id(0x1);
constexpr uint32_t kNetmask = kx::be32_id(0x3);
constexpr uint32_t kAddressInterface = kx::u32_id(0x5);

constexpr uint32_t kNeighbourAddress = kx::be32_id(0x1);
constexpr uint32_t kNeighbourInterface = kx::u32_id(0x3);
constexpr uint32_t kNeighbourHwAddress = kx::raw_id(0x2);

}  // namespace

bool ipObjectInactive(kx::message const& object) {
  return object.getBool(kInvalid) || object.getBool(kDisabled);
}

void IpAddressData::build(kx::message const& object, std::vector<Data*>* out) {
  if (ipObjectInactive(object)) return;
  auto* d = new IpAddressData;
  d->address = object.getBe32(kAddress);
  d->ifIndex = static_cast<int>(object.getU32(kAddressInterface));
  d->netmask = object.getBe32(kNetmask);
  out->push_back(d);
}

void ArpEntryData::build(kx::message const& object, std::vector<Data*>* out) {
  auto* d = new ArpEntryData;
  d->ifIndex = static_cast<int>(object.getU32(kNeighbourInterface));
  d->netAddress = object.getBe32(kNeighbourAddress);
  if (object.getBool(kInvalid))
    d->type = kNeighbourInvalid;
  else
    d->type = object.getBool(kDynamic) ? kNeighbourDynamic : kNeighbourStatic;
  if (const kx::message::raw* hw = object.findRaw(kNeighbourHwAddress))
    d->hwAddress.assign(hw->begin(), hw->end());
  out->push_back(d);
}
