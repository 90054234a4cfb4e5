// AugmentProxyTable: a table whose rows follow another table's rows.
//
// For every row of the base table, a subclass's augment gives the record of
// this table's row with the same index.  The augmenting columns are
// read-only.
#ifndef DATA_AUGMENT_PROXY_TABLE_H_
#define DATA_AUGMENT_PROXY_TABLE_H_

#include <utility>

#include "engine/table.h"

class AugmentProxyTable : public Table {
 public:
  // base: not owned; must outlive this table.
  explicit AugmentProxyTable(Table* base) : base_(base) {}

  // Null when the base has no such row, else augment(index, base record).
  Data* get(OID const& index) override;
  // The base's next row with its record replaced by augment's result; a row
  // for which augment gives null is not skipped.
  std::pair<OID, Data*> getNext(OID const& index) override;
  Data* getNextRow(OID const& index, OID* next) override;
  // Read-only: false.
  bool set(OID const& index, Data* record) override;
  // The base table's count.
  unsigned int count() override;

  // The record of this table's row at index, given the base table's record
  // of that row (never null); null when there is none.  Ownership stays
  // with the subclass.
  virtual Data* augment(OID const& index, Data* baseRecord) = 0;

 protected:
  Table* base_;
};

#endif  // DATA_AUGMENT_PROXY_TABLE_H_
