// Malformed scenarios: every problem is reported with the exact place.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>

#include "sim/scenario.h"

namespace sim {
namespace {

std::string errorOf(const std::string& text) {
  Scenario s;
  std::string err;
  EXPECT_FALSE(parseScenario(nlohmann::json::parse(text), s, err)) << text;
  EXPECT_TRUE(s.services.empty());
  return err;
}

TEST(ScenarioErrors, NameTheJsonPathAndTheProblem) {
  EXPECT_EQ(errorOf(R"({"services": {"20,0": {"list": [{}, {}, {}, {"0x0801000x": 1}]}}})"),
            "services.\"20,0\".list[3].\"0x0801000x\": bad typed key");
  EXPECT_EQ(errorOf(R"({"services": {"20,0,1": {}}})"),
            "services.\"20,0,1\": bad path (SERVICE or SERVICE,HANDLER, e.g. \"20,0\")");
  EXPECT_EQ(errorOf(R"({"services": {"0x14": {}}})"),
            "services.\"0x14\": bad path (SERVICE or SERVICE,HANDLER, e.g. \"20,0\")");
  EXPECT_EQ(errorOf(R"({"services": {"20,": {}}})"),
            "services.\"20,\": bad path (SERVICE or SERVICE,HANDLER, e.g. \"20,0\")");
  EXPECT_EQ(errorOf(R"({"services": {"4294967296": {}}})"),
            "services.\"4294967296\": bad path (SERVICE or SERVICE,HANDLER, e.g. \"20,0\")");
  EXPECT_EQ(errorOf(R"({"services": {"24,1": {"recrod": {}}}})"),
            "services.\"24,1\".recrod: unknown field (record, list, history, page, count, "
            "events, commands, fault, changes, note)");
  EXPECT_EQ(errorOf(R"({"service": {}})"), "services is missing");
  EXPECT_EQ(errorOf(R"({"services": {}, "extra": 1})"),
            "extra: unknown field (services, description)");
  EXPECT_EQ(errorOf(R"([1])"), "expected an object with \"services\"");
}

TEST(ScenarioErrors, DeepNestingIsRefusedNotRecursedInto) {
  std::string deep;
  for (int i = 0; i < 100000; ++i) deep += R"({"0x28000001": )";
  deep += "{}";
  for (int i = 0; i < 100000; ++i) deep += "}";
  EXPECT_EQ(errorOf(R"({"services": {"1": {"record": )" + deep + "}}}"),
            "nested more than 64 levels deep");
}

TEST(ScenarioErrors, OneHandlerIsNamedOnce) {
  // [24] is handler 0 of service 24, the same as [24,0].
  EXPECT_EQ(errorOf(R"({"services": {"24": {}, "24,0": {}}})"),
            "services.\"24,0\": names the same handler as \"24\"");
  EXPECT_EQ(errorOf(R"({"services": {"1": {"record": {}, "list": []}}})"),
            "services.\"1\": a service is one of record, list or history");
}

TEST(ScenarioErrors, ListObjects) {
  EXPECT_EQ(errorOf(R"({"services": {"20,0": {"list": [{"0x08fe0001": 4},
                                                        {"0x08fe0001": 4}]}}})"),
            "services.\"20,0\".list[1]: duplicate object id 4 (also at services.\"20,0\".list[0])");
  EXPECT_EQ(errorOf(R"({"services": {"20,0": {"list": [{"0x08fe0001": 4294967295}]}}})"),
            "services.\"20,0\".list[0]: object id 4294967295 is reserved");
  EXPECT_EQ(errorOf(R"({"services": {"20,0": {"list": {"0x08fe0001": 4}}}})"),
            "services.\"20,0\".list: expected an array of objects");
  EXPECT_EQ(errorOf(R"({"services": {"20,0": {"list": [7]}}})"),
            "services.\"20,0\".list[0]: expected an object of typed keys");
  EXPECT_EQ(errorOf(R"({"services": {"20,0": {"list": [{"repeat": {"count": 2,
                         "template": {"0x08fe0001": 1}}}]}}})"),
            "services.\"20,0\".list[0].repeat.template: duplicate object id 1 (also at "
            "services.\"20,0\".list[0].repeat.template)");
}

TEST(ScenarioErrors, Values) {
  EXPECT_EQ(errorOf(R"({"services": {"1": {"record": {"0x18000001": 1}}}})"),
            "services.\"1\".record.\"0x18000001\": bad typed key");
  EXPECT_EQ(errorOf(R"({"services": {"1": {"record": {"0x20000001": {"base": 1}}}}})")
                .rfind("services.\"1\".record.\"0x20000001\": expected ", 0),
            0u);
  EXPECT_EQ(errorOf(R"({"services": {"1": {"record": {"0x08000001": {"clock": "now"}}}}})"),
            "services.\"1\".record.\"0x08000001\".clock: unknown clock (uptime or epoch)");
  EXPECT_EQ(errorOf(R"({"services": {"1": {"record": {"0x08000001": {"base": 1, "rte": 2}}}}})"),
            "services.\"1\".record.\"0x08000001\".rte: unknown field (base and rate, or clock)");
  EXPECT_EQ(errorOf(R"({"services": {"1": {"record": {"0x08000001": {"base": -1}}}}})"),
            "services.\"1\".record.\"0x08000001\".base: expected a number 0 or above");
  EXPECT_EQ(errorOf(R"({"services": {"1": {"record": {"0x08000001": {"rate": 1e300}}}}})"),
            "services.\"1\".record.\"0x08000001\".rate: rate out of range");
  EXPECT_EQ(errorOf(R"({"services": {"1": {"record": {"0x28000001": {"0x08000002": "x"}}}}})")
                .rfind("services.\"1\".record.\"0x28000001\".\"0x08000002\": expected ", 0),
            0u);
  EXPECT_EQ(errorOf(R"({"services": {"1": {"record": {"0xa8000001": [{},
                         {"0x08000002": {"rate": 1}}]}}}})"),
            "services.\"1\".record.\"0xa8000001\"[1]: dynamic values are not allowed inside "
            "arrays");
}

TEST(ScenarioErrors, ServiceOptions) {
  EXPECT_EQ(errorOf(R"({"services": {"1": {"page": 0}}})"),
            "services.\"1\".page: expected a page size from 1 to 10000");
  EXPECT_EQ(errorOf(R"({"services": {"1": {"events": "soon"}}})"),
            "services.\"1\".events: expected an event kind (e.g. \"0x10004\")");
  EXPECT_EQ(errorOf(R"({"services": {"1": {"commands": {"1": "fetch"}}}})"),
            "services.\"1\".commands.\"1\": unknown command name (get, set, getall, getobj, "
            "setobj, add, remove, count, empty)");
  EXPECT_EQ(errorOf(R"({"services": {"1": {"commands": {"0xzz": "get"}}}})"),
            "services.\"1\".commands.\"0xzz\": bad command");
}

TEST(ScenarioErrors, Faults) {
  EXPECT_EQ(errorOf(R"({"services": {"1": {"fault": {}}}})"),
            "services.\"1\".fault: a fault needs delay_ms, error or silent");
  EXPECT_EQ(errorOf(R"({"services": {"1": {"fault": {"silent": true, "delay_ms": 5}}}})"),
            "services.\"1\".fault: a silent fault answers nothing, so it takes no error or delay");
  EXPECT_EQ(errorOf(R"({"services": {"1": {"fault": [{"delay_ms": 5}, {"error": [1]}]}}})"),
            "services.\"1\".fault[1].error: expected [code, \"text\"]");
  EXPECT_EQ(errorOf(R"({"services": {"1": {"fault": {"delay_ms": 600001}}}})"),
            "services.\"1\".fault.delay_ms: expected milliseconds from 0 to 600000");
  EXPECT_EQ(errorOf(R"({"services": {"1": {"fault": {"silent": true, "commands": ["x"]}}}})"),
            "services.\"1\".fault.commands[0]: bad command");
}

TEST(ScenarioErrors, Changes) {
  EXPECT_EQ(errorOf(R"({"services": {"1": {"changes": []}}})"),
            "services.\"1\".changes: changes need a record or a list");
  EXPECT_EQ(errorOf(R"({"services": {"20,0": {"list": [], "changes": [{"after_ms": 5,
                         "set": {"0x08010003": 0}}]}}})"),
            "services.\"20,0\".changes[0].set: a change of a list object names its id "
            "(0x08fe0001)");
  EXPECT_EQ(errorOf(R"({"services": {"1": {"record": {}, "changes": [{"after_ms": 5}]}}})"),
            "services.\"1\".changes[0]: set is missing");
  EXPECT_EQ(errorOf(R"({"services": {"1": {"record": {}, "changes": [{"set": {},
                         "every_ms": 1}]}}})"),
            "services.\"1\".changes[0].every_ms: expected milliseconds from 10 to 86400000");
  EXPECT_EQ(errorOf(R"({"services": {"1": {"record": {}, "changes": [{"set":
                         {"0x08000001": {"rate": 1}}}]}}})"),
            "services.\"1\".changes[0].set: a change sets fixed values, not dynamic ones");
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
