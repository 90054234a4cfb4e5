// Benchmark plug-in: registers one constant scalar, answered from memory
// without any bus exchange, so the load benchmark measures the request
// path alone.  Its symbols are resolved against the running snmpd.
#include "bench/load/bench_scalar.h"
#include "data/const_leaves.h"

namespace {
constexpr unsigned kOctetStringTag = 0x04;
}

extern "C" void autorun() {
  addScalarConstStringLeaf(bench::kBenchScalar, bench::kBenchScalarValue, kOctetStringTag);
}
