// Error classes a loadable module may use to report an error status into
// the response being built.  The PDU operations neither raise nor catch
// them; they are part of the programming interface offered to modules.
#ifndef ENGINE_ACCESS_ERROR_H_
#define ENGINE_ACCESS_ERROR_H_

class Context;

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

#endif  // ENGINE_ACCESS_ERROR_H_
