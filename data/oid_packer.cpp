#include "data/oid_packer.h"

#include "engine/context.h"

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
