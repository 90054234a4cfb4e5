// TableProvider: a source of table rows that feeds subscribed tables.
#ifndef DATA_TABLE_PROVIDER_H_
#define DATA_TABLE_PROVIDER_H_

class Data;
class TableProviderClient;

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

#endif  // DATA_TABLE_PROVIDER_H_
