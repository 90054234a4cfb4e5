// The OBJECT IDENTIFIER packers.  Index form: the number of sub-identifiers,
// then the sub-identifiers.
#ifndef DATA_OID_PACKER_H_
#define DATA_OID_PACKER_H_

#include "engine/packer.h"

class OIDPacker : public Packer {
 public:
  explicit OIDPacker(unsigned int tag) : Packer(tag) {}

  // Writes get(record) as an object identifier with the packer's tag.
  void pack(Context& ctx, Data const* record) override;
  // Reads an object identifier; on success set(record, value).
  void unpack(Data* record, Context& ctx) override;
  // The count of sub-identifiers, then the sub-identifiers.
  OID getAsKey(Data const* record) override;
  // Takes a count c and c sub-identifiers off key (c must be smaller than
  // the number present); an empty OID when they aren't there.
  OID setFromKey(Data* record, OID const& key) override;

  virtual OID get(Data const* record) = 0;
  virtual void set(Data* record, OID const& value) = 0;
};

class ConstOIDPacker : public OIDPacker {
 public:
  ConstOIDPacker(OID const& value, unsigned int tag) : OIDPacker(tag), value_(value) {}
  // Writes the constant itself, without the copy get() makes.
  void pack(Context& ctx, Data const* record) override;
  OID get(Data const*) override { return value_; }
  void set(Data*, OID const&) override {}

 private:
  OID value_;
};

// A null record reads as the empty OID and ignores writes.
class DataOIDPacker : public OIDPacker {
 public:
  DataOIDPacker(OID Data::*member, unsigned int tag) : OIDPacker(tag), member_(member) {}
  // Writes the member itself, without the copy get() makes (so a subclass
  // that overrides get overrides pack too).
  void pack(Context& ctx, Data const* record) override;
  OID get(Data const* record) override { return record ? record->*member_ : OID(); }
  void set(Data* record, OID const& value) override {
    if (record) record->*member_ = value;
  }

 private:
  OID Data::*member_;
};

#endif  // DATA_OID_PACKER_H_
