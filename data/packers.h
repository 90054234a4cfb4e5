// The packers: one field of a record to and from BER and index form, by
// value type (integers, octet strings, IP addresses, object identifiers,
// 64-bit counters), each as a base class, a constant and a record member;
// the member adapter they take, and the scalars of constant value built on
// the constant packers.
#ifndef DATA_PACKERS_H_
#define DATA_PACKERS_H_

#include <string>
#include <type_traits>
#include <vector>

#include "asn1/oid.h"
#include "engine/data.h"
#include "engine/packer.h"

// dataMember: a member of a module's record type as a member of Data.
//
// Packers address a field through a pointer-to-member of Data, so one packer
// class serves every record type.  A module writes
//   new DataNumPacker(dataMember(&IfRecord::mtu), 0x02)
// and the packer must only ever be given records of that type (the leaf's
// provider or table guarantees it).
template <class Record, class Field>
Field Data::*dataMember(Field Record::*member) {
  static_assert(std::is_base_of<Data, Record>::value, "records derive from Data");
  return static_cast<Field Data::*>(member);
}

// The integer packers: a signed 32-bit value (INTEGER, Counter32, Gauge32,
// TimeTicks, ... by tag), one index sub-identifier.
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

// An int member of the record (see dataMember above).  A null record
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

// The octet-string packers: text and byte vectors (OCTET STRING, or another
// tag for string-like types).
//
// Index form: with key length 0 the length and then one sub-identifier per
// byte; with key length n > 0 exactly n sub-identifiers (a fixed-size value
// such as a 6-octet hardware address).  Reading a fixed-length key back is
// deliberately not the inverse of writing it: the key's sub-identifiers are
// read as a length-prefixed string, so the first byte is taken as a length.
class StringPacker : public Packer {
 public:
  // keyLength: 0 for a variable-length index, n for a fixed one.
  StringPacker(unsigned int tag, unsigned int keyLength) : Packer(tag), keyLength(keyLength) {}

  // Writes get(record) as an octet string with the packer's tag.
  void pack(Context& ctx, Data const* record) override;
  // Reads an octet string; on success traces "unpacked s = <value>" on
  // standard error (every string SET, on purpose) and set(record, value).
  void unpack(Data* record, Context& ctx) override;
  // Variable: length, then the bytes (0..255 each).  Fixed n: the n bytes;
  // a value of another length gives an empty OID and the line
  // "inconsistent key length" on standard error.
  OID getAsKey(Data const* record) override;
  // Takes the packer's part off key (variable: a length l smaller than the
  // number of sub-identifiers present and l bytes; fixed: n bytes), each byte
  // below 256, and stores the part read as a length-prefixed string.  An
  // empty OID, record unchanged, when the part can't be taken or read.
  OID setFromKey(Data* record, OID const& key) override;

  virtual std::string get(Data const* record) = 0;
  virtual void set(Data* record, std::string const& value) = 0;

  unsigned int keyLength;
};

class ConstStringPacker : public StringPacker {
 public:
  ConstStringPacker(std::string const& value, unsigned int tag, unsigned int keyLength)
      : StringPacker(tag, keyLength), value_(value) {}
  // Writes the constant itself, without the copy get() makes.
  void pack(Context& ctx, Data const* record) override;
  std::string get(Data const*) override { return value_; }
  void set(Data*, std::string const&) override {}

 private:
  std::string value_;
};

// A string member of the record.  A null record reads as "" and ignores
// writes.
class DataStringPacker : public StringPacker {
 public:
  DataStringPacker(std::string Data::*member, unsigned int tag, unsigned int keyLength)
      : StringPacker(tag, keyLength), member_(member) {}
  // Writes the member itself, without the copy get() makes (so a subclass
  // that overrides get overrides pack too).
  void pack(Context& ctx, Data const* record) override;
  std::string get(Data const* record) override;
  void set(Data* record, std::string const& value) override;

 private:
  std::string Data::*member_;
};

// A byte-vector member of the record, seen as a string of its bytes.
class DataRawPacker : public StringPacker {
 public:
  DataRawPacker(std::vector<unsigned char> Data::*member, unsigned int tag, unsigned int keyLength)
      : StringPacker(tag, keyLength), member_(member) {}
  // Writes the member's bytes, without the string get() makes.
  void pack(Context& ctx, Data const* record) override;
  std::string get(Data const* record) override;
  // Replaces the vector's contents with the string's bytes.
  void set(Data* record, std::string const& value) override;

 private:
  std::vector<unsigned char> Data::*member_;
};

// The IpAddress packers.  An address is a u32 whose least significant byte is
// the first octet of the dotted form; it goes on the wire and into an index
// in that byte order (first octet first).
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

// The OBJECT IDENTIFIER packers.  Index form: the number of sub-identifiers,
// then the sub-identifiers.
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

// The 64-bit packers (Counter64).  Not usable as an index: getAsKey and
// setFromKey keep the base versions, which report a bug.
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

// Scalars with a constant value: registered once, never read from the bus.
//
// Each call allocates a constant packer and a ScalarLeaf without a provider;
// both live for the whole run.  A SET on such a scalar is accepted, changes
// nothing and answers the constant.

// A number (INTEGER, TimeTicks, ... by tag) under key.
void addScalarConstNumLeaf(const OID& key, int value, unsigned tag);
// An object identifier under key.
void addScalarConstOIDLeaf(const OID& key, const OID& value, unsigned tag);
// An octet string (variable-length index form) under key.
void addScalarConstStringLeaf(const OID& key, const std::string& value, unsigned tag);

#endif  // DATA_PACKERS_H_
