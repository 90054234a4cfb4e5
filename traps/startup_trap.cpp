#include "traps/startup_trap.h"

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
