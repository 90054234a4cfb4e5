#include "data/get_provider.h"

#include <cstdio>

#include "data/bus.h"
#include "engine/data.h"

GetProvider::GetProvider(Convert convert, std::vector<unsigned int> const& path,
                         unsigned int getCmd, unsigned int setCmd)
    : path_(path), getCmd_(getCmd), setCmd_(setCmd), convert_(convert) {}

Data* GetProvider::getData() {
  kx::message request;
  request.setCommand(getCmd_);
  request.setDstPath(path_);
  kx::message reply = busExchange(request);
  if (kx::isError(reply)) {
    std::fprintf(stderr, "GetProvider::getData error: %s\n", kx::getError(reply).c_str());
    reply = kx::message();
  }
  return convert_ ? convert_(reply) : nullptr;
}

bool GetProvider::setData(Data* record) {
  kx::message request;
  request.setCommand(setCmd_);
  request.setDstPath(path_);
  if (record) record->reverseBuild(request);
  return !kx::isError(busExchange(request));
}
