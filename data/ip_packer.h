// The IpAddress packers.  An address is a u32 whose least significant byte is
// the first octet of the dotted form; it goes on the wire and into an index
// in that byte order (first octet first).
#ifndef DATA_IP_PACKER_H_
#define DATA_IP_PACKER_H_

#include "engine/packer.h"

class IPPacker : public Packer {
 public:
  explicit IPPacker(unsigned int tag) : Packer(tag) {}

  // Writes the four octets as an octet string with the packer's tag.
  void pack(Context& ctx, Data const* record) override;
  // Reads an octet string; stores it only when it has exactly four octets
  // (anything else is dropped without an error).
  void unpack(Data* record, Context& ctx) override;
  // Four sub-identifiers, one per octet.
  OID getAsKey(Data const* record) override;
  // Takes four sub-identifiers, each below 256, off key; an empty OID when
  // they aren't there.
  OID setFromKey(Data* record, OID const& key) override;

  virtual unsigned int get(Data const* record) = 0;
  virtual void set(Data* record, unsigned int address) = 0;
};

class ConstIPPacker : public IPPacker {
 public:
  ConstIPPacker(unsigned int address, unsigned int tag) : IPPacker(tag), address_(address) {}
  unsigned int get(Data const*) override { return address_; }
  void set(Data*, unsigned int) override {}

 private:
  unsigned int address_;
};

// A null record reads as 0.0.0.0 and ignores writes.
class DataIPPacker : public IPPacker {
 public:
  DataIPPacker(unsigned int Data::*member, unsigned int tag) : IPPacker(tag), member_(member) {}
  unsigned int get(Data const* record) override { return record ? record->*member_ : 0; }
  void set(Data* record, unsigned int address) override {
    if (record) record->*member_ = address;
  }

 private:
  unsigned int Data::*member_;
};

#endif  // DATA_IP_PACKER_H_
