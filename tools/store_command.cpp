#include "tools/store_command.h"

#include <sys/stat.h>

#include <memory>
#include <utility>

#include "kx/message_json.h"
#include "kx/platform.h"
#include "kx/snmp_keys.h"
#include "kx/store.h"
#include "tools/arg_parse.h"
#include "tools/command.h"
#include "tools/output.h"

namespace kxctl {

namespace {

bool isDirectory(const std::string& dir) {
  struct stat st;
  return stat(dir.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

std::string dumpText(const nlohmann::json& j) {
  return j.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace

bool checkStorePath(const std::string& path, std::string& err) {
  if (path.empty() || path[0] != '/') {
    err = "store path '" + path + "' must be absolute, like /sarn/store/snmpd";
    return false;
  }
  size_t start = 0;
  while (start <= path.size()) {
    size_t slash = path.find('/', start);
    if (slash == std::string::npos) slash = path.size();
    if (path.compare(start, slash - start, "..") == 0 && slash - start == 2) {
      err = "store path '" + path + "' must not contain '..'";
      return false;
    }
    start = slash + 1;
  }
  return true;
}

std::string StoreCommand::synopsis() const { return "store dump|put|rm PATH [ID] [key=value ...]"; }

std::string StoreCommand::help() const {
  return "Usage: kxctl [--root DIR] store dump PATH\n"
         "       kxctl [--root DIR] store put PATH ID key=value ...\n"
         "       kxctl [--root DIR] store rm PATH ID\n"
         "\n"
         "Edits a persistent store directly, without the bus; stop the service that\n"
         "owns the store first, or it will not see the change (and may overwrite it).\n"
         "PATH is the platform path of the store (/sarn/store/snmpd), taken below the\n"
         "root (--root, else SARN_ROOT, else /).\n"
         "\n"
         "dump  prints every object as one line of JSON keyed by object id in\n"
         "      ascending order: {\"0\": {\"0x00000001\": true, ...}, \"3\": {...}}\n"
         "put   merges the fields into object ID (creating the store and the object\n"
         "      when absent) and prints the object as written\n"
         "rm    removes object ID\n"
         "\n"
         "Keys and values are written as for the bus commands (0x20000002=text,\n"
         "0x08000010=192.0.2.1, 0x88000013=[0,1]; see 'kxctl set --help').\n"
         "Exit status: 0 done; 1 no such store or object, or the write failed; 2 the\n"
         "command line is wrong.\n";
}

int StoreCommand::run(Session& session, const std::vector<std::string>& args) {
  if (args.empty()) return session.usage(name(), "missing sub-command: dump, put or rm");
  const std::string& sub = args[0];
  size_t want = sub == "dump" ? 2 : 3;
  if (sub != "dump" && sub != "put" && sub != "rm") {
    return session.usage(name(), "unknown sub-command '" + sub + "': use dump, put or rm");
  }
  if (args.size() < want) {
    return session.usage(
        name(), sub + ": missing arguments; expected " + (sub == "dump" ? "PATH" : "PATH ID"));
  }
  if (sub != "put" && args.size() > want) {
    return session.usage(name(), sub + ": unexpected argument '" + args[want] + "'");
  }
  if (sub == "put" && args.size() == want) {
    return session.usage(name(), "put: nothing to write; give at least one key=value");
  }
  std::string err;
  if (!checkStorePath(args[1], err)) return session.usage(name(), err);
  if (sub == "dump") return dump(session, args[1]);
  uint32_t id;
  if (!parseU32(args[2], id, err)) return session.usage(name(), sub + ": bad ID: " + err);
  if (sub == "rm") return rm(session, args[1], id);
  return put(session, args[1], id, std::vector<std::string>(args.begin() + 3, args.end()));
}

int StoreCommand::dump(Session& session, const std::string& path) {
  std::string dir = kx::rootPath(path);
  if (!isDirectory(dir)) return session.fail(name(), "no store at " + dir);
  kx::Store store(path, ::snmp::kStoreVersion);
  // Written by hand: a JSON object would order the ids as text ("10" < "2").
  std::string text = "{";
  for (const auto& [id, object] : store.loadAll()) {
    if (text.size() > 1) text += ",";
    text += "\"" + std::to_string(id) + "\":" + dumpText(kx::messageToJson(object));
  }
  text += "}";
  session.out() << text << std::endl;
  return kExitOk;
}

int StoreCommand::put(Session& session, const std::string& path, uint32_t id,
                      const std::vector<std::string>& fields) {
  kx::message change;
  std::string err;
  if (!parseFields(fields, change, err)) return session.usage(name(), "put: " + err);
  kx::Store store(path, ::snmp::kStoreVersion);
  kx::message object;
  store.load(id, object);  // absent: start from an empty object
  object.merge(change);
  if (!store.save(id, object)) {
    return session.fail(name(), "cannot write object " + std::to_string(id) + " to " + store.dir());
  }
  writeJsonLine(session.out(), kx::messageToJson(object));
  return kExitOk;
}

int StoreCommand::rm(Session& session, const std::string& path, uint32_t id) {
  std::string dir = kx::rootPath(path);
  if (!isDirectory(dir)) return session.fail(name(), "no store at " + dir);
  kx::Store store(path, ::snmp::kStoreVersion);
  if (!store.remove(id)) {
    return session.fail(name(), "no object " + std::to_string(id) + " in " + dir);
  }
  return kExitOk;
}

void addStoreCommand(CommandTable& table) { table.add(std::make_unique<StoreCommand>()); }

}  // namespace kxctl
