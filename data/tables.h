// The tables columnar leaves read, and the providers that fill them: the
// provider and client interfaces, MapTable, StaticMuxTable and
// AugmentProxyTable.
#ifndef DATA_TABLES_H_
#define DATA_TABLES_H_

#include <map>
#include <utility>
#include <vector>

#include "asn1/oid.h"
#include "engine/table.h"

class Data;
class DataProvider;
class Packer;

// TableProviderClient: a table that a TableProvider fills with rows.
class TableProviderClient {
 public:
  // Forgets every row (the records stay the provider's).
  virtual void clear() = 0;
  // Inserts record, or replaces the row that has the same index.
  virtual void change(Data* record) = 0;
  // Drops the row that has record's index, if any.
  virtual void remove(Data* record) = 0;
  virtual ~TableProviderClient() = default;
};

// TableProvider: a source of table rows that feeds subscribed tables.
class TableProvider {
 public:
  // Writes one row's (already modified) record back; true on success.
  virtual bool setData(Data* record) = 0;
  // Adds a table that wants the rows; not owned, never removed.
  virtual void subscribe(TableProviderClient* client) = 0;
  // Makes sure every client holds current rows.  Called before every read,
  // so it must be cheap while the rows are current.
  virtual void updateTables() = 0;
  // The row count without fetching rows, when the source can tell it.
  // The base can't: false.
  virtual bool getCountCMD(unsigned int& count) {
    (void)count;
    return false;
  }
  virtual ~TableProvider() = default;
};

// MapTable: rows kept in index order, filled by a TableProvider.
//
// A row's index is made of the values of the index columns, in order, each
// in its packer's index form.  GET is a lookup and GETNEXT an upper-bound
// search; both ask the provider to refresh first (free while its cache is
// current).
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

// StaticMuxTable: a fixed set of rows, each served by its own DataProvider.
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

// AugmentProxyTable: a table whose rows follow another table's rows.
//
// For every row of the base table, a subclass's augment gives the record of
// this table's row with the same index.  The augmenting columns are
// read-only.
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

#endif  // DATA_TABLES_H_
