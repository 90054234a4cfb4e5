// The integer packers: a signed 32-bit value (INTEGER, Counter32, Gauge32,
// TimeTicks, ... by tag), one index sub-identifier.
#ifndef DATA_NUM_PACKER_H_
#define DATA_NUM_PACKER_H_

#include "engine/packer.h"

class NumPacker : public Packer {
 public:
  explicit NumPacker(unsigned int tag) : Packer(tag) {}

  // Writes get(record) as a signed integer with the packer's tag.
  void pack(Context& ctx, Data const* record) override;
  // Reads a signed integer; on success set(record, value).
  void unpack(Data* record, Context& ctx) override;
  // One sub-identifier: the value as unsigned 32-bit.
  OID getAsKey(Data const* record) override;
  // Takes one sub-identifier off key; an empty key gives an empty OID and
  // leaves record unchanged.
  OID setFromKey(Data* record, OID const& key) override;

  virtual int get(Data const* record) = 0;
  virtual void set(Data* record, int value) = 0;
};

// A constant; SETs decode the value and drop it.
class ConstNumPacker : public NumPacker {
 public:
  ConstNumPacker(int value, unsigned int tag) : NumPacker(tag), value_(value) {}
  int get(Data const*) override { return value_; }
  void set(Data*, int) override {}

 private:
  int value_;
};

// An int member of the record (see data/data_member.h).  A null record
// reads as 0 and ignores writes.
class DataNumPacker : public NumPacker {
 public:
  DataNumPacker(int Data::*member, unsigned int tag) : NumPacker(tag), member_(member) {}
  int get(Data const* record) override { return record ? record->*member_ : 0; }
  void set(Data* record, int value) override {
    if (record) record->*member_ = value;
  }

 private:
  int Data::*member_;
};

#endif  // DATA_NUM_PACKER_H_
