#include "mibs/system_list_records.h"

#include <cstdio>

namespace {

constexpr uint32_t kScriptName = kx::string_id(0x66);
// The command that runs a script instead of changing it.
constexpr uint32_t kRunCommand = 1;

constexpr uint32_t kAddress = kx::be32_id(0x1);
constexpr uint32_t kHardwareAddress = kx::raw_id(0x2);
constexpr uint32_t kHostName = kx::string_id(0x7);
constexpr uint32_t kClientId = kx::string_id(0x8);
constexpr uint32_t kServer = kx::string_id(0x6);
constexpr uint32_t kStatus = kx::string_id(0xb);

}  // namespace

void Script::build(const kx::message& object, std::vector<Data*>* out) {
  std::fputs("Script::build\n", stderr);
  auto* s = new Script;
  s->id = static_cast<int>(object.getU32(kx::kObjId));
  s->name = object.getString(kScriptName);
  out->push_back(s);
}

void Script::reverseBuild(kx::message& msg) {
  std::fputs("Script::reverseBuild\n", stderr);
  msg.setU32(kx::kObjId, static_cast<uint32_t>(id));
  if (run != 0) {
    std::fputs("Run, FOREST, run!\n", stderr);
    msg.setCommand(kRunCommand);
  } else {
    msg.setString(kScriptName, name);
  }
}

void AddressData::build(const kx::message& object, std::vector<Data*>* out) {
  auto* a = new AddressData;
  a->id = static_cast<int>(object.getU32(kx::kObjId));
  a->address = object.getBe32(kAddress);
  a->hardwareAddress = object.getRaw(kHardwareAddress);
  a->hostName = object.getString(kHostName);
  a->clientId = object.getString(kClientId);
  a->server = object.getString(kServer);
  a->status = object.getString(kStatus);
  out->push_back(a);
}
