#include "sim/endpoint_factory.h"

#include "sim/history_service.h"
#include "sim/list_service.h"
#include "sim/record_service.h"

namespace sim {

std::unique_ptr<Endpoint> buildEndpoint(const ServiceDesc& desc, const SimClock& clock) {
  std::unique_ptr<Service> service;
  switch (desc.kind) {
    case ServiceDesc::Kind::kRecord:
      service = std::make_unique<RecordService>(desc.record, clock);
      break;
    case ServiceDesc::Kind::kList: {
      ListService::Options options;
      options.page = desc.page;
      options.count = desc.count;
      service = std::make_unique<ListService>(desc.objects, clock, options);
      break;
    }
    case ServiceDesc::Kind::kHistory:
      service = std::make_unique<HistoryService>();
      break;
    case ServiceDesc::Kind::kEmpty:
      service = std::make_unique<EmptyService>();
      break;
  }
  return std::make_unique<Endpoint>(std::move(service), desc.aliases, desc.faults);
}

}  // namespace sim
