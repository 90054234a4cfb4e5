#include "sim/endpoint_factory.h"

#include "sim/history_service.h"
#include "sim/list_service.h"
#include "sim/record_service.h"

namespace sim {

std::unique_ptr<Endpoint> buildEndpoint(const ServiceSpec& spec, const SimClock& clock) {
  std::unique_ptr<Service> service;
  switch (spec.kind) {
    case ServiceSpec::Kind::kRecord:
      service = std::make_unique<RecordService>(spec.record, clock);
      break;
    case ServiceSpec::Kind::kList: {
      ListService::Options options;
      options.page = spec.page;
      options.count = spec.count;
      service = std::make_unique<ListService>(spec.objects, clock, options);
      break;
    }
    case ServiceSpec::Kind::kHistory:
      service = std::make_unique<HistoryService>();
      break;
    case ServiceSpec::Kind::kEmpty:
      service = std::make_unique<EmptyService>();
      break;
  }
  return std::make_unique<Endpoint>(std::move(service), spec.aliases, spec.faults);
}

}  // namespace sim
