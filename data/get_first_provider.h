// GetFirstProvider: the first object of a service's list that the module
// accepts, as a single record.  Read-only.
#ifndef DATA_GET_FIRST_PROVIDER_H_
#define DATA_GET_FIRST_PROVIDER_H_

#include <cstdint>
#include <vector>

#include "data/single_provider.h"
#include "kx/message.h"

class GetFirstProvider : public SingleProvider {
 public:
  // Builds a record from one list object, or returns null to pass over it;
  // the caller owns the result.
  using Convert = Data* (*)(kx::message const&);

  // Object id reported before any object has been accepted.
  static constexpr uint32_t kNoObject = 0xffffffff;

  GetFirstProvider(Convert convert, std::vector<unsigned int> const& path);

  // Pages through the list (get all, continuation mark echoed) until convert
  // accepts an object; remembers that object's id (0xfe0001).  Null when no
  // object converts or an exchange fails (nothing logged).
  Data* getData() override;
  // SET is not supported: false.
  bool setData(Data* record) override;

  // The id of the object the current cache was built from.  Reads through
  // the cache first; keeps the previous id when the refill found nothing.
  uint32_t getFirstObjId();

 private:
  std::vector<unsigned int> path_;
  Convert convert_;
  uint32_t firstObjId_ = kNoObject;
};

#endif  // DATA_GET_FIRST_PROVIDER_H_
