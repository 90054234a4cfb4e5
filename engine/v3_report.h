// The variable binding of a v3 report.
#ifndef ENGINE_V3_REPORT_H_
#define ENGINE_V3_REPORT_H_

class Context;

// Appends the one binding of the report of kind ctx.v3ReportKind: the
// usmStats counter 1.3.6.1.6.3.15.1.1.(kind + 1).0 with its value from
// Context::v3counters, as a Counter32.  Returns the error status, 0.
unsigned snmpV3(Context& ctx);

#endif  // ENGINE_V3_REPORT_H_
