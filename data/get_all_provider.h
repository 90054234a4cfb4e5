// GetAllProvider: the rows of one or more service lists, fetched whole.
//
// The first read of any subscribed table pages through every source's list
// (get all, continuation mark echoed), turns each list object into zero or
// more records with the source's callback, and pushes every record into
// every subscribed table.  The records are kept until the cache expires
// (idle 25 ticks, age 200 ticks; see CacheUpdateTimeout), which empties the
// tables until the next read.
#ifndef DATA_GET_ALL_PROVIDER_H_
#define DATA_GET_ALL_PROVIDER_H_

#include <vector>

#include "data/providers.h"
#include "data/tables.h"
#include "kx/message.h"

// Get-all argument sent when a module gives none.
constexpr unsigned int kDefaultGetAllArgument = 5;

class GetAllProvider : public TableProvider, public CacheUpdateTimeout {
 public:
  // Appends to out the records made from one list object (none to leave it
  // out, several when it makes several rows); out owns them afterwards.
  using Convert = void (*)(kx::message const& object, std::vector<Data*>* out);

  struct Source {
    std::vector<unsigned int> path;  // the list handler's bus address
    Convert convert;
    unsigned int getAllArgument;  // sent in u32 0xfe000c with each get all
  };

  GetAllProvider();

  // Appends a list to merge into the rows.
  void addSource(Convert convert, std::vector<unsigned int> const& path,
                 unsigned int getAllArgument = kDefaultGetAllArgument);

  // Sends record (set object, fields from reverseBuild) to every source,
  // whichever list it came from; a refusal is logged with the service's
  // error text.  True when at least one source accepted it.
  bool setData(Data* record) override;
  // Appends client; there is no unsubscribe.
  void subscribe(TableProviderClient* client) override;
  // Fills the cache (and the clients) when it is not current.
  void updateTables() override;
  // Sum of every source's count reply (u32 0xfe0014); false as soon as one
  // source fails or gives none (count then holds the sum so far).  Counts
  // list objects, not records.
  bool getCountCMD(unsigned int& count) override;
  // Deletes the cached records and cancels a pending expiry; the clients
  // are not told (they must not be read after the provider is gone).
  ~GetAllProvider() override;

  void clearCache() override;
  void updateCache() override;

  // Records of the current fill (for tests and diagnostics).
  size_t cachedRecords() const { return cache_.size(); }

 private:
  void fetchSource(Source const& source);

  std::vector<Data*> cache_;
  std::vector<TableProviderClient*> clients_;
  std::vector<Source> sources_;
};

#endif  // DATA_GET_ALL_PROVIDER_H_
