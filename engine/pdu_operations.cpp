#include "engine/pdu_operations.h"

#include <cstdio>
#include <iterator>

#include "asn1/ber.h"
#include "engine/context.h"
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
  const OID& name = ctx.oid;
  // The longest key that is a prefix of the name.  The greatest key not
  // above a probe either is such a prefix or shares only its first
  // `common` arcs with the probe; no longer key can be a prefix then, so
  // the search goes on below that many arcs.  Keys are short, so the cost
  // does not grow with the name beyond the first lookup and the copy into
  // the suffix.
  LeafMap::iterator found = leafs.end();
  OID probe;
  const OID* target = &name;
  while (!target->empty()) {
    auto it = leafs.upper_bound(*target);
    if (it == leafs.begin()) break;
    --it;
    const OID& key = it->first;
    if (target->startsWith(key)) {
      if (!key.empty()) found = it;
      break;
    }
    size_t common = 0;
    while (key[common] == (*target)[common]) ++common;  // they differ before either ends
    if (target == &probe) {
      probe.resize(common);
    } else {
      probe.assign(name.begin(), name.begin() + common);
      target = &probe;
    }
  }
  // The arcs after the key go in front of the suffix, which is deliberately
  // not cleared: arcs an earlier binding left there stay behind them.
  const size_t keyLength = found == leafs.end() ? 0 : found->first.size();
  ctx.setSuffix.insert(ctx.setSuffix.begin(), name.begin() + keyLength, name.end());
  ctx.setPrefix.assign(name.begin(), name.begin() + keyLength);
  if (found == leafs.end()) return kNoSuchName;
  // The key without its leading dot, as the log has always shown it.
  std::fprintf(stderr, "snmpSet found %s\n", found->first.str().c_str() + 1);
  return found->second->set(ctx) ? kNoError : kNoSuchName;
}

void AccessError::apply(Context&) const {}

void PathNotExists::apply(Context& ctx) const {
  ctx.out.addErrorStatus(kNoSuchName);
  ctx.error = 1;
}

void InvalidOID::apply(Context& ctx) const { ctx.out.addErrorStatus(error_status::kGenErr); }

void MiscError::apply(Context& ctx) const { ctx.out.addErrorStatus(error_status::kGenErr); }
