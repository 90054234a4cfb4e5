#include "engine/columnar_leaf.h"

#include "asn1/ber.h"
#include "engine/context.h"
#include "engine/packer.h"
#include "engine/table.h"

ColumnarLeaf::ColumnarLeaf(Packer* packer, Table* table) : packer_(packer), table_(table) {}

bool ColumnarLeaf::get(Context& ctx) {
  if (ctx.oid.empty()) return false;
  Data* data = table_->get(ctx.oid);
  if (data == nullptr) return false;
  ctx.name += ctx.oid;
  ctx.out.addOID(ctx.name, ber::kObjectId);
  packer_->pack(ctx, data);
  return true;
}

bool ColumnarLeaf::getNext(Context& ctx) {
  Data* data = table_->getNextRow(ctx.oid, &ctx.rowIndex);
  if (data == nullptr) return false;
  ctx.name += ctx.rowIndex;
  ctx.out.addOID(ctx.name, ber::kObjectId);
  packer_->pack(ctx, data);
  return true;
}

bool ColumnarLeaf::set(Context& ctx) {
  if (ctx.oid.empty()) return false;
  // The row is named by the arcs the prefix search took off, which may
  // include arcs left behind by an earlier binding of the same request.
  Data* data = table_->get(ctx.setSuffix);
  if (data == nullptr) return false;
  packer_->unpack(data, ctx);
  // The result is ignored: the record has already been changed in place,
  // and table write-backs report false even when the service took it.
  table_->set(ctx.setSuffix, data);
  // A SET leaves ctx.name empty, so this is the full requested name.
  ctx.out.addOID(ctx.name + ctx.oid, ber::kObjectId);
  packer_->pack(ctx, data);
  return true;
}
