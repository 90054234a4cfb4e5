// TableProviderClient: a table that a TableProvider fills with rows.
#ifndef DATA_TABLE_PROVIDER_CLIENT_H_
#define DATA_TABLE_PROVIDER_CLIENT_H_

class Data;

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

#endif  // DATA_TABLE_PROVIDER_CLIENT_H_
