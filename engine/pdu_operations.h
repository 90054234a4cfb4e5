// The PDU operations and their errors.
//
// Each operation answers one variable binding of ctx against the MIB tree
// (`leafs`) and returns an SNMP error status: 0 success, 2 noSuchName.  On
// success the binding's name and value are in ctx.out; on failure nothing
// has been written and the caller echoes the requested name with NULL.
#ifndef ENGINE_PDU_OPERATIONS_H_
#define ENGINE_PDU_OPERATIONS_H_

class Context;

// SNMP error-status values the engine produces.
namespace error_status {

constexpr unsigned kNoError = 0;
// Every miss, in v1 and v2c alike: the v2 exception values are never sent.
constexpr unsigned kNoSuchName = 2;
// A SET through a community without write access.
constexpr unsigned kReadOnly = 4;
constexpr unsigned kGenErr = 5;

}  // namespace error_status

// The instance ctx.oid, answered by the leaf with the greatest key not
// greater than it, provided the request starts with that key.  On return
// ctx.name is the key and ctx.oid the instance part.
unsigned snmpGet(Context& ctx);

// The first instance after ctx.oid: starts at the leaf containing the
// request (or the first leaf after it) and asks each leaf in order until
// one answers.  Past the last leaf: 2, in v1 and v2c alike.
unsigned snmpGetNext(Context& ctx);

// Max-repetitions (ctx.requestField2) successive GETNEXTs, each starting
// from the name the previous one answered; non-repeaters are ignored.  The
// first binding sequence must already be open in ctx.out and the last one
// is left open for the caller to close.  A failing step is logged as
// "Error <status>" and returned.  A count of 0 or less writes nothing.
unsigned snmpGetBulk(Context& ctx);

// Finds the longest registered key that is a prefix of ctx.oid, moving the
// arcs beyond it to the front of ctx.setSuffix (which keeps whatever an
// earlier binding left there), and hands the binding to that leaf.  ctx.oid
// keeps the full requested name.
unsigned snmpSet(Context& ctx);

// Error classes a loadable module may use to report an error status into
// the response being built.  The PDU operations neither raise nor catch
// them; they are part of the programming interface offered to modules.

// Base: reports nothing.
class AccessError {
 public:
  virtual void apply(Context& ctx) const;
  virtual ~AccessError() = default;
};

// noSuchName (2); also raises the context's error flag, which ends the
// binding loop.
class PathNotExists : public AccessError {
 public:
  void apply(Context& ctx) const override;
};

// genErr (5).
class InvalidOID : public AccessError {
 public:
  void apply(Context& ctx) const override;
};

// genErr (5).
class MiscError : public AccessError {
 public:
  void apply(Context& ctx) const override;
};

#endif  // ENGINE_PDU_OPERATIONS_H_
