// The MIB tree: one ordered map from an object type's OID (a scalar or a
// table column, never an instance) to the leaf that answers for it.
//
// Filled at start-up by the MIB modules and by plug-ins; read by the PDU
// operations.  Leaves, packers, providers and tables registered here live
// for the whole run: the map never frees them.
#ifndef ENGINE_LEAFS_H_
#define ENGINE_LEAFS_H_

#include <map>

#include "asn1/oid.h"

class DataProvider;
class Leaf;
class Packer;
class Table;

using LeafMap = std::map<OID, Leaf*, tree_node_comp<OID>>;

// The process's MIB tree, in the order GETNEXT walks it.
extern LeafMap leafs;

// Stores leaf under key.  A second registration of a key replaces the
// pointer silently; the earlier leaf is neither freed nor reported, so the
// last registration wins.
void addLeaf(const OID& key, Leaf* leaf);
// Registers a new ScalarLeaf(packer, provider) under key.
void addScalarLeaf(const OID& key, Packer* packer, DataProvider* provider);
// Registers a new ColumnarLeaf(packer, table) under key.
void addColumnarLeaf(const OID& key, Packer* packer, Table* table);

#endif  // ENGINE_LEAFS_H_
