#include "data/const_leaves.h"

#include "data/num_packer.h"
#include "data/oid_packer.h"
#include "data/string_packer.h"
#include "engine/leafs.h"

void addScalarConstNumLeaf(const OID& key, int value, unsigned tag) {
  addScalarLeaf(key, new ConstNumPacker(value, tag), nullptr);
}

void addScalarConstOIDLeaf(const OID& key, const OID& value, unsigned tag) {
  addScalarLeaf(key, new ConstOIDPacker(value, tag), nullptr);
}

void addScalarConstStringLeaf(const OID& key, const std::string& value, unsigned tag) {
  addScalarLeaf(key, new ConstStringPacker(value, tag, 0), nullptr);
}
