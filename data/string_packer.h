// The octet-string packers: text and byte vectors (OCTET STRING, or another
// tag for string-like types).
//
// Index form: with key length 0 the length and then one sub-identifier per
// byte; with key length n > 0 exactly n sub-identifiers (a fixed-size value
// such as a 6-octet hardware address).  Reading a fixed-length key back is
// deliberately not the inverse of writing it: the key's sub-identifiers are
// read as a length-prefixed string, so the first byte is taken as a length.
#ifndef DATA_STRING_PACKER_H_
#define DATA_STRING_PACKER_H_

#include <string>
#include <vector>

#include "engine/packer.h"

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

#endif  // DATA_STRING_PACKER_H_
