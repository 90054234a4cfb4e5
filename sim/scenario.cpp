#include "sim/scenario.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <set>
#include <sstream>

#include "kx/message_text.h"
#include "sim/endpoint.h"
#include "sim/list_service.h"
#include "sim/object_template.h"
#include "sim/service.h"

namespace sim {

namespace {

// Far deeper than any real scenario; keeps the recursive readers' stack use
// bounded whatever the file holds.
constexpr size_t kMaxDepth = 64;

// Iterative, so that the check itself cannot run out of stack.
bool withinDepth(const nlohmann::json& doc) {
  std::vector<std::pair<const nlohmann::json*, size_t>> todo{{&doc, 1}};
  while (!todo.empty()) {
    auto [j, depth] = todo.back();
    todo.pop_back();
    if (!j->is_structured()) continue;
    if (depth > kMaxDepth) return false;
    for (const auto& child : *j) todo.emplace_back(&child, depth + 1);
  }
  return true;
}

bool parsePath(const std::string& text, std::vector<uint32_t>& out) {
  out.clear();
  std::string part;
  std::istringstream in(text);
  while (std::getline(in, part, ',')) {
    size_t b = part.find_first_not_of(' ');
    size_t e = part.find_last_not_of(' ');
    if (b == std::string::npos) return false;
    part = part.substr(b, e - b + 1);
    uint64_t v;
    if (!kx::parseDecimal(part, 0xffffffff, v)) return false;
    out.push_back(static_cast<uint32_t>(v));
  }
  if (out.empty() || out.size() > 2 || text.back() == ',') return false;
  if (out.size() == 1) out.push_back(0);  // [s] is handler 0 of service s
  return true;
}

void parseList(const nlohmann::json& j, const JsonPath& at, ServiceDesc& desc) {
  if (!j.is_array()) throw ScenarioError(at, "expected an array of objects");
  std::map<uint32_t, JsonPath> seen;
  auto add = [&](ObjectTemplate t, const JsonPath& where) {
    if (t.fixed().has(kx::kObjId)) {
      uint32_t id = t.fixed().getU32(kx::kObjId);
      // 0xffffffff stands for "no continuation mark" in a get-all request.
      if (id == 0xffffffffu) throw ScenarioError(where, "object id 4294967295 is reserved");
      auto hit = seen.find(id);
      if (hit != seen.end()) {
        throw ScenarioError(where, "duplicate object id " + std::to_string(id) + " (also at " +
                                       hit->second.text() + ")");
      }
      seen.emplace(id, where);
    }
    desc.objects.push_back(std::move(t));
  };
  for (size_t i = 0; i < j.size(); ++i) {
    JsonPath here = at.index(i);
    const auto& item = j[i];
    if (item.is_object() && item.contains("repeat")) {
      if (item.size() != 1) throw ScenarioError(here, "a repeat element has no other fields");
      JsonPath body = here.key("repeat");
      for (auto& row : expandRepeat(item["repeat"], body))
        add(std::move(row), body.key("template"));
    } else {
      add(parseObject(item, here), here);
    }
  }
}

void parseAliases(const nlohmann::json& j, const JsonPath& at, ServiceDesc& desc) {
  if (!j.is_object()) throw ScenarioError(at, "expected {\"command\": \"name\"}");
  for (const auto& [k, v] : j.items()) {
    uint32_t from = 0, to = 0;
    if (!parseCommand(nlohmann::json(k), from)) throw ScenarioError(at.key(k), "bad command");
    if (!v.is_string() || !commandByName(v.get<std::string>(), to)) {
      throw ScenarioError(at.key(k),
                          "unknown command name (get, set, getall, getobj, setobj, "
                          "add, remove, count, empty)");
    }
    desc.aliases[from] = to;
  }
}

ServiceDesc parseService(const std::string& pathText, const nlohmann::json& j, const JsonPath& at) {
  ServiceDesc desc;
  desc.pathText = pathText;
  if (!parsePath(pathText, desc.path)) {
    throw ScenarioError(at, "bad path (SERVICE or SERVICE,HANDLER, e.g. \"20,0\")");
  }
  if (!j.is_object()) throw ScenarioError(at, "expected a service object");
  int kinds = 0;
  const nlohmann::json* changes = nullptr;
  for (const auto& [k, v] : j.items()) {
    JsonPath here = at.key(k);
    if (k == "record") {
      ++kinds;
      desc.kind = ServiceDesc::Kind::kRecord;
      desc.record = parseObject(v, here);
    } else if (k == "list") {
      ++kinds;
      desc.kind = ServiceDesc::Kind::kList;
      parseList(v, here, desc);
    } else if (k == "history") {
      if (!v.is_boolean()) throw ScenarioError(here, "expected true or false");
      if (v.get<bool>()) {
        ++kinds;
        desc.kind = ServiceDesc::Kind::kHistory;
      }
    } else if (k == "page") {
      if (!v.is_number_unsigned() || v.get<uint64_t>() == 0 || v.get<uint64_t>() > kMaxPage) {
        throw ScenarioError(here, "expected a page size from 1 to " + std::to_string(kMaxPage));
      }
      desc.page = v.get<unsigned>();
    } else if (k == "count") {
      if (!v.is_boolean()) throw ScenarioError(here, "expected true or false");
      desc.count = v.get<bool>();
    } else if (k == "events") {
      if (!parseCommand(v, desc.events) || desc.events == 0) {
        throw ScenarioError(here, "expected an event kind (e.g. \"0x10004\")");
      }
    } else if (k == "commands") {
      parseAliases(v, here, desc);
    } else if (k == "fault") {
      desc.faults = parseFaults(v, here);
    } else if (k == "changes") {
      changes = &v;  // read once the kind is known
    } else if (k == "note") {
      if (!v.is_string()) throw ScenarioError(here, "expected a string");
    } else {
      throw ScenarioError(here,
                          "unknown field (record, list, history, page, count, events, "
                          "commands, fault, changes, note)");
    }
  }
  if (kinds > 1) throw ScenarioError(at, "a service is one of record, list or history");
  if (changes) {
    bool list = desc.kind == ServiceDesc::Kind::kList;
    if (!list && desc.kind != ServiceDesc::Kind::kRecord) {
      throw ScenarioError(at.key("changes"), "changes need a record or a list");
    }
    desc.changes = parseChanges(*changes, at.key("changes"), list);
  }
  return desc;
}

void parseDocument(const nlohmann::json& doc, Scenario& out) {
  JsonPath top;
  if (!withinDepth(doc)) {
    throw ScenarioError(top, "nested more than " + std::to_string(kMaxDepth) + " levels deep");
  }
  if (!doc.is_object()) throw ScenarioError(top, "expected an object with \"services\"");
  if (!doc.contains("services")) throw ScenarioError(top, "services is missing");
  for (const auto& [k, v] : doc.items()) {
    if (k == "description") {
      if (!v.is_string()) throw ScenarioError(top.key(k), "expected a string");
      out.description = v.get<std::string>();
    } else if (k != "services") {
      throw ScenarioError(top.key(k), "unknown field (services, description)");
    }
  }
  const auto& services = doc["services"];
  JsonPath at = top.key("services");
  if (!services.is_object()) throw ScenarioError(at, "expected an object of paths");
  std::map<std::vector<uint32_t>, std::string> seen;
  for (const auto& [k, v] : services.items()) {
    ServiceDesc desc = parseService(k, v, at.key(k));
    auto [hit, fresh] = seen.emplace(desc.path, k);
    if (!fresh) {
      throw ScenarioError(at.key(k), "names the same handler as \"" + hit->second + "\"");
    }
    out.services.push_back(std::move(desc));
  }
}

}  // namespace

std::vector<uint32_t> Scenario::serviceIds() const {
  std::set<uint32_t> ids;
  for (const auto& s : services) ids.insert(s.path[0]);
  return std::vector<uint32_t>(ids.begin(), ids.end());
}

bool parseScenario(const nlohmann::json& doc, Scenario& out, std::string& err) {
  out = Scenario();
  try {
    parseDocument(doc, out);
  } catch (const ScenarioError& e) {
    err = e.what();
    out = Scenario();
    return false;
  }
  return true;
}

bool loadScenario(const std::string& file, Scenario& out, std::string& err) {
  std::ifstream in(file, std::ios::binary);
  if (!in) {
    err = file + ": cannot open the file";
    return false;
  }
  std::ostringstream text;
  text << in.rdbuf();
  nlohmann::json doc;
  try {
    doc = nlohmann::json::parse(text.str());
  } catch (const nlohmann::json::parse_error& e) {
    err = file + ": not valid JSON (near byte " + std::to_string(e.byte) + ")";
    return false;
  }
  if (!parseScenario(doc, out, err)) {
    err = file + ": " + err;
    return false;
  }
  return true;
}

ProcessPlan planProcesses(const Scenario& scenario) {
  std::set<uint32_t> held;
  for (const auto& s : scenario.services) {
    for (const auto& f : s.faults) {
      if (f.silent || f.delayMs) held.insert(s.path[0]);
    }
  }
  ProcessPlan plan;
  for (uint32_t id : scenario.serviceIds()) {
    if (held.count(id)) {
      plan.others.push_back({id});
    } else {
      plan.main.push_back(id);
    }
  }
  return plan;
}

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
