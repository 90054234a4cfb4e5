#include "engine/leafs.h"

#include "engine/columnar_leaf.h"
#include "engine/scalar_leaf.h"

LeafMap leafs;

void addLeaf(const OID& key, Leaf* leaf) { leafs[key] = leaf; }

void addScalarLeaf(const OID& key, Packer* packer, DataProvider* provider) {
  addLeaf(key, new ScalarLeaf(packer, provider));
}

void addColumnarLeaf(const OID& key, Packer* packer, Table* table) {
  addLeaf(key, new ColumnarLeaf(packer, table));
}
