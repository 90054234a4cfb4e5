// StaticMuxTable: a fixed set of rows, each served by its own DataProvider.
#ifndef DATA_STATIC_MUX_TABLE_H_
#define DATA_STATIC_MUX_TABLE_H_

#include <map>
#include <utility>

#include "asn1/oid.h"
#include "engine/table.h"

class DataProvider;

class StaticMuxTable : public Table {
 public:
  // The row's provider's record; null for an unknown index.
  Data* get(OID const& index) override;
  // The next registered row and its provider's record, which may be null
  // (such a row is not skipped); an empty OID and null at the end.
  std::pair<OID, Data*> getNext(OID const& index) override;
  Data* getNextRow(OID const& index, OID* next) override;
  // The row's provider's set; false for an unknown index.
  bool set(OID const& index, Data* record) override;
  // Registered rows.
  unsigned int count() override;

  // Registers provider (not owned) as the row index; a second call with the
  // same index replaces it.
  virtual void addProvider(OID const& index, DataProvider* provider);

 private:
  std::map<OID, DataProvider*, tree_node_comp<OID>> rows_;
};

#endif  // DATA_STATIC_MUX_TABLE_H_
