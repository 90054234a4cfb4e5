#include "traps/enterprise_trap.h"

#include "asn1/ber.h"
#include "kx/snmp_keys.h"

namespace {

const OID kEnterpriseTrap("1.3.6.1.4.1.32473.1.1.9");
constexpr int kEnterpriseSpecific = 1;

}  // namespace

int talvorTrapMaker(std::vector<VariableBinding>& bindings, const kx::message& event, OID& trapOid,
                    int& generic, int& specific) {
  if (!event.has(kx::kCommand) || event.command() != snmp::kCmdSendTrap) return 0;
  trapOid = kEnterpriseTrap;
  generic = kGenericEnterpriseSpecific;
  specific = kEnterpriseSpecific;

  const std::string* name = event.findString(snmp::kTrapOid);
  if (name == nullptr || !event.has(snmp::kTrapType)) return 1;
  const unsigned type = event.getU32(snmp::kTrapType);
  const std::string* value = event.findString(snmp::kTrapValue);
  if (value != nullptr) {
    bindings.push_back({OID(*name), type, *value});
  } else if (type == ber::kNull) {
    bindings.push_back({OID(*name), type, std::string()});
  }
  return 1;
}
