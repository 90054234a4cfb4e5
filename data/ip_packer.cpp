#include "data/ip_packer.h"

#include <string>

#include "engine/context.h"

namespace {
constexpr unsigned kIPv4Octets = 4;
}  // namespace

void IPPacker::pack(Context& ctx, Data const* record) {
  unsigned int address = get(record);
  unsigned char octets[kIPv4Octets];
  for (unsigned i = 0; i < kIPv4Octets; ++i) octets[i] = (address >> (8 * i)) & 0xff;
  ctx.out.add(octets, kIPv4Octets, tag);
}

void IPPacker::unpack(Data* record, Context& ctx) {
  std::string octets;
  if (!ctx.in.getString(&octets) || octets.size() != kIPv4Octets) return;
  unsigned int address = 0;
  for (unsigned i = 0; i < kIPv4Octets; ++i)
    address |= static_cast<unsigned int>(static_cast<unsigned char>(octets[i])) << (8 * i);
  set(record, address);
}

OID IPPacker::getAsKey(Data const* record) {
  unsigned int address = get(record);
  OID key;
  for (unsigned i = 0; i < kIPv4Octets; ++i) key += (address >> (8 * i)) & 0xff;
  return key;
}

OID IPPacker::setFromKey(Data* record, OID const& key) {
  OID rest = key;
  OID part;
  unsigned int address;
  if (!rest.popIP(&part) || !part.asIP(&address)) return OID();
  set(record, address);
  return rest;
}
