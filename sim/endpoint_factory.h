// Turns one service of a scenario into a ready endpoint.
#ifndef SIM_ENDPOINT_FACTORY_H_
#define SIM_ENDPOINT_FACTORY_H_

#include <memory>

#include "sim/endpoint.h"
#include "sim/scenario.h"
#include "sim/sim_clock.h"

namespace sim {

// The clock must outlive the endpoint.
std::unique_ptr<Endpoint> buildEndpoint(const ServiceDesc& desc, const SimClock& clock);

}  // namespace sim

#endif  // SIM_ENDPOINT_FACTORY_H_
