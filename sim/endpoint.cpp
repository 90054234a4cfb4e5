#include "sim/endpoint.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>

#include "kx/message.h"
#include "kx/message_json.h"
#include "kx/message_text.h"

namespace sim {

bool commandByName(const std::string& name, uint32_t& cmd) {
  static const struct {
    const char* name;
    uint32_t cmd;
  } kNames[] = {
      {"get", kx::kCmdGet},          {"set", kx::kCmdSet},       {"getall", kx::kCmdGetAll},
      {"getobj", kx::kCmdGetObj},    {"setobj", kx::kCmdSetObj}, {"add", kx::kCmdAddObj},
      {"remove", kx::kCmdRemoveObj}, {"count", kx::kCmdCount},   {"empty", kAnswerEmpty},
  };
  for (const auto& n : kNames) {
    if (name == n.name) {
      cmd = n.cmd;
      return true;
    }
  }
  return false;
}

bool parseCommand(const nlohmann::json& j, uint32_t& cmd) {
  if (j.is_number_unsigned()) {
    uint64_t v = j.get<uint64_t>();
    if (v > 0xffffffffu) return false;
    cmd = static_cast<uint32_t>(v);
    return true;
  }
  if (!j.is_string()) return false;
  const std::string& s = j.get_ref<const std::string&>();
  if (s.empty()) return false;
  if (s[0] >= '0' && s[0] <= '9') {
    uint64_t v;
    if (!kx::parseNumber(s, 0xffffffff, v)) return false;
    cmd = static_cast<uint32_t>(v);
    return true;
  }
  return commandByName(s, cmd);
}

namespace {

Fault parseOne(const nlohmann::json& j, const JsonPath& at) {
  if (!j.is_object()) throw ScenarioError(at, "expected a fault object");
  Fault f;
  for (const auto& [key, v] : j.items()) {
    JsonPath here = at.key(key);
    if (key == "delay_ms") {
      if (!v.is_number_unsigned() || v.get<uint64_t>() > kMaxFaultDelayMs) {
        throw ScenarioError(here,
                            "expected milliseconds from 0 to " + std::to_string(kMaxFaultDelayMs));
      }
      f.delayMs = v.get<unsigned>();
    } else if (key == "silent") {
      if (!v.is_boolean()) throw ScenarioError(here, "expected true or false");
      f.silent = v.get<bool>();
    } else if (key == "error") {
      if (!v.is_array() || v.size() != 2 || !v[1].is_string() || !parseCommand(v[0], f.errorCode)) {
        throw ScenarioError(here, "expected [code, \"text\"]");
      }
      f.error = true;
      f.errorText = v[1].get<std::string>();
    } else if (key == "commands") {
      if (!v.is_array()) throw ScenarioError(here, "expected an array of commands");
      for (size_t i = 0; i < v.size(); ++i) {
        uint32_t cmd = 0;
        if (!parseCommand(v[i], cmd)) throw ScenarioError(here.index(i), "bad command");
        f.commands.push_back(cmd);
      }
    } else {
      throw ScenarioError(here, "unknown field (delay_ms, error, silent, commands)");
    }
  }
  if (f.silent && (f.error || f.delayMs)) {
    throw ScenarioError(at, "a silent fault answers nothing, so it takes no error or delay");
  }
  if (!f.silent && !f.error && f.delayMs == 0) {
    throw ScenarioError(at, "a fault needs delay_ms, error or silent");
  }
  return f;
}

}  // namespace

bool Fault::matches(uint32_t cmd) const {
  return commands.empty() || std::find(commands.begin(), commands.end(), cmd) != commands.end();
}

std::vector<Fault> parseFaults(const nlohmann::json& j, const JsonPath& at) {
  std::vector<Fault> out;
  if (j.is_array()) {
    for (size_t i = 0; i < j.size(); ++i) out.push_back(parseOne(j[i], at.index(i)));
  } else {
    out.push_back(parseOne(j, at));
  }
  return out;
}

const Fault* findFault(const std::vector<Fault>& faults, uint32_t cmd) {
  for (const Fault& f : faults) {
    if (f.matches(cmd)) return &f;
  }
  return nullptr;
}

Endpoint::Endpoint(std::unique_ptr<Service> service, std::map<uint32_t, uint32_t> aliases,
                   std::vector<Fault> faults)
    : service_(std::move(service)), aliases_(std::move(aliases)), faults_(std::move(faults)) {}

Endpoint::Outcome Endpoint::handle(const kx::message& req) {
  Outcome out;
  uint32_t cmd = req.command();
  const Fault* fault = findFault(faults_, cmd);
  if (fault) {
    out.delayMs = fault->delayMs;
    out.silent = fault->silent;
    if (fault->error) {
      out.reply = kx::errorMsg(fault->errorCode, fault->errorText);
      return out;
    }
  }
  auto alias = aliases_.find(cmd);
  if (alias != aliases_.end()) {
    if (alias->second == kAnswerEmpty) return out;
    cmd = alias->second;
  }
  out.reply = service_->serve(cmd, req);
  return out;
}

Journal::~Journal() {
  if (file_) std::fclose(file_);
}

bool Journal::open(const std::string& file, std::string& err) {
  std::FILE* f = std::fopen(file.c_str(), "a");
  if (!f) {
    err = file + ": " + std::strerror(errno);
    return false;
  }
  if (file_) std::fclose(file_);
  file_ = f;
  return true;
}

void Journal::record(const kx::message& m) {
  if (!file_) return;
  std::string line =
      kx::messageToJson(m).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
  line += '\n';
  std::fwrite(line.data(), 1, line.size(), file_);
  std::fflush(file_);
}

namespace {

// Sleep in short slices so that SIGTERM ends a held answer promptly.
constexpr unsigned kHoldSliceMs = 20;

}  // namespace

void Responder::hold(unsigned ms) const {
  auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
  while (!stop_) {
    auto now = std::chrono::steady_clock::now();
    if (now >= end) return;
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - now).count();
    std::this_thread::sleep_for(std::chrono::milliseconds(std::min<long long>(left, kHoldSliceMs)));
  }
}

kx::message Responder::respond(const kx::message& req) {
  journal_.record(req);
  Endpoint::Outcome out = endpoint_.handle(req);
  if (out.silent) {
    hold(kSilentHoldMs);
    return kx::message();
  }
  if (out.delayMs) hold(out.delayMs);
  return out.reply;
}

BusHandler::BusHandler(Responder& responder, uint32_t events) : responder_(responder) {
  if (events) {
    responder_.endpoint().service().onChange(
        [this](uint32_t id, const kx::message& cause) { notifyChange(id, cause); });
  }
}

kx::message BusHandler::cmdGet(const kx::message& msg) { return responder_.respond(msg); }
kx::message BusHandler::cmdSet(const kx::message& msg) { return responder_.respond(msg); }
kx::message BusHandler::cmdGetObj(const kx::message& msg, uint32_t) {
  return responder_.respond(msg);
}
kx::message BusHandler::cmdSetObj(const kx::message& msg, uint32_t) {
  return responder_.respond(msg);
}
kx::message BusHandler::cmdGetAll(const kx::message& msg, uint32_t, uint32_t) {
  return responder_.respond(msg);
}
kx::message BusHandler::cmdAddObj(const kx::message& msg) { return responder_.respond(msg); }
kx::message BusHandler::cmdRemoveObj(const kx::message& msg, uint32_t) {
  return responder_.respond(msg);
}
kx::message BusHandler::cmdGetCount(const kx::message& msg) { return responder_.respond(msg); }
kx::message BusHandler::cmdUnknown(const kx::message& msg, uint32_t) {
  return responder_.respond(msg);
}
kx::message BusHandler::getObject(uint32_t id) {
  return responder_.endpoint().service().object(id);
}

}  // namespace sim
