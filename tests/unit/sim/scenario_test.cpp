// Scenario files: what the parser builds from a good one, and the exact
// place and problem it reports for a bad one.
#include "sim/scenario.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

namespace sim {
namespace {

TEST(Scenario, ServiceOptionsAndPaths) {
  Scenario s;
  std::string err;
  ASSERT_TRUE(parseScenario(nlohmann::json::parse(R"({"description": "d", "services": {
      "65": {"record": {"0x20000001": "v"}},
      "20,0": {"page": 20, "events": "0x10004", "count": false,
               "commands": {"1": "getall", "0x7": "empty"},
               "list": [{"0x08fe0001": 3}]},
      "2": {"history": true},
      "1": {"note": "start-up notices"}}})"),
                            s, err))
      << err;
  ASSERT_EQ(s.services.size(), 4u);
  EXPECT_EQ(s.serviceIds(), (std::vector<uint32_t>{1, 2, 20, 65}));
  for (const auto& svc : s.services) {
    SCOPED_TRACE(svc.pathText);
    if (svc.pathText == "65") {
      EXPECT_EQ(svc.path, (std::vector<uint32_t>{65, 0}));
      EXPECT_EQ(svc.kind, ServiceDesc::Kind::kRecord);
    } else if (svc.pathText == "20,0") {
      EXPECT_EQ(svc.kind, ServiceDesc::Kind::kList);
      EXPECT_EQ(svc.page, 20u);
      EXPECT_EQ(svc.events, 0x10004u);
      EXPECT_FALSE(svc.count);
      EXPECT_EQ(svc.aliases.at(1), kx::kCmdGetAll);
      EXPECT_EQ(svc.aliases.at(7), 0u);
    } else if (svc.pathText == "2") {
      EXPECT_EQ(svc.kind, ServiceDesc::Kind::kHistory);
    } else {
      EXPECT_EQ(svc.kind, ServiceDesc::Kind::kEmpty);
      EXPECT_EQ(svc.page, kDefaultPage);
      EXPECT_TRUE(svc.count);
    }
  }
}

// A scenario whose "services" object holds `inner`.
std::string services(const std::string& inner) { return R"({"services": {)" + inner + "}}"; }

TEST(ScenarioErrors, NameTheJsonPathAndTheProblem) {
  std::string deep;
  for (int i = 0; i < 100000; ++i) deep += R"({"0x28000001": )";
  deep += "{}" + std::string(100000, '}');
  const std::string badPath = R"(: bad path (SERVICE or SERVICE,HANDLER, e.g. "20,0"))";
  const std::string rec1 = R"(services."1".record.)";
  const std::vector<std::pair<std::string, std::string>> cases = {
      // Document and service level.
      {R"({"service": {}})", "services is missing"},
      {R"({"services": {}, "extra": 1})", "extra: unknown field (services, description)"},
      {R"([1])", "expected an object with \"services\""},
      {services(R"("20,0,1": {})"), R"(services."20,0,1")" + badPath},
      {services(R"("0x14": {})"), R"(services."0x14")" + badPath},
      {services(R"("4294967296": {})"), R"(services."4294967296")" + badPath},
      {services(R"("24,1": {"recrod": {}})"),
       R"(services."24,1".recrod: unknown field (record, list, history, page, count, )"
       "events, commands, fault, changes, note)"},
      // [24] is handler 0 of service 24, the same as [24,0].
      {services(R"("24": {}, "24,0": {})"), R"(services."24,0": names the same handler as "24")"},
      {services(R"("1": {"record": {}, "list": []})"),
       R"(services."1": a service is one of record, list or history)"},
      {services(R"("1": {"record": )" + deep + "}"), "nested more than 64 levels deep"},
      // List objects.
      {services(R"("20,0": {"list": [{}, {}, {}, {"0x0801000x": 1}]})"),
       R"(services."20,0".list[3]."0x0801000x": bad typed key)"},
      {services(R"("20,0": {"list": [{"0x08fe0001": 4}, {"0x08fe0001": 4}]})"),
       R"(services."20,0".list[1]: duplicate object id 4 (also at services."20,0".list[0]))"},
      {services(R"("20,0": {"list": [{"0x08fe0001": 4294967295}]})"),
       R"(services."20,0".list[0]: object id 4294967295 is reserved)"},
      {services(R"("20,0": {"list": {"0x08fe0001": 4}})"),
       R"(services."20,0".list: expected an array of objects)"},
      {services(R"("20,0": {"list": [7]})"),
       R"(services."20,0".list[0]: expected an object of typed keys)"},
      {services(R"("20,0": {"list": [{"repeat": {"count": 2, "template": {"0x08fe0001": 1}}}]})"),
       R"(services."20,0".list[0].repeat.template: duplicate object id 1 (also at )"
       R"(services."20,0".list[0].repeat.template))"},
      // Values.
      {services(R"("1": {"record": {"0x18000001": 1}})"), rec1 + R"("0x18000001": bad typed key)"},
      {services(R"("1": {"record": {"0x20000001": {"base": 1}}})"),
       rec1 + R"("0x20000001": expected a string, got {"base":1})"},
      {services(R"("1": {"record": {"0x08000001": {"clock": "now"}}})"),
       rec1 + R"("0x08000001".clock: unknown clock (uptime or epoch))"},
      {services(R"("1": {"record": {"0x08000001": {"base": 1, "rte": 2}}})"),
       rec1 + R"("0x08000001".rte: unknown field (base and rate, or clock))"},
      {services(R"("1": {"record": {"0x08000001": {"base": -1}}})"),
       rec1 + R"("0x08000001".base: expected a number 0 or above)"},
      {services(R"("1": {"record": {"0x08000001": {"rate": 1e300}}})"),
       rec1 + R"("0x08000001".rate: rate out of range)"},
      {services(R"("1": {"record": {"0x28000001": {"0x08000002": "x"}}})"),
       rec1 + R"("0x28000001"."0x08000002": expected a u32 (number or dotted quad), got "x")"},
      {services(R"("1": {"record": {"0xa8000001": [{}, {"0x08000002": {"rate": 1}}]}})"),
       rec1 + R"("0xa8000001"[1]: dynamic values are not allowed inside arrays)"},
      // Service options.
      {services(R"("1": {"page": 0})"),
       R"(services."1".page: expected a page size from 1 to 10000)"},
      {services(R"("1": {"events": "soon"})"),
       R"(services."1".events: expected an event kind (e.g. "0x10004"))"},
      {services(R"("1": {"commands": {"1": "fetch"}})"),
       R"(services."1".commands."1": unknown command name (get, set, getall, getobj, )"
       "setobj, add, remove, count, empty)"},
      {services(R"("1": {"commands": {"0xzz": "get"}})"),
       R"(services."1".commands."0xzz": bad command)"},
      // Faults.
      {services(R"("1": {"fault": {}})"),
       R"(services."1".fault: a fault needs delay_ms, error or silent)"},
      {services(R"("1": {"fault": {"silent": true, "delay_ms": 5}})"),
       R"(services."1".fault: a silent fault answers nothing, so it takes no error or delay)"},
      {services(R"("1": {"fault": [{"delay_ms": 5}, {"error": [1]}]})"),
       R"(services."1".fault[1].error: expected [code, "text"])"},
      {services(R"("1": {"fault": {"delay_ms": 600001}})"),
       R"(services."1".fault.delay_ms: expected milliseconds from 0 to 600000)"},
      {services(R"("1": {"fault": {"silent": true, "commands": ["x"]}})"),
       R"(services."1".fault.commands[0]: bad command)"},
      // Scheduled changes.
      {services(R"("1": {"changes": []})"),
       R"(services."1".changes: changes need a record or a list)"},
      {services(R"("20,0": {"list": [], "changes": [{"after_ms": 5, "set": {"0x08010003": 0}}]})"),
       R"(services."20,0".changes[0].set: a change of a list object names its id (0x08fe0001))"},
      {services(R"("1": {"record": {}, "changes": [{"after_ms": 5}]})"),
       R"(services."1".changes[0]: set is missing)"},
      {services(R"("1": {"record": {}, "changes": [{"set": {}, "every_ms": 1}]})"),
       R"(services."1".changes[0].every_ms: expected milliseconds from 10 to 86400000)"},
      {services(R"("1": {"record": {}, "changes": [{"set": {"0x08000001": {"rate": 1}}}]})"),
       R"(services."1".changes[0].set: a change sets fixed values, not dynamic ones)"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.first.substr(0, 120));
    Scenario s;
    std::string err;
    EXPECT_FALSE(parseScenario(nlohmann::json::parse(c.first), s, err));
    EXPECT_TRUE(s.services.empty());
    EXPECT_EQ(err, c.second);
  }
}

TEST(ScenarioErrors, FileErrorsNameTheFile) {
  std::string file = ::testing::TempDir() + "sim_bad_scenario.json";
  {
    std::ofstream out(file);
    out << R"({"services": {"20,0": {"list": [{"0x0801000x": 1}]}}})";
  }
  Scenario s;
  std::string err;
  EXPECT_FALSE(loadScenario(file, s, err));
  EXPECT_EQ(err, file + ": services.\"20,0\".list[0].\"0x0801000x\": bad typed key");
  {
    std::ofstream out(file);
    out << R"({"services": {)";
  }
  EXPECT_FALSE(loadScenario(file, s, err));
  EXPECT_EQ(err.rfind(file + ": not valid JSON (near byte ", 0), 0u) << err;
  std::remove(file.c_str());
  EXPECT_FALSE(loadScenario(file, s, err));
  EXPECT_EQ(err, file + ": cannot open the file");
}

}  // namespace
}  // namespace sim
