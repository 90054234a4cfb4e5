// The 64-bit packers (Counter64).  Not usable as an index: getAsKey and
// setFromKey keep the base versions, which report a bug.
#ifndef DATA_BIGNUM_PACKER_H_
#define DATA_BIGNUM_PACKER_H_

#include "engine/packer.h"

class BignumPacker : public Packer {
 public:
  explicit BignumPacker(unsigned int tag) : Packer(tag) {}

  // Writes get(record) as an unsigned 64-bit value with the packer's tag.
  void pack(Context& ctx, Data const* record) override;
  // Reads an unsigned 64-bit value; on success set(record, value).
  void unpack(Data* record, Context& ctx) override;

  virtual unsigned long long get(Data const* record) = 0;
  virtual void set(Data* record, unsigned long long value) = 0;
};

class ConstBignumPacker : public BignumPacker {
 public:
  ConstBignumPacker(unsigned long long value, unsigned int tag)
      : BignumPacker(tag), value_(value) {}
  unsigned long long get(Data const*) override { return value_; }
  void set(Data*, unsigned long long) override {}

 private:
  unsigned long long value_;
};

// A null record reads as 0 and ignores writes.
class DataBignumPacker : public BignumPacker {
 public:
  DataBignumPacker(unsigned long long Data::*member, unsigned int tag)
      : BignumPacker(tag), member_(member) {}
  unsigned long long get(Data const* record) override { return record ? record->*member_ : 0; }
  void set(Data* record, unsigned long long value) override {
    if (record) record->*member_ = value;
  }

 private:
  unsigned long long Data::*member_;
};

#endif  // DATA_BIGNUM_PACKER_H_
