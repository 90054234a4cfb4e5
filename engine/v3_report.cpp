#include "engine/v3_report.h"

#include "asn1/ber.h"
#include "engine/context.h"
#include "engine/error_status.h"

namespace {

// usmStats, RFC 3414: usmStatsUnsupportedSecLevels is .1, the others
// follow in report-kind order.
const OID kUsmStats("1.3.6.1.6.3.15.1.1");

}  // namespace

unsigned snmpV3(Context& ctx) {
  const uint32_t kind = ctx.v3ReportKind < Context::kV3ReportKinds ? ctx.v3ReportKind : 0;
  OID name = kUsmStats;
  name.push_back(kind + 1);
  name.push_back(0);
  ctx.out.startSeq(ber::kSequence);
  ctx.out.addOID(name, ber::kObjectId);
  ctx.out.add(Context::v3counters[kind], ber::kCounter32);
  ctx.out.endSeq();
  return error_status::kNoError;
}
