// MapTable: rows kept in index order, filled by a TableProvider.
//
// A row's index is made of the values of the index columns, in order, each
// in its packer's index form.  GET is a lookup and GETNEXT an upper-bound
// search; both ask the provider to refresh first (free while its cache is
// current).
#ifndef DATA_MAP_TABLE_H_
#define DATA_MAP_TABLE_H_

#include <map>
#include <utility>
#include <vector>

#include "asn1/oid.h"
#include "data/table_provider_client.h"
#include "engine/table.h"

class Packer;
class TableProvider;

class MapTable : public Table, public TableProviderClient {
 public:
  // Subscribes the new table to provider at once.  provider is not owned and
  // must outlive the table.
  explicit MapTable(TableProvider* provider);

  // Refreshes, then the row with exactly this index, or null.
  Data* get(OID const& index) override;
  // Refreshes, then the first row whose index is greater; an empty OID and
  // null after the last row.
  std::pair<OID, Data*> getNext(OID const& index) override;
  Data* getNextRow(OID const& index, OID* next) override;
  // Hands the record to the provider's setData and returns false whatever
  // the outcome (the record was changed in place already).
  bool set(OID const& index, Data* record) override;
  // The provider's count when it can tell one without a fill; otherwise
  // refreshes and counts the rows held.
  unsigned int count() override;

  // Appends an index column (the column leaf's own packer; not owned).
  // Call once per index column, in instance-OID order.
  virtual void addIndex(Packer* packer);
  // The index of record: every index packer's key part, in order.  A packer
  // that can't make its part adds nothing, so the key may come out short.
  virtual OID getKey(Data const* record) const;
  // Fills record's index fields from an instance index.  A failed step
  // leaves nothing for the packers after it; no failure is reported.
  virtual void storeKey(Data* record, OID const& index) const;

  void clear() override;
  // Both ignore a null record.
  void change(Data* record) override;
  void remove(Data* record) override;

  // Rows held now, without refreshing (for tests and diagnostics).
  size_t rowsHeld() const { return rows_.size(); }

 private:
  std::map<OID, Data*, tree_node_comp<OID>> rows_;
  std::vector<Packer*> indexes_;
  TableProvider* provider_;
};

#endif  // DATA_MAP_TABLE_H_
