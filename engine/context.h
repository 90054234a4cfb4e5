// Context: the state of one request, from the received bytes to the
// finished response.  One per datagram; the receive path keeps its contexts
// and starts each anew with reset(), so that their storage (names, the
// reply) serves request after request without allocating.
#ifndef ENGINE_CONTEXT_H_
#define ENGINE_CONTEXT_H_

#include <cstdint>
#include <new>
#include <string>

#include "asn1/in_stream.h"
#include "asn1/oid.h"
#include "asn1/out_stream.h"
#include "usm/v3_info.h"

class Context {
 public:
  // Number of v3 report kinds (unsupported level, not in time window,
  // unknown user, unknown engine ID, wrong digest).
  static constexpr unsigned kV3ReportKinds = kReportKinds;
  // Reports sent so far, by kind; served as the usmStats counters.
  static inline uint32_t v3counters[kV3ReportKinds] = {};

  // Copies len bytes of data into the input stream; data may be reused at
  // once.
  Context(unsigned char* data, unsigned len) : in(data, len) {}
  // A context with no request, for reset().
  Context() = default;

  // Starts a new request over the len bytes at data, which the input
  // stream reads in place (see InStream::view): they must stay valid until
  // the reply has been sent.  Every field starts over as in a new context;
  // the storage of names, strings and streams is kept.
  void reset(unsigned char* data, unsigned len) {
    oid.clear();
    setPrefix.clear();
    setSuffix.clear();
    name.clear();
    community.clear();
    in.view(data, len);
    out.reset();
    error = 0;
    requestField1 = 0;
    requestField2 = 0;
    v3ReportKind = 0;
    droppedCommand = 0;
    v3Server = nullptr;
    // Views and numbers only: made anew in place.
    v3.~V3Info();
    new (&v3) V3Info();
  }

  // The OID being worked on: the requested name, then (after the MIB
  // lookup) the instance part below the matched leaf.  A SET keeps the full
  // requested name here.
  OID oid;
  // SET only: the requested name, shortened arc by arc while looking for a
  // leaf.
  OID setPrefix;
  // SET only: the arcs taken off the prefix, in order.  Not cleared between
  // the bindings of one request.
  OID setSuffix;
  // The name being answered: the matched leaf's key, extended by the
  // instance.
  OID name;
  // Community string (v1/v2c) or user name (v3).
  std::string community;
  InStream in;
  OutStream out;
  // Raised by PathNotExists::apply; ends the binding loop.
  uint8_t error = 0;
  // The request PDU's third field: error-status, or non-repeaters.
  int32_t requestField1 = 0;
  // The request PDU's fourth field: error-index, or max-repetitions.
  int32_t requestField2 = 0;
  // Report kind of a v3 request answered with a Report.
  uint32_t v3ReportKind = 0;
  // The PDU tag of a request dropped as an unknown command (a GetBulk,
  // say), so that the receive path can explain the silence; 0 otherwise.
  unsigned droppedCommand = 0;
  // The local engine that answers v3 requests, set by the receive path;
  // without one v3 requests are dropped.  Not owned.
  const V3ServerInfo* v3Server = nullptr;
  // The header of a v3 request, read by createReply; its byte strings view
  // `in`.
  V3Info v3;

  // Scratch names of the engine, kept with the context so that their
  // storage is reused: the binding's name as requested, echoed when the
  // operation fails;
  OID asked;
  // the name a GETNEXT starts from;
  OID from;
  // the index of the next row of a table.
  OID rowIndex;
};

#endif  // ENGINE_CONTEXT_H_
