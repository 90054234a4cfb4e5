// ProxyDataProvider: a scalar record produced by a plain function.
#ifndef DATA_PROXY_DATA_PROVIDER_H_
#define DATA_PROXY_DATA_PROVIDER_H_

#include "engine/data_provider.h"

class ProxyDataProvider : public DataProvider {
 public:
  // Returns the current record; the function keeps ownership (typically a
  // static record refreshed in place).
  using Function = Data* (*)();

  explicit ProxyDataProvider(Function function) : function_(function) {}

  // Whatever the function returns (null without a function).
  Data* get() override { return function_ ? function_() : nullptr; }
  // Read-only: false.
  bool set(Data*) override { return false; }

 private:
  Function function_;
};

#endif  // DATA_PROXY_DATA_PROVIDER_H_
