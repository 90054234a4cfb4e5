// SNMP requests built by hand, for the unit tests and the benchmarks that
// feed the engine (the core benchmark, the soak and v3 load generators),
// written with the agent's own encoder: they test what the engine does
// with a request, not the encoder.  (The load generator's v2c requests,
// bench/load/snmp_wire.h, have their own encoder on purpose: what measures
// the agent must not share its faults.)
#ifndef TESTS_UNIT_SUPPORT_SNMP_REQUEST_H_
#define TESTS_UNIT_SUPPORT_SNMP_REQUEST_H_

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "asn1/ber.h"
#include "asn1/oid.h"
#include "asn1/out_stream.h"

namespace snmp_request {

// A binding with a NULL, INTEGER or OCTET STRING value.
struct Binding {
  Binding(OID n) : name(std::move(n)) {}  // NOLINT: implicit, NULL value
  Binding(OID n, int v) : name(std::move(n)), tag(ber::kInteger), number(v) {}
  Binding(OID n, std::string t) : name(std::move(n)), tag(ber::kOctetString), text(std::move(t)) {}
  Binding(OID n, const char* t) : Binding(std::move(n), std::string(t)) {}
  OID name;
  unsigned tag = ber::kNull;
  int number = 0;
  std::string text;
};

// Appends a request PDU: pduTag, requestId, both error fields 0, bindings.
// The request-id is encoded as its type is: int (negative ids too), or
// uint32_t (ids above 2^31-1 as positive).
template <class Id>
void writePdu(OutStream& out, unsigned pduTag, Id requestId, const std::vector<Binding>& bindings) {
  out.startSeq(pduTag);
  out.add(requestId, ber::kInteger);
  out.add(0, ber::kInteger);
  out.add(0, ber::kInteger);
  out.startSeq(ber::kSequence);
  for (const Binding& b : bindings) {
    out.startSeq(ber::kSequence);
    out.addOID(b.name, ber::kObjectId);
    if (b.tag == ber::kInteger) out.add(b.number, ber::kInteger);
    if (b.tag == ber::kOctetString) out.add(b.text, ber::kOctetString);
    if (b.tag == ber::kNull) out.addNull(ber::kNull);
    out.endSeq();
  }
  out.endSeq();
  out.endSeq();
}

// A whole v1 (version 0) or v2c (1) message around writePdu's PDU.
inline std::vector<uint8_t> communityRequest(int version, const std::string& community,
                                             unsigned pduTag, const std::vector<Binding>& bindings,
                                             int requestId) {
  OutStream out;
  out.startSeq(ber::kSequence);
  out.add(version, ber::kInteger);
  out.add(community, ber::kOctetString);
  writePdu(out, pduTag, requestId, bindings);
  out.endSeq();
  return out.bytes();
}

}  // namespace snmp_request

#endif  // TESTS_UNIT_SUPPORT_SNMP_REQUEST_H_
