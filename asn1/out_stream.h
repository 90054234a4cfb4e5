// OutStream: a BER encoder that appends to one growing message.
//
// Values are appended in order.  A constructed value is opened with
// startSeq, which writes its tag and a one-byte placeholder length, and
// closed with endSeq, which back-patches the length and widens it in place
// (0x81 nn or 0x82 nn nn) when the content turned out to be 128 bytes or
// longer.  Widening moves every byte after the placeholder: positions taken
// inside a sequence before it is closed are shifted only for the two v3
// position marks, not for the error-status and error-index placeholders, so
// callers fill those before closing any sequence that encloses them.
//
// Encoders never throw.  A value that can't be encoded writes nothing and
// one line "SNMP OutStream: <reason>" to standard output.
#ifndef ASN1_OUT_STREAM_H_
#define ASN1_OUT_STREAM_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "asn1/oid.h"
#include "asn1/variable_binding.h"

class OutStream {
 public:
  // The two positions that the v3 message code records while it writes a
  // message and uses after the sequences around them are closed.
  enum Mark { kAuthParamsMark = 0, kScopedPduMark = 1, kMarkCount = 2 };

  OutStream();

  // Forgets the message, keeping the storage, so that a stream that writes
  // one reply after another doesn't allocate.
  void reset();

  // Opens a constructed value: tag, a placeholder length.
  void startSeq(unsigned int tag);
  // Closes the innermost open value, writing its length.  Content of 65536
  // bytes or more can't be encoded: the length stays 0 (and is logged).
  void endSeq();
  // Length octets: n < 128 in one octet, n < 256 as 0x81 n, otherwise 0x82
  // and the low 16 bits of n (no check above 65535).
  void addLen(std::size_t n);

  // Minimal two's-complement INTEGER.
  void add(int value, unsigned int tag);
  // Minimal unsigned encoding: values of 2^31 or more take five octets
  // with a leading 0.
  void add(unsigned int value, unsigned int tag);
  // Minimal unsigned 64-bit encoding, nine octets with a leading 0 when the
  // top bit is set.
  void add(unsigned long long value, unsigned int tag);
  void add(const unsigned char* bytes, unsigned int len, unsigned int tag);
  void add(const std::string& bytes, unsigned int tag);
  void addNull(unsigned int tag);
  // OBJECT IDENTIFIER.  REQUIRES: at least two arcs, the first below 3 and
  // the second below 40; otherwise nothing is written.
  void addOID(const OID& oid, unsigned int tag);
  // Bit string.  REQUIRES: len > 0 and bytes[0] (the unused-bits count)
  // below 8; otherwise nothing is written.
  void addBits(const unsigned char* bytes, unsigned int len, unsigned int tag);

  // A value from its text form (the text ends at its first NUL):
  //   2           INTEGER of the decimal text
  //   4           the text as an OCTET STRING
  //   5           NULL
  //   6           OBJECT IDENTIFIER of the dotted text
  //   0x40        the dotted quad as an unsigned number, first quad most
  //               significant, in minimal length ("0.0.0.1" gives 40 01 01)
  //   0x41, 0x43, 0x47   unsigned of the decimal text (32-bit wrap)
  // Any other type (0x42 and 0x46 included) writes nothing: the binding is
  // left with a name only.
  void addByType(const std::string& text, unsigned int type);
  // SEQUENCE { OID name, value by type }.
  void addVarBind(const VariableBinding& vb);

  // The first call writes the INTEGER placeholder 02 01 00; every call
  // stores the low 8 bits of value into it.
  void addErrorStatus(unsigned int value);
  void addErrorIndex(unsigned int value);

  // v3 position marks; 0 means unset.  endSeq shifts every set mark that
  // lies at or after the octets it inserts, so a mark keeps pointing at the
  // byte it was set on.
  std::uint32_t mark(Mark which) const { return marks_[which]; }
  void setMark(Mark which, std::uint32_t position) { marks_[which] = position; }

  // The encoded bytes.
  const std::vector<std::uint8_t>& bytes() const { return data_; }
  std::size_t size() const { return data_.size(); }

  // Hooks for code that finishes a message as a whole (v3 encryption and
  // signing).  They bypass the encoder: the caller keeps the encoding valid.
  //
  // Appends bytes as they are (no tag, no length).
  void append(const std::uint8_t* bytes, std::size_t n);
  // Drops every byte from offset n on (nothing when n >= size()).
  // REQUIRES: no open sequence starts beyond n.
  void truncate(std::size_t n);
  // Writable access to the encoded bytes.  REQUIRES: the caller stays
  // inside size().
  std::uint8_t* mutableData() { return data_.data(); }

 private:
  void addErrorPlaceholder(std::uint32_t* position, unsigned int value);
  // Tag, length and the low n octets of value, big-endian.
  void addNumber(unsigned long long value, unsigned int n, unsigned int tag, bool leading_zero);

  std::vector<std::uint8_t> data_;
  std::vector<std::size_t> open_seqs_;  // size just after each placeholder
  std::uint32_t marks_[kMarkCount] = {0, 0};
  std::uint32_t error_status_pos_ = 0;  // 0 = not yet written
  std::uint32_t error_index_pos_ = 0;
};

#endif  // ASN1_OUT_STREAM_H_
