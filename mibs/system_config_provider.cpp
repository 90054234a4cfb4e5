#include "mibs/system_config_provider.h"

#include "kx/snmp_keys.h"

Data* ConfigInfoProvider::get() {
  const kx::message settings = source_ ? source_() : kx::message();
  contact = settings.getString(snmp::kContact);
  location = settings.getString(snmp::kLocation);
  return this;
}
