// A parsed scenario: which handlers the simulated router serves and with
// what contents.  See docs/scenario.md for the file format.
#ifndef SIM_SCENARIO_H_
#define SIM_SCENARIO_H_

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "sim/change.h"
#include "sim/fault.h"
#include "sim/list_service.h"
#include "sim/object_template.h"

namespace sim {

struct ServiceDesc {
  enum class Kind { kEmpty, kRecord, kList, kHistory };

  std::vector<uint32_t> path;  // always [service, handler]
  std::string pathText;        // as written in the scenario
  Kind kind = Kind::kEmpty;
  ObjectTemplate record;               // kRecord
  std::vector<ObjectTemplate> objects; // kList, in array order
  unsigned page = kDefaultPage;
  bool count = true;
  uint32_t events = 0;                    // change events: 0 = none
  std::map<uint32_t, uint32_t> aliases;   // command -> generic command
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

}  // namespace sim

#endif  // SIM_SCENARIO_H_
