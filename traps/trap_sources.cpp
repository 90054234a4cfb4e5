#include "traps/trap_sources.h"

#include <algorithm>
#include <cstdio>

#include "asn1/ber.h"
#include "kx/looper.h"
#include "kx/snmp_keys.h"
#include "kx/transport.h"

std::vector<TrapMaker> trapMakers;

void addTrapMaker(TrapMaker maker) { trapMakers.push_back(maker); }

void removeTrapMaker(TrapMaker maker) {
  auto it = std::find(trapMakers.begin(), trapMakers.end(), maker);
  if (it != trapMakers.end()) trapMakers.erase(it);
}

namespace {

const OID kWarmStart("1.3.6.1.6.3.1.1.5.2");

}  // namespace

int startupTrapMaker(std::vector<VariableBinding>&, const kx::message&, OID& trapOid, int& generic,
                     int& specific) {
  trapOid = kWarmStart;
  generic = kGenericWarmStart;
  specific = 0;
  return 1;
}

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

std::vector<TrapSubscriber> scribers;

bool subscribeToEvents(const std::vector<uint32_t>& path, uint32_t kind,
                       const kx::message& filter) {
  kx::Looper* bus = kx::getLooper();
  if (bus && bus->subscribe(path, kind, filter)) return true;
  // Without this line a generator that is on but silent would be a puzzle.
  std::fprintf(stderr, "no events 0x%x from %s: the service did not take the subscription\n", kind,
               kx::pathText(path).c_str());
  return false;
}

bool unsubscribeFromEvents(const std::vector<uint32_t>& path, uint32_t kind,
                           const kx::message& filter) {
  kx::Looper* bus = kx::getLooper();
  return bus && bus->unsubscribe(path, kind, filter);
}
