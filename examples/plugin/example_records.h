// The records of the example plug-in, each built from one bus message of
// the example service (77 on the bus; examples/plugin.json simulates it).
#ifndef EXAMPLE_RECORDS_H_
#define EXAMPLE_RECORDS_H_

#include <string>
#include <vector>

#include "engine/data.h"
#include "kx/message.h"

namespace example {

// The service's settings record, at [77, 1].
struct MotdData : Data {
  std::string motd;  // string 0x20000001: message of the day (writable)
  int visitors = 0;  // u32 0x08000002

  // GetProvider's conversion: the caller owns the result.  An empty message
  // (the service is away) gives the defaults.
  static Data* build(kx::message const& reply);
  // A SET writes the message of the day back; nothing else is writable.
  void reverseBuild(kx::message& msg) override;
};

// One object of the service's list, at [77, 2].
struct ItemData : Data {
  int id = 0;        // u32 0x08fe0001: the row's index
  std::string name;  // string 0x20000003
  int level = 0;     // u32 0x08000004

  // GetAllProvider's conversion: one row per list object; out owns it.
  static void build(kx::message const& object, std::vector<Data*>* out);
};

// Fields of the example service.
constexpr uint32_t kMotd = 0x20000001;
constexpr uint32_t kVisitors = 0x08000002;
constexpr uint32_t kItemName = 0x20000003;
constexpr uint32_t kItemLevel = 0x08000004;

}  // namespace example

#endif  // EXAMPLE_RECORDS_H_
