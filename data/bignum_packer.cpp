#include "data/bignum_packer.h"

#include "engine/context.h"

void BignumPacker::pack(Context& ctx, Data const* record) { ctx.out.add(get(record), tag); }

void BignumPacker::unpack(Data* record, Context& ctx) {
  unsigned long long value;
  if (ctx.in.get64(&value)) set(record, value);
}
