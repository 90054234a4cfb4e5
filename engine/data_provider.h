// DataProvider: the source of the one record a scalar leaf serves.
#ifndef ENGINE_DATA_PROVIDER_H_
#define ENGINE_DATA_PROVIDER_H_

class Data;

class DataProvider {
 public:
  // The current record, or null when none can be had.  The provider keeps
  // ownership; the record lives at least until the next call.
  virtual Data* get() = 0;
  // Writes the (already modified) record back; true on success.
  virtual bool set(Data* record) = 0;
  virtual ~DataProvider() = default;
};

#endif  // ENGINE_DATA_PROVIDER_H_
