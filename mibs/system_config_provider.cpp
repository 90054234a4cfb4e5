#include "mibs/system_config_provider.h"

#include "agent/snmp_looper.h"

kx::message ConfigInfoProvider::agentSettings() {
  return snmpLooper ? snmpLooper->getConfig() : kx::message();
}

Data* ConfigInfoProvider::get() {
  const kx::message settings = source_ ? source_() : kx::message();
  contact = settings.getString(SnmpLooper::kContact);
  location = settings.getString(SnmpLooper::kLocation);
  return this;
}
