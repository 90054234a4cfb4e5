// GetProvider: a service's settings record, fetched with one bus request.
#ifndef DATA_GET_PROVIDER_H_
#define DATA_GET_PROVIDER_H_

#include <vector>

#include "data/single_provider.h"
#include "kx/message.h"

class GetProvider : public SingleProvider {
 public:
  // Builds a record from a reply (or from an empty message when the service
  // can't be reached); the caller owns the result.
  using Convert = Data* (*)(kx::message const&);

  // convert: the module's callback.  path: the service handler's bus address.
  // getCmd, setCmd: the commands that read and write the record (the modules
  // use 0xfe000d and 0xfe000e).
  GetProvider(Convert convert, std::vector<unsigned int> const& path, unsigned int getCmd,
              unsigned int setCmd);

  // Sends the get command.  On an error reply logs
  // "GetProvider::getData error: <text>" and returns the record converted
  // from an empty message, so the module's defaults are served.
  Data* getData() override;
  // Sends the set command with the record's fields (reverseBuild); true
  // unless the reply is an error.  Logs nothing.
  bool setData(Data* record) override;

 private:
  std::vector<unsigned int> path_;
  unsigned int getCmd_;
  unsigned int setCmd_;
  Convert convert_;
};

#endif  // DATA_GET_PROVIDER_H_
