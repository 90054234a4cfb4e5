// kxctl::StoreCommand: offline editing of a persistent store, no bus and
// no running process needed (a demo or test seeds the agent's settings
// this way before the agent starts).
//
//   store dump PATH                 every object: {"ID": {...}, ...}
//   store put PATH ID key=value ... merges the fields into object ID,
//                                   creating it when absent; prints it
//   store rm PATH ID                removes object ID
//
// PATH is a platform path ("/sarn/store/snmpd") taken below the root.
#ifndef TOOLS_STORE_COMMAND_H_
#define TOOLS_STORE_COMMAND_H_

#include <cstdint>
#include <string>
#include <vector>

#include "tools/command.h"

namespace kxctl {

// A store path must be absolute and must not climb out of the root.
bool checkStorePath(const std::string& path, std::string& err);

class StoreCommand : public Command {
 public:
  std::string name() const override { return "store"; }
  std::string synopsis() const override;
  std::string brief() const override { return "show or edit a store offline"; }
  std::string help() const override;
  int run(Session& session, const std::vector<std::string>& args) override;

 private:
  int dump(Session& session, const std::string& path);
  int put(Session& session, const std::string& path, uint32_t id,
          const std::vector<std::string>& fields);
  int rm(Session& session, const std::string& path, uint32_t id);
};

}  // namespace kxctl

#endif  // TOOLS_STORE_COMMAND_H_
