#include "data/get_all_provider.h"

#include <cstdio>
#include <utility>

#include "data/providers.h"
#include "data/tables.h"
#include "engine/data.h"

GetAllProvider::GetAllProvider() : CacheUpdateTimeout(kProviderIdleTicks, kProviderAgeTicks) {}

GetAllProvider::~GetAllProvider() {
  for (Data* record : cache_) delete record;
}

void GetAllProvider::addSource(Convert convert, std::vector<unsigned int> const& path,
                               unsigned int getAllArgument) {
  sources_.push_back(Source{path, convert, getAllArgument});
}

void GetAllProvider::subscribe(TableProviderClient* client) { clients_.push_back(client); }

void GetAllProvider::updateTables() { accessData(); }

void GetAllProvider::fetchSource(Source const& source) {
  kx::message request;
  request.setCommand(kx::kCmdGetAll);
  request.setDstPath(source.path);
  request.setU32(kx::kGetAllArg, source.getAllArgument);
  // A failed page ends this list; what was gathered so far is kept.
  busWalkList(request, [&](const kx::message& object) {
    if (source.convert) source.convert(object, &cache_);
    return true;
  });
}

void GetAllProvider::updateCache() {
  for (const Source& source : sources_) {
    fetchSource(source);
    // Every record so far is offered again after each source; a later
    // record with the same index replaces the earlier row.
    for (TableProviderClient* client : clients_)
      for (Data* record : cache_) client->change(record);
  }
}

void GetAllProvider::clearCache() {
  for (TableProviderClient* client : clients_) client->clear();
  for (Data* record : cache_) delete record;
  cache_.clear();
}

bool GetAllProvider::setData(Data* record) {
  bool accepted = false;
  for (const Source& source : sources_) {
    kx::message request;
    request.setCommand(kx::kCmdSetObj);
    request.setDstPath(source.path);
    if (record) record->reverseBuild(request);
    kx::message reply = busExchange(request);
    if (kx::isError(reply))
      std::fprintf(stderr, "%s\n", kx::getError(reply).c_str());
    else
      accepted = true;
  }
  return accepted;
}

bool GetAllProvider::getCountCMD(unsigned int& count) {
  count = 0;
  for (const Source& source : sources_) {
    kx::message request;
    request.setCommand(kx::kCmdCount);
    request.setDstPath(source.path);
    kx::message reply = busExchange(request);
    if (kx::isError(reply) || !reply.has(kx::kCount)) return false;
    count += reply.getU32(kx::kCount);
  }
  return true;
}
