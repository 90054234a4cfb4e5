#include "data/num_packer.h"

#include "engine/context.h"

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
