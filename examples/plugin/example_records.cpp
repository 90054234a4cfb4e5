#include "example_records.h"

namespace example {

Data* MotdData::build(kx::message const& reply) {
  auto* d = new MotdData();
  d->motd = reply.getString(kMotd);
  d->visitors = static_cast<int>(reply.getU32(kVisitors));
  return d;
}

void MotdData::reverseBuild(kx::message& msg) { msg.setString(kMotd, motd); }

void ItemData::build(kx::message const& object, std::vector<Data*>* out) {
  // An object without an id can't be a row: there would be no index.
  if (!object.has(kx::kObjId)) return;
  auto* d = new ItemData();
  d->id = static_cast<int>(object.getU32(kx::kObjId));
  d->name = object.getString(kItemName);
  d->level = static_cast<int>(object.getU32(kItemLevel));
  out->push_back(d);
}

}  // namespace example
