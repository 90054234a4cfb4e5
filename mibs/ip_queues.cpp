#include "mibs/ip_queues.h"

#include <arpa/inet.h>

namespace {

constexpr uint32_t kName = kx::string_id(0x2);

constexpr uint32_t kTargets = kx::u32_array_id(0x69);  // be32 elements
constexpr uint32_t kAddress3 = kx::be32_id(0x65);
constexpr uint32_t kAddress4 = kx::be32_id(0x67);
constexpr uint32_t kValue = kx::u32_id(0x68);
constexpr uint32_t kCounter1 = kx::u64_id(0x12c);
constexpr uint32_t kCounter2 = kx::u64_id(0xc8);
constexpr uint32_t kCounter3 = kx::u32_id(0x12d);
constexpr uint32_t kCounter4 = kx::u32_id(0xc9);

constexpr uint32_t kTreeTexts = kx::string_array_id(0xc);
constexpr uint32_t kTreeValue = kx::u32_id(0x1);
constexpr uint32_t kTreeCounter64 = kx::u64_id(0xc8);
constexpr uint32_t kTreeCounter = kx::u32_id(0xc9);

}  // namespace

void QueueData::build(kx::message const& object, std::vector<Data*>* out) {
  auto* d = new QueueData;
  d->id = static_cast<int>(object.getU32(kx::kObjId));
  d->name = object.getString(kName);
  const std::vector<uint32_t>* targets = object.findU32Array(kTargets);
  if (targets && targets->size() >= 2) {
    // Elements carry addresses first octet most significant.
    d->address1 = htonl((*targets)[0]);
    d->address2 = htonl((*targets)[1]);
  }
  d->address3 = object.getBe32(kAddress3);
  d->address4 = object.getBe32(kAddress4);
  d->value = static_cast<int>(object.getU32(kValue));
  d->counter1 = object.getU64(kCounter1);
  d->counter2 = object.getU64(kCounter2);
  d->counter3 = static_cast<int>(object.getU32(kCounter3));
  d->counter4 = static_cast<int>(object.getU32(kCounter4));
  out->push_back(d);
}

void QueueTreeData::build(kx::message const& object, std::vector<Data*>* out) {
  auto* d = new QueueTreeData;
  d->id = static_cast<int>(object.getU32(kx::kObjId));
  d->name = object.getString(kName);
  const std::vector<std::string> texts = object.getStringArray(kTreeTexts);
  if (!texts.empty()) d->firstText = texts.front();
  d->value = static_cast<int>(object.getU32(kTreeValue));
  d->counter64 = object.getU64(kTreeCounter64);
  d->counterLow = static_cast<int>(static_cast<uint32_t>(d->counter64));
  d->counter = static_cast<int>(object.getU32(kTreeCounter));
  out->push_back(d);
}
