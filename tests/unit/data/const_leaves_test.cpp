// Constant scalars registered into the MIB tree.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "asn1/out_stream.h"
#include "data/const_leaves.h"
#include "engine/context.h"
#include "engine/leaf.h"
#include "engine/leafs.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
// Constant leaves live for the whole run by design; once the tree is
// cleared at exit nothing refers to them any more.
#define IMMORTAL_ALLOCATIONS __lsan::ScopedDisabler lsan_disabler
#else
#define IMMORTAL_ALLOCATIONS
#endif

namespace {

// What a GET of key.0 answers, as produced by the leaf under key.
std::vector<uint8_t> answerOf(const OID& key) {
  auto it = leafs.find(key);
  if (it == leafs.end()) return {};
  unsigned char none[1] = {0};
  Context ctx(none, 0);
  ctx.name = key;
  ctx.oid = ZERO_OID;
  if (!it->second->get(ctx)) return {};
  return ctx.out.bytes();
}

std::vector<uint8_t> binding(const OID& name, void (*value)(OutStream&)) {
  OutStream out;
  out.addOID(name, 0x06);
  value(out);
  return out.bytes();
}

}  // namespace

TEST(ConstLeaves, EachHelperServesItsConstantWithItsTag) {
  const OID num("1.3.6.1.4.1.32473.99.1");
  const OID oid("1.3.6.1.4.1.32473.99.2");
  const OID text("1.3.6.1.4.1.32473.99.3");
  {
    IMMORTAL_ALLOCATIONS;
    addScalarConstNumLeaf(num, 42, 0x43);
    addScalarConstOIDLeaf(oid, OID("1.3.6.1.4.1.32473"), 0x06);
    addScalarConstStringLeaf(text, "edge router", 0x04);
  }
  EXPECT_EQ(answerOf(num),
            binding(num + ZERO_OID, [](OutStream& o) { o.add(42, 0x43); }));
  EXPECT_EQ(answerOf(oid),
            binding(oid + ZERO_OID, [](OutStream& o) { o.addOID(OID("1.3.6.1.4.1.32473"), 0x06); }));
  EXPECT_EQ(answerOf(text),
            binding(text + ZERO_OID, [](OutStream& o) { o.add(std::string("edge router"), 0x04); }));
  leafs.erase(num);
  leafs.erase(oid);
  leafs.erase(text);
}
