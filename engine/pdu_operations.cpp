#include "engine/pdu_operations.h"

#include <cstdio>
#include <iterator>

#include "asn1/ber.h"
#include "engine/context.h"
#include "engine/error_status.h"
#include "engine/leaf.h"
#include "engine/leafs.h"

namespace {

using error_status::kNoError;
using error_status::kNoSuchName;

}  // namespace

unsigned snmpGet(Context& ctx) {
  auto it = leafs.upper_bound(ctx.oid);
  if (it == leafs.begin()) return kNoSuchName;
  --it;
  const OID& key = it->first;
  if (!ctx.oid.startsWith(key)) return kNoSuchName;
  // In place: assignments reuse the names' storage.
  ctx.name = key;
  ctx.oid.erase(ctx.oid.begin(), ctx.oid.begin() + key.size());
  return it->second->get(ctx) ? kNoError : kNoSuchName;
}

unsigned snmpGetNext(Context& ctx) {
  ctx.from = ctx.oid;
  const OID& request = ctx.from;
  auto it = leafs.upper_bound(request);
  if (it != leafs.begin()) {
    auto containing = std::prev(it);
    if (request.startsWith(containing->first)) it = containing;
  }
  for (; it != leafs.end(); ++it) {
    const OID& key = it->first;
    if (request.startsWith(key)) {
      ctx.oid.assign(request.begin() + key.size(), request.end());
    } else {
      ctx.oid.clear();
    }
    ctx.name = key;
    if (it->second->getNext(ctx)) return kNoError;
  }
  return kNoSuchName;
}

unsigned snmpGetBulk(Context& ctx) {
  const int repetitions = ctx.requestField2;
  for (int i = 0; i < repetitions; ++i) {
    if (i > 0) {
      ctx.out.startSeq(ber::kSequence);
      ctx.oid = ctx.name;
    }
    unsigned status = snmpGetNext(ctx);
    if (status != kNoError) {
      std::fprintf(stderr, "Error %u\n", status);
      return status;
    }
    if (i >= repetitions - 1) return kNoError;
    ctx.out.endSeq();
  }
  return kNoError;
}

unsigned snmpSet(Context& ctx) {
  // The suffix is deliberately not cleared: arcs an earlier binding left
  // there stay behind the ones this search moves in front of them.
  ctx.setPrefix = ctx.oid;
  LeafMap::iterator found = leafs.end();
  while (!ctx.setPrefix.empty()) {
    found = leafs.find(ctx.setPrefix);
    if (found != leafs.end()) break;
    ctx.setSuffix.insert(ctx.setSuffix.begin(), ctx.setPrefix.back());
    ctx.setPrefix.pop_back();
  }
  if (ctx.setPrefix.empty()) return kNoSuchName;
  // The key without its leading dot, as the log has always shown it.
  std::fprintf(stderr, "snmpSet found %s\n", found->first.str().c_str() + 1);
  return found->second->set(ctx) ? kNoError : kNoSuchName;
}
