// A parsed scenario: which handlers the simulated router serves and with
// what contents, which process serves which ids, and the endpoint each
// service becomes.  See docs/scenario.md for the file format.
#ifndef SIM_SCENARIO_H_
#define SIM_SCENARIO_H_

#include <cstdint>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "sim/change.h"
#include "sim/endpoint.h"
#include "sim/list_service.h"
#include "sim/object_template.h"

namespace sim {

// A parsed scenario: which handlers the simulated router serves and with
// what contents.  See docs/scenario.md for the file format.
struct ServiceDesc {
  enum class Kind { kEmpty, kRecord, kList, kHistory };

  std::vector<uint32_t> path;  // always [service, handler]
  std::string pathText;        // as written in the scenario
  Kind kind = Kind::kEmpty;
  ObjectTemplate record;                // kRecord
  std::vector<ObjectTemplate> objects;  // kList, in array order
  unsigned page = kDefaultPage;
  bool count = true;
  uint32_t events = 0;                   // change events: 0 = none
  std::map<uint32_t, uint32_t> aliases;  // command -> generic command
  std::vector<Fault> faults;
  std::vector<Change> changes;  // kRecord and kList only
};

struct Scenario {
  std::string description;
  std::vector<ServiceDesc> services;  // ordered by path text
  // Every service id served, ascending, without repeats.
  std::vector<uint32_t> serviceIds() const;
};

// Parses a scenario document.  On failure returns false with err set to
// "<where>: <problem>" (where is a JsonPath text).
bool parseScenario(const nlohmann::json& doc, Scenario& out, std::string& err);
// Reads and parses file.  On failure err is "<file>: <where>: <problem>",
// or "<file>: <problem>" for an unreadable file or invalid JSON.
bool loadScenario(const std::string& file, Scenario& out, std::string& err);

// Which service ids each kxsim process serves.
//
// A fault that holds an answer back (a delay or silence) blocks the process
// that serves it.  Every service id with such a fault is therefore served by
// a process of its own; all other ids share the main process.
struct ProcessPlan {
  std::vector<uint32_t> main;                 // served by kxsim itself
  std::vector<std::vector<uint32_t>> others;  // one child process each
};

ProcessPlan planProcesses(const Scenario& scenario);

// Turns one service of a scenario into a ready endpoint.

// The clock must outlive the endpoint.
std::unique_ptr<Endpoint> buildEndpoint(const ServiceDesc& desc, const SimClock& clock);

}  // namespace sim

#endif  // SIM_SCENARIO_H_
