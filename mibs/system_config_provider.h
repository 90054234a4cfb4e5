// ConfigInfoProvider: sysContact and sysLocation, read from the agent's own
// settings, which main hands over as a source of the settings record.
//
// The provider is its own record: get() refreshes the two strings from the
// settings message and returns this object.  The settings are changed over
// the bus, never through SNMP: set() always refuses.
#ifndef MIBS_SYSTEM_CONFIG_PROVIDER_H_
#define MIBS_SYSTEM_CONFIG_PROVIDER_H_

#include <functional>
#include <string>
#include <utility>

#include "engine/data.h"
#include "engine/data_provider.h"
#include "kx/message.h"

class ConfigInfoProvider : public DataProvider, public Data {
 public:
  // Where the settings record comes from: the agent's, as it stands now.
  using Source = std::function<kx::message()>;

  // Without a source the two strings stay empty.
  explicit ConfigInfoProvider(Source source = nullptr) : source_(std::move(source)) {}

  // Copies string 0x2 into contact and string 0x3 into location; never
  // null.
  Data* get() override;
  // Refuses: false.
  bool set(Data*) override { return false; }

  std::string contact;
  std::string location;

 private:
  Source source_;
};

#endif  // MIBS_SYSTEM_CONFIG_PROVIDER_H_
