// ColumnarLeaf: serves one column of a table, instances key.index.
#ifndef ENGINE_COLUMNAR_LEAF_H_
#define ENGINE_COLUMNAR_LEAF_H_

#include "engine/leaf.h"

class Packer;
class Table;

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

#endif  // ENGINE_COLUMNAR_LEAF_H_
