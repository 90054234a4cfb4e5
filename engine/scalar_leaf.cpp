#include "engine/scalar_leaf.h"

#include "asn1/ber.h"
#include "engine/context.h"
#include "engine/data_provider.h"
#include "engine/packer.h"

ScalarLeaf::ScalarLeaf(Packer* packer, DataProvider* provider)
    : packer_(packer), provider_(provider) {}

bool ScalarLeaf::answerInstance(Context& ctx) {
  Data* data = nullptr;
  if (provider_ != nullptr) {
    data = provider_->get();
    if (data == nullptr) return false;
  }
  ctx.name += ZERO_OID;
  ctx.out.addOID(ctx.name, ber::kObjectId);
  packer_->pack(ctx, data);
  return true;
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
