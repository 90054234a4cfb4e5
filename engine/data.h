// Data: the polymorphic base of every record the agent serves.
//
// A record is built from one bus message by a MIB module's conversion
// callback and owned by whoever caches it (a provider or a table); packers
// and leaves never own records.
#ifndef ENGINE_DATA_H_
#define ENGINE_DATA_H_

namespace kx {
class message;
}

class Data {
 public:
  virtual ~Data() = default;
  // Adds the record's writable fields to msg, for writing a SET back to the
  // service that owns the value.  The base adds nothing.
  virtual void reverseBuild(kx::message& msg);
};

inline void Data::reverseBuild(kx::message&) {}

#endif  // ENGINE_DATA_H_
