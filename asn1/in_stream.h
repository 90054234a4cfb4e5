// InStream: a BER decoder over one received SNMP message.
//
// The stream either copies the message (the constructor), so that the
// caller's buffer may be reused at once, or reads it in place (view), for
// the receive path, which keeps one buffer per datagram.  Values are read
// front to back.  Every getter first
// steps over one tag byte without looking at it (the caller knows, or peeks
// with getType, what comes next), then reads a length, then checks that the
// content lies inside the message.
//
// Getters never throw.  On failure they return false (or -1), write one
// line "SNMP InStream: <reason>" to standard output where the reason is a
// malformed encoding (running out of data is silent), leave their output
// untouched and leave the cursor where it was, so the stream stays usable.
// Constructed values are entered with enterSeq and left with exitSeq, which
// skips whatever of the content was not read.
#ifndef ASN1_IN_STREAM_H_
#define ASN1_IN_STREAM_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "asn1/oid.h"

class InStream {
 public:
  // An empty stream, until view() gives it a message.
  InStream() = default;
  // Copies len bytes from data.
  InStream(const unsigned char* data, unsigned int len);
  // A copy owns its bytes, whether the original did or viewed them.
  InStream(const InStream& other);
  InStream& operator=(const InStream& other);

  // Starts over on the len bytes at data, read in place: they must stay
  // valid and unchanged by others while the stream is used, and v3
  // decryption writes into them.  Storage kept from earlier messages is
  // reused, so a stream that serves one request after another doesn't
  // allocate.
  void view(unsigned char* data, std::size_t len);

  // The byte at the cursor, or -1 at the end of the data.  Doesn't advance.
  int getType() const;
  // Reads a length at the cursor and steps over it: -1 on failure and for
  // lengths of 2^31 or more.  Long forms of one to four octets are accepted,
  // non-minimal ones included.
  int getLen();
  // Steps over a tag and a length and enters the constructed value: the
  // content length, or -1 when it would run past the end of the data.
  int enterSeq();
  // Leaves the innermost entered value: the cursor moves to its end.
  void exitSeq();

  // Signed 32-bit INTEGER of any tag.  Zero-length content yields 0; five
  // octets are accepted only with a leading 0 (an unsigned 32-bit value),
  // yielding the low 32 bits.
  bool getInt(int* value);
  // Unsigned 64-bit value of any tag, at most eight content octets (so a
  // value of 2^63 or more, which needs a leading 0, is refused).
  bool get64(unsigned long long* value);
  // The raw content bytes of any tag.
  bool getString(std::string* value);
  // OBJECT IDENTIFIER: empty content yields 0.0; the first octet b gives the
  // arcs b/40 and b%40.  An arc whose last content octet still has its top
  // bit set goes on reading the following bytes up to the end of the data.
  bool getOID(OID* value);
  // Succeeds only for zero-length content.
  bool getNull();
  // Bit string content, its leading unused-bits octet (0..7) included.
  bool getBits(std::vector<unsigned char>* value);

  // The message version: on the first call enters the message sequence and
  // reads the version INTEGER; later calls return the cached value.  -1 when
  // it can't be read.
  int getVersion();
  // Forgets every entered value and moves the cursor back to the start.
  void reset();

  // True when every byte has been read.
  bool atEnd() const { return cursor_ >= size_; }
  // True when the cursor has reached the end of the innermost entered value
  // (or of the data when nothing is entered).
  bool atSeqEnd() const;
  // Offset of the cursor from the start of the message.
  std::size_t position() const { return cursor_; }
  std::size_t size() const { return size_; }

  // The message bytes, for code that works on the message as a whole (the
  // v3 digest).  Valid until the stream is destroyed or given another
  // message; truncate() shortens it but never moves it.
  const std::uint8_t* data() const { return data_; }
  // Writable access to the message, for code that transforms a part of it
  // in place (v3 decryption).  REQUIRES: the caller stays inside size().
  std::uint8_t* mutableData() { return data_; }
  // Drops every byte from offset n on (nothing when n >= size()), so that
  // reads stop there.  The cursor moves back to n if it lay beyond.
  void truncate(std::size_t n);

 private:
  enum class Header { kOk, kFailed, kOverflow };

  // Reads the length at pos; on success stores it and moves pos past it.
  // Malformed lengths are logged, running out of data is not.
  bool readLen(std::size_t* pos, std::uint32_t* len) const;
  // Steps over the tag at the cursor and reads the length.  kOk: the
  // content's start and length; kOverflow: the content runs past the data
  // (for the caller to log); kFailed: no length.  Doesn't move the cursor.
  Header readHeader(std::size_t* start, std::uint32_t* len) const;
  // readHeader, logging overflow_msg on kOverflow.
  bool readContent(std::size_t* start, std::uint32_t* len, const char* overflow_msg) const;

  std::uint8_t* data_ = nullptr;  // the message: copy_'s bytes, or viewed
  std::size_t size_ = 0;
  std::vector<std::uint8_t> copy_;
  std::vector<std::size_t> seq_ends_;  // end offsets of entered values
  std::size_t cursor_ = 0;
  int version_ = -1;
  bool version_read_ = false;
};

// A diagnostic dump of raw bytes: writes n bytes to standard output as two
// lower-case hex digits and a blank each, a line end after every 16th byte
// and one at the end.
void hexdump(const void* data, unsigned int n);

#endif  // ASN1_IN_STREAM_H_
