#include "asn1/oid.h"

#include <algorithm>
#include <cstring>

namespace {

// Largest arc that can stand for one byte of a string or address key.
constexpr unsigned int kMaxByteArc = 255;
constexpr unsigned int kIpArcs = 4;

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// Whether arcs [from, to) of oid all fit in a byte.
bool allBytes(const OID& oid, std::size_t from, std::size_t to) {
  for (std::size_t i = from; i < to; ++i) {
    if (oid[i] > kMaxByteArc) return false;
  }
  return true;
}

// Whether oid starts with a length arc L that leaves room for L more arcs.
bool hasLengthPrefix(const OID& oid) { return !oid.empty() && oid[0] < oid.size(); }

void parse(const char* text, std::size_t len, OID* out) {
  std::size_t pos = 0;
  while (pos < len) {
    unsigned int value = 0;
    if (text[pos] == '.') ++pos;
    while (pos < len && isDigit(text[pos])) {
      // Wraps modulo 2^32 by design: the parser has no error path.
      value = value * 10u + static_cast<unsigned int>(text[pos] - '0');
      ++pos;
    }
    out->push_back(value);
    ++pos;  // the character that ended the arc is consumed
  }
}

}  // namespace

const OID ZERO_OID("0");

OID::OID(std::initializer_list<unsigned int> arcs) : std::vector<unsigned int>(arcs) {}

OID::OID(const std::string& text) { parse(text.data(), text.size(), this); }

OID::OID(const char* text) {
  if (text != nullptr) parse(text, std::strlen(text), this);
}

std::string OID::str() const {
  std::string text;
  for (unsigned int arc : *this) {
    text += '.';
    text += std::to_string(arc);
  }
  return text;
}

OID& OID::operator+=(unsigned int arc) {
  push_back(arc);
  return *this;
}

OID& OID::operator+=(const OID& arcs) {
  if (&arcs == this) {
    // Appending to itself: the arcs' storage may move as this OID grows.
    const size_type n = size();
    reserve(2 * n);
    for (size_type i = 0; i < n; ++i) push_back((*this)[i]);
  } else {
    insert(end(), arcs.begin(), arcs.end());
  }
  return *this;
}

OID OID::operator+(unsigned int arc) const {
  OID sum(*this);
  sum += arc;
  return sum;
}

OID OID::operator+(const OID& arcs) const {
  OID sum(*this);
  sum += arcs;
  return sum;
}

int OID::compare(const OID& b, unsigned int n) const {
  const std::size_t span = std::min<std::size_t>(n, size());
  const std::size_t common = std::min(span, b.size());
  for (std::size_t i = 0; i < common; ++i) {
    if ((*this)[i] != b[i]) return (*this)[i] < b[i] ? -1 : 1;
  }
  if (span < b.size()) return -1;
  return span == b.size() ? 0 : 1;
}

bool OID::startsWith(const OID& prefix) const {
  return prefix.size() <= size() && std::equal(prefix.begin(), prefix.end(), begin());
}

OID OID::tail(unsigned int n) const {
  OID rest;
  if (n < size()) rest.assign(begin() + n, end());
  return rest;
}

bool OID::asUnsigned(unsigned int* value) const {
  if (size() != 1) return false;
  *value = (*this)[0];
  return true;
}

bool OID::asIP(unsigned int* addr) const {
  if (size() != kIpArcs || !allBytes(*this, 0, kIpArcs)) return false;
  const OID& a = *this;
  *addr = a[0] | (a[1] << 8) | (a[2] << 16) | (a[3] << 24);
  return true;
}

bool OID::asOID(unsigned int n, OID* value) const {
  if (size() != n) return false;
  *value = *this;
  return true;
}

bool OID::asOID(OID* value) const {
  // A key without a usable length prefix is accepted as it is: the caller
  // keeps its previous value.
  if (!hasLengthPrefix(*this)) return true;
  *value = tail(1);
  return true;
}

bool OID::asString(unsigned int n, std::string* value) const {
  if (size() != n || !allBytes(*this, 0, n)) return false;
  value->assign(begin(), end());
  return true;
}

bool OID::asString(std::string* value) const {
  if (!hasLengthPrefix(*this)) return false;
  const std::size_t len = (*this)[0];
  if (!allBytes(*this, 1, len + 1)) return false;
  value->assign(begin() + 1, begin() + 1 + len);
  return true;
}

bool OID::popOID(unsigned int n, OID* head) {
  if (size() < n) return false;
  OID taken;
  taken.assign(begin(), begin() + n);
  erase(begin(), begin() + n);
  *head = std::move(taken);
  return true;
}

bool OID::popOID(OID* head) {
  if (!hasLengthPrefix(*this)) return false;
  return popOID((*this)[0] + 1, head);
}

bool OID::popString(unsigned int n, OID* head) {
  if (size() < n || !allBytes(*this, 0, n)) return false;
  return popOID(n, head);
}

bool OID::popString(OID* head) {
  if (!hasLengthPrefix(*this)) return false;
  const std::size_t len = (*this)[0];
  if (!allBytes(*this, 1, len + 1)) return false;
  return popOID((*this)[0] + 1, head);
}

bool OID::popIP(OID* head) { return popString(kIpArcs, head); }

bool OID::popUnsigned(OID* head) { return popOID(1, head); }

bool operator==(const OID& a, const OID& b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin());
}

bool operator!=(const OID& a, const OID& b) { return !(a == b); }

bool operator<(const OID& a, const OID& b) {
  // The first differing arc decides (one comparison per arc of the common
  // prefix, which MIB keys share for most of their length); with none, the
  // shorter is smaller.
  const std::size_t common = std::min(a.size(), b.size());
  const auto diff = std::mismatch(a.begin(), a.begin() + common, b.begin());
  if (diff.first != a.begin() + common) return *diff.first < *diff.second;
  return a.size() < b.size();
}
