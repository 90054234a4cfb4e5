#include "asn1/out_stream.h"

#include <arpa/inet.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "asn1/ber.h"

namespace {

void log(const char* text) { std::printf("SNMP OutStream: %s\n", text); }

// Most responses are a few hundred bytes: reserve 1 KiB once, the largest
// block the allocator recycles on its fast path, and grow beyond it only
// for large ones.
constexpr std::size_t kInitialCapacity = 1024;
// Constructed values a response nests at most, v3 included: the open
// sequences then fit one allocation.
constexpr std::size_t kUsualNesting = 8;
constexpr unsigned int kLength1Octet = 0x81;   // long form, one octet
constexpr unsigned int kLength2Octets = 0x82;  // long form, two octets
constexpr std::size_t kMaxOneOctetLength = 255;
constexpr unsigned int kOidGroupBits = 7;
constexpr std::uint8_t kOidMoreBit = 0x80;
constexpr unsigned int kMaxOneOctetArc = 0x7F;

// Number of octets of the minimal two's-complement form of the low n octets
// of v: drop the top octet while it and the next octet's top bit (nine bits)
// are all zeros or all ones.
unsigned int minimalOctets(unsigned long long v, unsigned int n) {
  while (n > 1) {
    const unsigned int top9 = (v >> (8 * n - 9)) & 0x1FF;
    if (top9 != 0 && top9 != 0x1FF) break;
    --n;
  }
  return n;
}

unsigned int arcOctets(unsigned int arc) {
  unsigned int n = 1;
  while (arc >>= kOidGroupBits) ++n;
  return n;
}

// The text's value as an unsigned 32-bit number: decimal, an optional sign,
// wrapping modulo 2^32 so that "-1" and "4294967295" both give 0xFFFFFFFF.
unsigned int decimal32(const char* text) {
  return static_cast<unsigned int>(std::strtoll(text, nullptr, 10));
}

}  // namespace

OutStream::OutStream() {
  data_.reserve(kInitialCapacity);
  open_seqs_.reserve(kUsualNesting);
}

void OutStream::reset() {
  data_.clear();
  open_seqs_.clear();
  marks_[kAuthParamsMark] = marks_[kScopedPduMark] = 0;
  error_status_pos_ = error_index_pos_ = 0;
}

void OutStream::startSeq(unsigned int tag) {
  data_.push_back(static_cast<std::uint8_t>(tag));
  data_.push_back(0);
  open_seqs_.push_back(data_.size());
}

void OutStream::endSeq() {
  if (open_seqs_.empty()) {
    log("no sequence");
    return;
  }
  const std::size_t p = open_seqs_.back();
  open_seqs_.pop_back();
  const std::size_t len = data_.size() - p;
  unsigned int widened = 0;
  if (len <= ber::kMaxShortLength) {
    data_[p - 1] = static_cast<std::uint8_t>(len);
  } else if (len <= kMaxOneOctetLength) {
    data_[p - 1] = kLength1Octet;
    data_.insert(data_.begin() + p, static_cast<std::uint8_t>(len));
    widened = 1;
  } else if (len <= ber::kMaxEncodedLength) {
    data_[p - 1] = kLength2Octets;
    const std::uint8_t octets[] = {static_cast<std::uint8_t>(len >> 8),
                                   static_cast<std::uint8_t>(len)};
    data_.insert(data_.begin() + p, octets, octets + 2);
    widened = 2;
  } else {
    log("sequence too long");
    return;
  }
  for (std::uint32_t& m : marks_) {
    if (m != 0 && m >= p) m += widened;
  }
}

void OutStream::append(const std::uint8_t* bytes, std::size_t n) {
  data_.insert(data_.end(), bytes, bytes + n);
}

void OutStream::truncate(std::size_t n) {
  if (n < data_.size()) data_.resize(n);
}

void OutStream::addLen(std::size_t n) {
  if (n <= ber::kMaxShortLength) {
    data_.push_back(static_cast<std::uint8_t>(n));
  } else if (n <= kMaxOneOctetLength) {
    data_.push_back(kLength1Octet);
    data_.push_back(static_cast<std::uint8_t>(n));
  } else {
    data_.push_back(kLength2Octets);
    data_.push_back(static_cast<std::uint8_t>(n >> 8));
    data_.push_back(static_cast<std::uint8_t>(n));
  }
}

void OutStream::addNumber(unsigned long long value, unsigned int n, unsigned int tag,
                          bool leading_zero) {
  data_.push_back(static_cast<std::uint8_t>(tag));
  addLen(n + (leading_zero ? 1 : 0));
  if (leading_zero) data_.push_back(0);
  for (unsigned int i = n; i > 0; --i) {
    data_.push_back(static_cast<std::uint8_t>(value >> (8 * (i - 1))));
  }
}

void OutStream::add(int value, unsigned int tag) {
  const std::uint32_t v = static_cast<std::uint32_t>(value);
  addNumber(v, minimalOctets(v, 4), tag, false);
}

void OutStream::add(unsigned int value, unsigned int tag) {
  if (value >> 31) {
    addNumber(value, 4, tag, true);
  } else {
    addNumber(value, minimalOctets(value, 4), tag, false);
  }
}

void OutStream::add(unsigned long long value, unsigned int tag) {
  if (value >> 63) {
    addNumber(value, 8, tag, true);
  } else {
    addNumber(value, minimalOctets(value, 8), tag, false);
  }
}

void OutStream::add(const unsigned char* bytes, unsigned int len, unsigned int tag) {
  data_.push_back(static_cast<std::uint8_t>(tag));
  addLen(len);
  data_.insert(data_.end(), bytes, bytes + len);
}

void OutStream::add(const std::string& bytes, unsigned int tag) {
  add(reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<unsigned int>(bytes.size()),
      tag);
}

void OutStream::addNull(unsigned int tag) {
  data_.push_back(static_cast<std::uint8_t>(tag));
  data_.push_back(0);
}

void OutStream::addOID(const OID& oid, unsigned int tag) {
  if (oid.size() < 2) {
    log("cannot encode OID shorter that 2");
    return;
  }
  if (oid[0] > 2 || oid[1] >= ber::kFirstArcFactor) {
    log("encoding invalid OID");
    return;
  }
  // The content length is known before the content is written, so the
  // arcs go straight into the message.
  std::size_t len = 1;
  for (std::size_t i = 2; i < oid.size(); ++i) len += arcOctets(oid[i]);
  data_.push_back(static_cast<std::uint8_t>(tag));
  addLen(len);
  const std::size_t at = data_.size();
  data_.resize(at + len);
  std::uint8_t* out = data_.data() + at;
  *out++ = static_cast<std::uint8_t>(oid[0] * ber::kFirstArcFactor + oid[1]);
  for (std::size_t i = 2; i < oid.size(); ++i) {
    const unsigned int arc = oid[i];
    if (arc <= kMaxOneOctetArc) {  // the usual case
      *out++ = static_cast<std::uint8_t>(arc);
      continue;
    }
    for (unsigned int g = arcOctets(arc); g > 0; --g) {
      std::uint8_t b = (arc >> (kOidGroupBits * (g - 1))) & 0x7F;
      if (g > 1) b |= kOidMoreBit;
      *out++ = b;
    }
  }
}

void OutStream::addBits(const unsigned char* bytes, unsigned int len, unsigned int tag) {
  if (len == 0 || bytes[0] > ber::kMaxUnusedBits) {
    log("building invalid bitstring");
    return;
  }
  add(bytes, len, tag);
}

void OutStream::addByType(const std::string& text, unsigned int type) {
  const char* t = text.c_str();  // the value ends at the first NUL
  switch (type) {
    case ber::kInteger:
      add(static_cast<int>(decimal32(t)), type);
      break;
    case ber::kOctetString:
      add(std::string(t), type);
      break;
    case ber::kNull:
      addNull(type);
      break;
    case ber::kObjectId:
      addOID(OID(t), type);
      break;
    case ber::kIpAddress:
      // Deliberately the minimal unsigned form, not four fixed octets.
      add(static_cast<unsigned int>(ntohl(inet_addr(t))), type);
      break;
    case ber::kCounter32:
    case ber::kTimeTicks:
    case ber::kUInteger32:
      add(decimal32(t), type);
      break;
    default:
      break;  // no value: the binding keeps its name only
  }
}

void OutStream::addVarBind(const VariableBinding& vb) {
  startSeq(ber::kSequence);
  addOID(vb.name, ber::kObjectId);
  addByType(vb.value, vb.type);
  endSeq();
}

void OutStream::addErrorPlaceholder(std::uint32_t* position, unsigned int value) {
  if (*position == 0) {
    data_.push_back(ber::kInteger);
    data_.push_back(1);
    data_.push_back(0);
    *position = static_cast<std::uint32_t>(data_.size() - 1);
  }
  data_[*position] = static_cast<std::uint8_t>(value);
}

void OutStream::addErrorStatus(unsigned int value) {
  addErrorPlaceholder(&error_status_pos_, value);
}

void OutStream::addErrorIndex(unsigned int value) { addErrorPlaceholder(&error_index_pos_, value); }
