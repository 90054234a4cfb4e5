#include "data/packers.h"

#include <cstdio>
#include <string>

#include "engine/context.h"
#include "engine/leafs.h"

void NumPacker::pack(Context& ctx, Data const* record) { ctx.out.add(get(record), tag); }

void NumPacker::unpack(Data* record, Context& ctx) {
  int value;
  if (ctx.in.getInt(&value)) set(record, value);
}

OID NumPacker::getAsKey(Data const* record) {
  OID key;
  key += static_cast<unsigned int>(get(record));
  return key;
}

OID NumPacker::setFromKey(Data* record, OID const& key) {
  OID rest = key;
  OID part;
  unsigned int value;
  if (!rest.popUnsigned(&part) || !part.asUnsigned(&value)) return OID();
  set(record, static_cast<int>(value));
  return rest;
}

void StringPacker::pack(Context& ctx, Data const* record) { ctx.out.add(get(record), tag); }

void StringPacker::unpack(Data* record, Context& ctx) {
  std::string value;
  if (!ctx.in.getString(&value)) return;
  // The value may hold any byte, NUL included: written by length.
  std::fputs("unpacked s = ", stderr);
  std::fwrite(value.data(), 1, value.size(), stderr);
  std::fputc('\n', stderr);
  set(record, value);
}

OID StringPacker::getAsKey(Data const* record) {
  std::string value = get(record);
  OID key;
  if (keyLength > 0) {
    if (value.size() != keyLength) {
      std::fputs("inconsistent key length\n", stderr);
      return OID();
    }
  } else {
    key += static_cast<unsigned int>(value.size());
  }
  for (char c : value) key += static_cast<unsigned int>(static_cast<unsigned char>(c));
  return key;
}

OID StringPacker::setFromKey(Data* record, OID const& key) {
  OID rest = key;
  OID part;
  bool popped = keyLength > 0 ? rest.popString(keyLength, &part) : rest.popString(&part);
  std::string value;
  // Both forms are read back length-prefixed (see the header).
  if (!popped || !part.asString(&value)) return OID();
  set(record, value);
  return rest;
}

void ConstStringPacker::pack(Context& ctx, Data const*) { ctx.out.add(value_, tag); }

void DataStringPacker::pack(Context& ctx, Data const* record) {
  if (record == nullptr) {
    ctx.out.add(nullptr, 0, tag);
  } else {
    ctx.out.add(record->*member_, tag);
  }
}

std::string DataStringPacker::get(Data const* record) {
  return record ? record->*member_ : std::string();
}

void DataStringPacker::set(Data* record, std::string const& value) {
  if (record) record->*member_ = value;
}

void DataRawPacker::pack(Context& ctx, Data const* record) {
  if (record == nullptr) {
    ctx.out.add(nullptr, 0, tag);
  } else {
    const std::vector<unsigned char>& bytes = record->*member_;
    ctx.out.add(bytes.data(), static_cast<unsigned int>(bytes.size()), tag);
  }
}

std::string DataRawPacker::get(Data const* record) {
  if (!record) return std::string();
  const std::vector<unsigned char>& bytes = record->*member_;
  return std::string(bytes.begin(), bytes.end());
}

void DataRawPacker::set(Data* record, std::string const& value) {
  if (record) (record->*member_).assign(value.begin(), value.end());
}

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

void OIDPacker::pack(Context& ctx, Data const* record) { ctx.out.addOID(get(record), tag); }

void ConstOIDPacker::pack(Context& ctx, Data const*) { ctx.out.addOID(value_, tag); }

void DataOIDPacker::pack(Context& ctx, Data const* record) {
  if (record == nullptr) {
    ctx.out.addOID(OID(), tag);  // can't be encoded: logged, nothing written
  } else {
    ctx.out.addOID(record->*member_, tag);
  }
}

void OIDPacker::unpack(Data* record, Context& ctx) {
  OID value;
  if (ctx.in.getOID(&value)) set(record, value);
}

OID OIDPacker::getAsKey(Data const* record) {
  OID value = get(record);
  OID key;
  key += static_cast<unsigned int>(value.size());
  key += value;
  return key;
}

OID OIDPacker::setFromKey(Data* record, OID const& key) {
  OID rest = key;
  OID part;
  if (!rest.popOID(&part)) return OID();
  // part still starts with its count; asOID yields what follows it.
  OID value;
  if (!part.asOID(&value)) return OID();
  set(record, value);
  return rest;
}

void BignumPacker::pack(Context& ctx, Data const* record) { ctx.out.add(get(record), tag); }

void BignumPacker::unpack(Data* record, Context& ctx) {
  unsigned long long value;
  if (ctx.in.get64(&value)) set(record, value);
}

void addScalarConstNumLeaf(const OID& key, int value, unsigned tag) {
  addScalarLeaf(key, new ConstNumPacker(value, tag), nullptr);
}

void addScalarConstOIDLeaf(const OID& key, const OID& value, unsigned tag) {
  addScalarLeaf(key, new ConstOIDPacker(value, tag), nullptr);
}

void addScalarConstStringLeaf(const OID& key, const std::string& value, unsigned tag) {
  addScalarLeaf(key, new ConstStringPacker(value, tag, 0), nullptr);
}
