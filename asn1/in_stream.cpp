#include "asn1/in_stream.h"

#include <climits>
#include <cstdio>
#include <string>

#include "asn1/ber.h"

namespace {

void log(const char* text) { std::printf("SNMP InStream: %s\n", text); }

// An INTEGER of 32 bits takes four octets, or five when it is an unsigned
// value with its top bit set (a leading 0 is added).
constexpr std::uint32_t kMaxIntOctets = 4;
constexpr std::uint32_t kMaxUnsignedIntOctets = kMaxIntOctets + 1;
constexpr std::uint32_t kMaxCounter64Octets = 8;
constexpr unsigned int kOidGroupBits = 7;
constexpr std::uint8_t kOidMoreBit = 0x80;
constexpr std::uint8_t kOidGroupMask = 0x7F;
// Constructed values a v3 message nests at most (message, security and
// scoped PDU, PDU, binding list, binding); deeper input still works, it
// only grows the stack.
constexpr std::size_t kUsualNesting = 8;

}  // namespace

InStream::InStream(const unsigned char* data, unsigned int len)
    : size_(len), copy_(data, data + len) {
  data_ = copy_.data();
  seq_ends_.reserve(kUsualNesting);
}

InStream::InStream(const InStream& other) { *this = other; }

InStream& InStream::operator=(const InStream& other) {
  if (this == &other) return *this;
  copy_.assign(other.data_, other.data_ + other.size_);
  data_ = copy_.data();
  size_ = other.size_;
  seq_ends_ = other.seq_ends_;
  cursor_ = other.cursor_;
  version_ = other.version_;
  version_read_ = other.version_read_;
  return *this;
}

void InStream::view(unsigned char* data, std::size_t len) {
  data_ = data;
  size_ = len;
  seq_ends_.clear();
  if (seq_ends_.capacity() == 0) seq_ends_.reserve(kUsualNesting);
  cursor_ = 0;
  version_ = -1;
  version_read_ = false;
}

int InStream::getType() const { return cursor_ < size_ ? data_[cursor_] : -1; }

bool InStream::readLen(std::size_t* pos, std::uint32_t* len) const {
  std::size_t p = *pos;
  if (p >= size_) return false;
  const std::uint8_t first = data_[p++];
  if (first < ber::kLongLengthBit) {
    *len = first;
    *pos = p;
    return true;
  }
  if (first == ber::kIndefiniteLength) {
    log("we don't support indefinite lengths");
    return false;
  }
  const unsigned int count = first & ~ber::kLongLengthBit;
  if (count > ber::kMaxLengthOctets) {
    log("we can't support data lengths that long");
    return false;
  }
  if (count > size_ - p) {
    log("malformed in getLen");
    return false;
  }
  std::uint32_t value = 0;
  for (unsigned int i = 0; i < count; ++i) value = (value << 8) | data_[p++];
  *len = value;
  *pos = p;
  return true;
}

int InStream::getLen() {
  std::size_t pos = cursor_;
  std::uint32_t len = 0;
  if (!readLen(&pos, &len) || len > INT_MAX) return -1;
  cursor_ = pos;
  return static_cast<int>(len);
}

InStream::Header InStream::readHeader(std::size_t* start, std::uint32_t* len) const {
  if (cursor_ >= size_) return Header::kFailed;
  std::size_t pos = cursor_ + 1;  // the tag is not looked at
  std::uint32_t n = 0;
  if (pos < size_ && data_[pos] < ber::kLongLengthBit) {
    n = data_[pos++];  // the short form, nearly every length of a request
  } else if (!readLen(&pos, &n)) {
    return Header::kFailed;
  }
  *start = pos;
  *len = n;
  return n > size_ - pos ? Header::kOverflow : Header::kOk;
}

bool InStream::readContent(std::size_t* start, std::uint32_t* len, const char* overflow_msg) const {
  const Header h = readHeader(start, len);
  if (h == Header::kOverflow) log(overflow_msg);
  return h == Header::kOk;
}

int InStream::enterSeq() {
  std::size_t start = 0;
  std::uint32_t len = 0;
  if (readHeader(&start, &len) != Header::kOk) return -1;
  seq_ends_.push_back(start + len);
  cursor_ = start;
  return static_cast<int>(len);
}

void InStream::exitSeq() {
  if (seq_ends_.empty()) {
    log("exitSeq when seqEndp is empty!");
    return;
  }
  cursor_ = seq_ends_.back();
  seq_ends_.pop_back();
}

bool InStream::atSeqEnd() const {
  const std::size_t end = seq_ends_.empty() ? size_ : seq_ends_.back();
  return cursor_ >= end;
}

bool InStream::getInt(int* value) {
  std::size_t start = 0;
  std::uint32_t len = 0;
  if (!readContent(&start, &len, "get int overflow of message")) return false;
  if (len > kMaxUnsignedIntOctets) {
    log("I don't support such large integers");
    return false;
  }
  std::size_t p = start;
  std::uint32_t v = 0;
  if (len == kMaxUnsignedIntOctets) {
    if (data_[p] != 0) {
      log("I don't support such large integers 2");
      return false;
    }
    ++p;  // the leading 0 of an unsigned value
  } else if (len > 0 && (data_[p] & 0x80) != 0) {
    v = 0xFFFFFFFFu;  // sign extension
  }
  for (; p < start + len; ++p) v = (v << 8) | data_[p];
  *value = static_cast<int>(v);
  cursor_ = start + len;
  return true;
}

bool InStream::get64(unsigned long long* value) {
  std::size_t start = 0;
  std::uint32_t len = 0;
  if (!readContent(&start, &len, "get 64 overflow of message")) return false;
  if (len > kMaxCounter64Octets) {
    log("invalig counter64 size");
    return false;
  }
  unsigned long long v = 0;
  for (std::size_t p = start; p < start + len; ++p) v = (v << 8) | data_[p];
  *value = v;
  cursor_ = start + len;
  return true;
}

bool InStream::getString(std::string* value) {
  std::size_t start = 0;
  std::uint32_t len = 0;
  if (!readContent(&start, &len, "get string overflow of message")) {
    return false;
  }
  value->assign(data_ + start, data_ + start + len);
  cursor_ = start + len;
  return true;
}

bool InStream::getOID(OID* value) {
  std::size_t start = 0;
  std::uint32_t len = 0;
  const Header h = readHeader(&start, &len);
  if (h == Header::kOverflow) {
    std::printf("SNMP InStream: get oid overflow of message%zu %u %zu\n", start, len, size_);
  }
  if (h != Header::kOk) return false;

  // An arc whose last content octet still has its top bit set goes on into
  // the following bytes, up to the first octet without it; there must be
  // one before the end of the data.  Checked first, so that a failure
  // leaves the output as it was.
  std::size_t end = start + len;
  if (len > 1 && (data_[end - 1] & kOidMoreBit) != 0) {
    while (end < size_ && (data_[end] & kOidMoreBit) != 0) ++end;
    if (end >= size_) {
      log("malformed oid");
      return false;
    }
    ++end;
  }

  // Decoded into the caller's OID, whose storage is reused.
  value->clear();
  value->reserve(end - start + 1);  // never more arcs than octets plus one
  if (len == 0) {
    value->push_back(0);
    value->push_back(0);
  } else {
    const std::uint8_t first = data_[start];
    value->push_back(first / ber::kFirstArcFactor);
    value->push_back(first % ber::kFirstArcFactor);
    unsigned int arc = 0;
    for (std::size_t p = start + 1; p < end; ++p) {
      const std::uint8_t b = data_[p];
      arc = (arc << kOidGroupBits) | (b & kOidGroupMask);
      if ((b & kOidMoreBit) == 0) {
        value->push_back(arc);
        arc = 0;
      }
    }
  }
  cursor_ = end;
  return true;
}

bool InStream::getNull() {
  std::size_t start = 0;
  std::uint32_t len = 0;
  const Header h = readHeader(&start, &len);
  if (h == Header::kFailed) return false;
  if (len != 0) {
    log("malformed null");
    return false;
  }
  cursor_ = start;
  return true;
}

bool InStream::getBits(std::vector<unsigned char>* value) {
  std::size_t start = 0;
  std::uint32_t len = 0;
  if (!readContent(&start, &len, "get bits overflow of message")) return false;
  if (len == 0 || data_[start] > ber::kMaxUnusedBits) {
    log("Invalid bitstring");
    return false;
  }
  value->assign(data_ + start, data_ + start + len);
  cursor_ = start + len;
  return true;
}

int InStream::getVersion() {
  if (!version_read_) {
    version_read_ = true;
    int version = -1;
    if (enterSeq() < 0 || !getInt(&version)) version = -1;
    version_ = version;
  }
  return version_;
}

void InStream::truncate(std::size_t n) {
  if (n >= size_) return;
  size_ = n;
  if (cursor_ > n) cursor_ = n;
}

void InStream::reset() {
  seq_ends_.clear();
  cursor_ = 0;
}

void hexdump(const void* data, unsigned int n) {
  constexpr unsigned int kBytesPerLine = 16;
  const unsigned char* bytes = static_cast<const unsigned char*>(data);
  for (unsigned int i = 0; i < n; ++i) {
    std::printf("%02x ", bytes[i]);
    if ((i + 1) % kBytesPerLine == 0) std::putchar('\n');
  }
  std::putchar('\n');
}
