// The MIB tree and its leaves.
//
// The tree is one ordered map from an object type's OID (a scalar or a
// table column, never an instance) to the leaf that answers for it.  It is
// filled at start-up by the MIB modules and by plug-ins and read by the PDU
// operations.  Leaves, packers, providers and tables registered here live
// for the whole run: the map never frees them.
//
// On entry to a leaf's operation ctx.name holds the leaf's key and ctx.oid
// the instance part of the request (for GETNEXT: empty when the request
// lies before the key; for SET: the full requested name, with the instance
// in the context's set suffix).  On success a leaf has written one
// binding's name and value into ctx.out; on failure it has written nothing.
#ifndef ENGINE_LEAFS_H_
#define ENGINE_LEAFS_H_

#include <map>

#include "asn1/oid.h"

class Context;
class DataProvider;
class Packer;
class Table;

class Leaf {
 public:
  // The instance ctx.oid exactly.
  virtual bool get(Context& ctx) = 0;
  // The first instance after ctx.oid.
  virtual bool getNext(Context& ctx) = 0;
  // Stores the binding's value (next in ctx.in) and echoes the name with
  // the value as read back.
  virtual bool set(Context& ctx) = 0;
  virtual ~Leaf() = default;
};

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

// ScalarLeaf: serves the single instance ".0" of a scalar object.
class ScalarLeaf : public Leaf {
 public:
  // Neither pointer is owned.  provider may be null: the packer then holds
  // a constant and is packed with a null record.
  ScalarLeaf(Packer* packer, DataProvider* provider);

  // Succeeds only for the instance 0 (ctx.oid == ZERO_OID) and only when
  // the provider has a record; answers key.0.
  bool get(Context& ctx) override;
  // Succeeds only when the request lies at or before the key (ctx.oid
  // empty): a scalar never follows its own instance.
  bool getNext(Context& ctx) override;
  // Any instance below the key reaches the scalar.  The decoded value is
  // not checked: the provider's set runs regardless, and only its refusal
  // (a read-only provider) fails the binding.  Without a provider the SET is
  // accepted, changes nothing and answers the constant.  The reply echoes
  // the requested name with the value as read back.
  bool set(Context& ctx) override;

 private:
  // Appends key.0 and the value; false when the provider has no record.
  bool answerInstance(Context& ctx);

  Packer* packer_;
  DataProvider* provider_;
};

// ColumnarLeaf: serves one column of a table, instances key.index.
class ColumnarLeaf : public Leaf {
 public:
  // Neither pointer is owned; both must be non-null.
  ColumnarLeaf(Packer* packer, Table* table);

  // The row whose index is ctx.oid; fails on an empty index or a missing
  // row.
  bool get(Context& ctx) override;
  // The first row after ctx.oid (the first row when ctx.oid is empty);
  // fails when the table has none, so the walk moves to the next leaf.
  bool getNext(Context& ctx) override;
  // The row named by the context's set suffix; fails when there is no
  // such row.  Neither the decoded value nor the table's write-back result
  // is checked: the reply carries the row's value as read back.
  bool set(Context& ctx) override;

 private:
  Packer* packer_;
  Table* table_;
};

#endif  // ENGINE_LEAFS_H_
