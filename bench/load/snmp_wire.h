// The few SNMP messages the load generator and the walker need: v2c
// requests of one binding, built once and sent many times with a new
// request id patched in place, and a reader for the replies.
//
// The reader takes untrusted datagrams: every length is checked against
// the bytes really there, and a reply that does not parse is simply
// refused.  It is not a general decoder: it stops after the first binding's
// value tag.
#ifndef BENCH_LOAD_SNMP_WIRE_H_
#define BENCH_LOAD_SNMP_WIRE_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace bench {

constexpr uint8_t kGetRequest = 0xA0;
constexpr uint8_t kGetNextRequest = 0xA1;
constexpr uint8_t kResponse = 0xA2;
constexpr uint8_t kOctetString = 0x04;
// noSuchObject, noSuchInstance and endOfMibView: a binding without a value.
constexpr uint8_t kFirstException = 0x80;
constexpr uint8_t kLastException = 0x82;

// Request ids stay in a range whose INTEGER encoding is always exactly four
// octets, so a new id is written over the old one without moving anything.
constexpr uint32_t kMinRequestId = 0x01000000;
constexpr uint32_t kMaxRequestId = 0x7fffffff;

using Arcs = std::vector<uint32_t>;

// Parses dotted text ("1.3.6.1.2.1.1.1.0", a leading dot allowed).  False
// for an empty text, anything but digits between single dots, or an arc
// above 2^32-1.
bool parseOid(const std::string& dotted, Arcs* arcs);
// Dotted text of arcs, without a leading dot.
std::string oidText(const Arcs& arcs);

// Encodes arcs as OBJECT IDENTIFIER content.  False for fewer than two
// arcs, a first arc above 2 or a second above 39 under 0 and 1.
bool encodeOid(const Arcs& arcs, std::vector<uint8_t>* content);
// parseOid, then encodeOid.
bool encodeOid(const std::string& dotted, std::vector<uint8_t>* content);

// Turns OBJECT IDENTIFIER content back into arcs; false when the content
// is empty or an arc is unfinished or wider than 32 bits.
bool decodeOid(const uint8_t* content, size_t len, Arcs* arcs);

// One v2c request of one binding (value NULL), ready to send.
class RequestTemplate {
 public:
  // Builds the request for pduTag (kGetRequest or kGetNextRequest), with
  // request id kMinRequestId.  False when oid is not valid dotted text.
  bool build(uint8_t pduTag, const std::string& community, const std::string& oid);
  // The same with the name given as encoded OBJECT IDENTIFIER content.
  void build(uint8_t pduTag, const std::string& community, const std::vector<uint8_t>& oid);
  // REQUIRES: build succeeded and kMinRequestId <= id <= kMaxRequestId.
  void setRequestId(uint32_t id);
  const std::vector<uint8_t>& bytes() const { return bytes_; }
  uint8_t pduTag() const { return pduTag_; }

 private:
  std::vector<uint8_t> bytes_;
  size_t idOffset_ = 0;
  uint8_t pduTag_ = 0;
};

// What the generator checks of a reply.  oid points into the datagram the
// reply was read from and is valid only as long as that buffer.
struct Reply {
  uint8_t pduTag = 0;
  uint32_t requestId = 0;
  int32_t errorStatus = 0;
  const uint8_t* oid = nullptr;  // first binding's name, content octets
  size_t oidLen = 0;
  uint8_t valueTag = 0;            // first binding's value tag
  const uint8_t* value = nullptr;  // and its content octets
  size_t valueLen = 0;
};

// Reads a v1/v2c message with one PDU and at least one binding.  False,
// leaving *out in an unspecified state, for anything else or anything cut
// short.  Request ids of up to 32 bits are read as unsigned.
bool readReply(const uint8_t* data, size_t len, Reply* out);

}  // namespace bench

#endif  // BENCH_LOAD_SNMP_WIRE_H_
