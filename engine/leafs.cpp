#include "engine/leafs.h"

#include <cstdio>

#include "asn1/ber.h"
#include "engine/context.h"
#include "engine/data_provider.h"
#include "engine/packer.h"
#include "engine/table.h"

LeafMap leafs;

namespace {

// Appends the name ctx.name + instance and the value of record; true.
bool answer(Context& ctx, Packer* packer, const Data* record, const OID& instance) {
  ctx.name += instance;
  ctx.out.addOID(ctx.name, ber::kObjectId);
  packer->pack(ctx, record);
  return true;
}

}  // namespace

void addLeaf(const OID& key, Leaf* leaf) { leafs[key] = leaf; }

void addScalarLeaf(const OID& key, Packer* packer, DataProvider* provider) {
  addLeaf(key, new ScalarLeaf(packer, provider));
}

void addColumnarLeaf(const OID& key, Packer* packer, Table* table) {
  addLeaf(key, new ColumnarLeaf(packer, table));
}

ScalarLeaf::ScalarLeaf(Packer* packer, DataProvider* provider)
    : packer_(packer), provider_(provider) {}

bool ScalarLeaf::answerInstance(Context& ctx) {
  Data* data = nullptr;
  if (provider_ != nullptr) {
    data = provider_->get();
    if (data == nullptr) return false;
  }
  return answer(ctx, packer_, data, ZERO_OID);
}

bool ScalarLeaf::get(Context& ctx) {
  if (ctx.oid != ZERO_OID) return false;
  return answerInstance(ctx);
}

bool ScalarLeaf::getNext(Context& ctx) {
  if (!ctx.oid.empty()) return false;
  return answerInstance(ctx);
}

bool ScalarLeaf::set(Context& ctx) {
  Data* data = nullptr;
  if (provider_ != nullptr) {
    data = provider_->get();
    if (data == nullptr) return false;
    // A value that can't be decoded leaves the record as it was; the write
    // goes ahead anyway and the reply shows the value as read back.
    packer_->unpack(data, ctx);
    if (!provider_->set(data)) return false;
  }
  ctx.out.addOID(ctx.oid, ber::kObjectId);
  packer_->pack(ctx, data);
  return true;
}

ColumnarLeaf::ColumnarLeaf(Packer* packer, Table* table) : packer_(packer), table_(table) {}

bool ColumnarLeaf::get(Context& ctx) {
  if (ctx.oid.empty()) return false;
  Data* data = table_->get(ctx.oid);
  return data != nullptr && answer(ctx, packer_, data, ctx.oid);
}

bool ColumnarLeaf::getNext(Context& ctx) {
  Data* data = table_->getNextRow(ctx.oid, &ctx.rowIndex);
  return data != nullptr && answer(ctx, packer_, data, ctx.rowIndex);
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

// The packers' defaults for the key forms, which only index packers have.
OID Packer::getAsKey(Data const*) {
  std::fputs("BUG: Packer::getAsKey called\n", stderr);
  return OID();
}

OID Packer::setFromKey(Data*, OID const&) {
  std::fputs("BUG: Packer::setFromKey called\n", stderr);
  return OID();
}
