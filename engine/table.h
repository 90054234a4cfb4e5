// Table: the rows a columnar leaf serves, addressed by their index OID.
//
// Records returned stay owned by the table's source; a leaf may modify a
// record in place before calling set.
#ifndef ENGINE_TABLE_H_
#define ENGINE_TABLE_H_

#include <utility>

#include "asn1/oid.h"

class Data;

class Table {
 public:
  // The row's record, or null when there is no such row.
  virtual Data* get(OID const& index) = 0;
  // The first row whose index is greater than index (OID order): its index
  // and record.  At the end: an empty OID and null.
  virtual std::pair<OID, Data*> getNext(OID const& index) = 0;
  // Writes a modified row back; false where no write path exists.
  virtual bool set(OID const& index, Data* record) = 0;
  // Number of rows.
  virtual unsigned int count() = 0;
  virtual ~Table() = default;

  // The same as getNext, with the row's index written into *next, whose
  // storage is reused (when it answers null, *next may hold anything):
  // what the request engine calls.  Tables that hold their rows override it to
  // answer without allocating; by default it forwards to getNext.
  virtual Data* getNextRow(OID const& index, OID* next) {
    std::pair<OID, Data*> row = getNext(index);
    if (row.second != nullptr) *next = std::move(row.first);
    return row.second;
  }
};

#endif  // ENGINE_TABLE_H_
