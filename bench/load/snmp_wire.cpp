#include "bench/load/snmp_wire.h"

#include <cstdlib>

namespace bench {

namespace {

constexpr uint8_t kSequence = 0x30;
constexpr uint8_t kInteger = 0x02;
constexpr uint8_t kNull = 0x05;
constexpr uint8_t kOidTag = 0x06;
constexpr uint8_t kVersion2c = 1;
// An arc is at most five base-128 octets (32 bits).
constexpr int kMaxArcOctets = 5;

void appendLength(std::vector<uint8_t>* out, size_t len) {
  if (len < 0x80) {
    out->push_back(static_cast<uint8_t>(len));
    return;
  }
  uint8_t octets[sizeof(size_t)];
  int n = 0;
  for (size_t v = len; v; v >>= 8) octets[n++] = static_cast<uint8_t>(v);
  out->push_back(static_cast<uint8_t>(0x80 | n));
  while (n) out->push_back(octets[--n]);
}

std::vector<uint8_t> tlv(uint8_t tag, const std::vector<uint8_t>& content) {
  std::vector<uint8_t> out{tag};
  appendLength(&out, content.size());
  out.insert(out.end(), content.begin(), content.end());
  return out;
}

void appendBase128(std::vector<uint8_t>* out, uint64_t v) {
  uint8_t octets[10];
  int n = 0;
  do {
    octets[n++] = static_cast<uint8_t>(v & 0x7f);
    v >>= 7;
  } while (v);
  while (n > 1) out->push_back(static_cast<uint8_t>(octets[--n] | 0x80));
  out->push_back(octets[0]);
}

// A cursor over one received datagram: every read checks the bytes left
// and moves only when it succeeds.
class Cursor {
 public:
  Cursor(const uint8_t* p, size_t n) : p_(p), end_(p + n) {}

  // Reads a tag and a definite length whose content fits in what is left.
  bool header(uint8_t* tag, size_t* len) {
    const uint8_t* p = p_;
    if (end_ - p < 2) return false;
    *tag = *p++;
    size_t l = *p++;
    if (l & 0x80) {
      size_t n = l & 0x7f;
      if (n == 0 || n > 4 || static_cast<size_t>(end_ - p) < n) return false;
      l = 0;
      while (n--) l = (l << 8) | *p++;
    }
    if (static_cast<size_t>(end_ - p) < l) return false;
    *len = l;
    p_ = p;
    return true;
  }
  // Enters a constructed value of the wanted tag: the cursor now ends with it.
  bool enter(uint8_t wanted) {
    uint8_t tag;
    size_t len;
    Cursor probe = *this;
    if (!probe.header(&tag, &len) || tag != wanted) return false;
    p_ = probe.p_;
    end_ = p_ + len;
    return true;
  }
  // An INTEGER of at most 32 bits of magnitude (a leading 0 allowed).
  bool integer(int64_t* value) {
    uint8_t tag;
    size_t len;
    Cursor probe = *this;
    if (!probe.header(&tag, &len) || tag != kInteger || len == 0 || len > 5) return false;
    int64_t v = (probe.p_[0] & 0x80) ? -1 : 0;
    for (size_t i = 0; i < len; ++i) v = v * 256 + probe.p_[i];
    if (len == 5 && probe.p_[0] != 0) return false;
    *value = v;
    p_ = probe.p_ + len;
    return true;
  }
  // Any primitive value: its tag and content.
  bool any(uint8_t* tag, const uint8_t** content, size_t* len) {
    Cursor probe = *this;
    if (!probe.header(tag, len)) return false;
    *content = probe.p_;
    p_ = probe.p_ + *len;
    return true;
  }

 private:
  const uint8_t* p_;
  const uint8_t* end_;
};

}  // namespace

bool parseOid(const std::string& dotted, Arcs* arcs) {
  Arcs out;
  size_t i = (!dotted.empty() && dotted[0] == '.') ? 1 : 0;
  if (i == dotted.size()) return false;
  while (i < dotted.size()) {
    if (dotted[i] < '0' || dotted[i] > '9') return false;
    uint64_t arc = 0;
    while (i < dotted.size() && dotted[i] >= '0' && dotted[i] <= '9') {
      arc = arc * 10 + static_cast<uint64_t>(dotted[i++] - '0');
      if (arc > 0xffffffffu) return false;
    }
    out.push_back(static_cast<uint32_t>(arc));
    if (i == dotted.size()) break;
    // A dot, and an arc after it.
    if (dotted[i++] != '.' || i == dotted.size()) return false;
  }
  *arcs = std::move(out);
  return true;
}

std::string oidText(const Arcs& arcs) {
  std::string text;
  for (size_t i = 0; i < arcs.size(); ++i) {
    if (i) text += '.';
    text += std::to_string(arcs[i]);
  }
  return text;
}

bool encodeOid(const Arcs& arcs, std::vector<uint8_t>* content) {
  if (arcs.size() < 2 || arcs[0] > 2 || (arcs[0] < 2 && arcs[1] > 39)) return false;
  std::vector<uint8_t> out;
  appendBase128(&out, uint64_t{arcs[0]} * 40 + arcs[1]);
  for (size_t k = 2; k < arcs.size(); ++k) appendBase128(&out, arcs[k]);
  *content = std::move(out);
  return true;
}

bool encodeOid(const std::string& dotted, std::vector<uint8_t>* content) {
  Arcs arcs;
  return parseOid(dotted, &arcs) && encodeOid(arcs, content);
}

bool decodeOid(const uint8_t* content, size_t len, Arcs* arcs) {
  if (len == 0 || (content[len - 1] & 0x80)) return false;
  Arcs out;
  uint64_t arc = 0;
  int octets = 0;
  for (size_t i = 0; i < len; ++i) {
    if (++octets > kMaxArcOctets) return false;
    arc = (arc << 7) | (content[i] & 0x7f);
    if (content[i] & 0x80) continue;
    if (out.empty()) {
      // The first octet group carries two arcs: 40*x + y, x at most 2.
      const uint64_t x = arc < 80 ? arc / 40 : 2;
      if (arc - x * 40 > 0xffffffffu) return false;
      out.push_back(static_cast<uint32_t>(x));
      out.push_back(static_cast<uint32_t>(arc - x * 40));
    } else {
      if (arc > 0xffffffffu) return false;
      out.push_back(static_cast<uint32_t>(arc));
    }
    arc = 0;
    octets = 0;
  }
  *arcs = std::move(out);
  return true;
}

bool RequestTemplate::build(uint8_t pduTag, const std::string& community, const std::string& oid) {
  std::vector<uint8_t> name;
  if (!encodeOid(oid, &name)) return false;
  build(pduTag, community, name);
  return true;
}

void RequestTemplate::build(uint8_t pduTag, const std::string& community,
                            const std::vector<uint8_t>& name) {
  std::vector<uint8_t> binding = tlv(kOidTag, name);
  binding.push_back(kNull);
  binding.push_back(0);
  const std::vector<uint8_t> bindings = tlv(kSequence, tlv(kSequence, binding));

  std::vector<uint8_t> pdu = {kInteger, 4, 0, 0, 0, 0,  // request id, patched below
                              kInteger, 1, 0,           // error status
                              kInteger, 1, 0};          // error index
  pdu.insert(pdu.end(), bindings.begin(), bindings.end());

  std::vector<uint8_t> message = {kInteger, 1, kVersion2c};
  const std::vector<uint8_t> name_tlv =
      tlv(kOctetString, std::vector<uint8_t>(community.begin(), community.end()));
  message.insert(message.end(), name_tlv.begin(), name_tlv.end());
  const std::vector<uint8_t> pdu_tlv = tlv(pduTag, pdu);
  message.insert(message.end(), pdu_tlv.begin(), pdu_tlv.end());

  bytes_ = tlv(kSequence, message);
  // The PDU content ends the message; its first two octets are the id's
  // tag and length.
  idOffset_ = bytes_.size() - pdu.size() + 2;
  pduTag_ = pduTag;
  setRequestId(kMinRequestId);
}

void RequestTemplate::setRequestId(uint32_t id) {
  bytes_[idOffset_] = static_cast<uint8_t>(id >> 24);
  bytes_[idOffset_ + 1] = static_cast<uint8_t>(id >> 16);
  bytes_[idOffset_ + 2] = static_cast<uint8_t>(id >> 8);
  bytes_[idOffset_ + 3] = static_cast<uint8_t>(id);
}

bool readReply(const uint8_t* data, size_t len, Reply* out) {
  Cursor c(data, len);
  int64_t version, id, status, index;
  uint8_t tag;
  const uint8_t* content;
  size_t n;
  if (!c.enter(kSequence) || !c.integer(&version)) return false;
  if (!c.any(&tag, &content, &n) || tag != kOctetString) return false;
  // Any context-specific constructed PDU: echoed requests are read too.
  Cursor pduStart = c;
  if (!pduStart.header(&tag, &n) || (tag & 0xE0) != 0xA0) return false;
  if (!c.enter(tag)) return false;
  out->pduTag = tag;
  if (!c.integer(&id) || id < 0 || id > 0xffffffffLL) return false;
  if (!c.integer(&status) || status < INT32_MIN || status > INT32_MAX) return false;
  if (!c.integer(&index)) return false;
  if (!c.enter(kSequence) || !c.enter(kSequence)) return false;
  if (!c.any(&tag, &out->oid, &out->oidLen) || tag != kOidTag) return false;
  if (!c.any(&out->valueTag, &out->value, &out->valueLen)) return false;
  out->requestId = static_cast<uint32_t>(id);
  out->errorStatus = static_cast<int32_t>(status);
  return true;
}

}  // namespace bench
