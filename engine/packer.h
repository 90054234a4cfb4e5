// Packer: one value of a record (or a constant) to and from BER and index
// form.  The concrete family lives in data/; the request engine only needs
// this interface.
#ifndef ENGINE_PACKER_H_
#define ENGINE_PACKER_H_

#include "asn1/oid.h"

class Context;
class Data;

class Packer {
 public:
  explicit Packer(unsigned int tag) : tag(tag) {}
  virtual ~Packer() = default;

  // Appends the value of record (or the packer's constant) to ctx.out with
  // the packer's tag.
  virtual void pack(Context& ctx, Data const* record) = 0;
  // Reads the next value of ctx.in into record; leaves record unchanged
  // when the value can't be read.
  virtual void unpack(Data* record, Context& ctx) = 0;
  // The value as index sub-identifiers.  Base: writes
  // "BUG: Packer::getAsKey called" to standard error, returns an empty OID.
  virtual OID getAsKey(Data const* record);
  // Takes this packer's part off the front of key, stores it into record
  // and returns the remainder; an empty OID when the part can't be taken.
  // Base: writes "BUG: Packer::setFromKey called", returns an empty OID.
  virtual OID setFromKey(Data* record, OID const& key);

  // BER tag written in front of every value (0x02 INTEGER, 0x04 OCTET
  // STRING, 0x40 IpAddress, 0x41 Counter32, ...).
  unsigned int tag;
};

#endif  // ENGINE_PACKER_H_
