#include "data/get_first_provider.h"

#include <utility>

#include "data/bus.h"
#include "data/paging.h"

GetFirstProvider::GetFirstProvider(Convert convert, std::vector<unsigned int> const& path)
    : path_(path), convert_(convert) {}

Data* GetFirstProvider::getData() {
  kx::message request;
  request.setCommand(kx::kCmdGetAll);
  request.setDstPath(path_);
  kx::message previous;
  for (unsigned page = 0; page < kMaxListPages; ++page) {
    kx::message copy = request;
    if (previous.has(kx::kContinue)) copy.setU32(kx::kContinue, previous.getU32(kx::kContinue));
    kx::message reply = busExchange(copy);
    if (kx::isError(reply)) return nullptr;
    if (const std::vector<kx::message>* objects = reply.findMessageArray(kx::kObjects)) {
      for (const kx::message& object : *objects) {
        Data* record = convert_ ? convert_(object) : nullptr;
        if (record) {
          firstObjId_ = object.getU32(kx::kObjId, kNoObject);
          return record;
        }
      }
    }
    if (!reply.has(kx::kContinue)) return nullptr;
    previous = std::move(reply);
  }
  return nullptr;
}

bool GetFirstProvider::setData(Data*) { return false; }

uint32_t GetFirstProvider::getFirstObjId() {
  accessData();
  return firstObjId_;
}
