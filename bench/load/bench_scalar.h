// The constant scalar the benchmark plug-in serves, shared by the plug-in
// and the load generator.  An arc of the enterprise subtree that no
// built-in module uses, so loading the plug-in never clashes with them.
#ifndef BENCH_LOAD_BENCH_SCALAR_H_
#define BENCH_LOAD_BENCH_SCALAR_H_

namespace bench {

constexpr const char kBenchScalarParent[] = "1.3.6.1.4.1.32473.250.1";
constexpr const char kBenchScalar[] = "1.3.6.1.4.1.32473.250.1.0";
// The same text as the built-in sysDescr, so both agents send replies of
// the same size.
constexpr const char kBenchScalarValue[] = "router";

}  // namespace bench

#endif  // BENCH_LOAD_BENCH_SCALAR_H_
