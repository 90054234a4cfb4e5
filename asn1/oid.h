// OID: an SNMP object identifier, a sequence of unsigned 32-bit arcs.
//
// OID is a value type used as MIB-tree key, request name, table index and
// OBJECT IDENTIFIER payload.  It is a std::vector<unsigned int> with no other
// state, so the usual vector operations (size, [], insert, erase, pop_back)
// are available; an empty OID is legal.
//
// The as- and pop- families turn an instance suffix back into typed index
// values.  A pop- operation takes one key's arcs off the front of this OID
// and yields them as an OID; the matching as- operation decodes them.  All of
// them return false without touching their output (and, for pop-, without
// changing this OID) when the arcs don't fit, with one deliberate exception:
// asOID(OID*) (see there).
#ifndef ASN1_OID_H_
#define ASN1_OID_H_

#include <initializer_list>
#include <iosfwd>
#include <string>
#include <vector>

class OID : public std::vector<unsigned int> {
 public:
  OID() = default;
  OID(std::initializer_list<unsigned int> arcs);
  // Parses dotted text.  Never fails: a leading dot is accepted, a trailing
  // dot adds nothing, ".." is one separator, any other non-digit ends the
  // current arc (and is consumed), a non-digit where an arc should start
  // gives an arc 0 ("1.x.2" is 1.0.2, "abc" is 0.0.0), and arcs wrap
  // silently modulo 2^32.  Implicit so that registration code can pass text.
  OID(const std::string& text);  // NOLINT(runtime/explicit)
  OID(const char* text);         // NOLINT(runtime/explicit); null is empty

  // Text with a dot before every arc (".1.3.6"); "" for an empty OID.
  std::string str() const;

  OID& operator+=(unsigned int arc);
  OID& operator+=(const OID& arcs);
  OID operator+(unsigned int arc) const;
  OID operator+(const OID& arcs) const;

  // Compares this OID, limited to its first n arcs, with b: -1 or 1 at the
  // first differing arc; with no difference -1 if the limited part is
  // shorter than b, 0 if it is exactly b (this OID starts with b), 1 if it
  // is longer.
  int compare(const OID& b, unsigned int n) const;
  // True when the first prefix.size() arcs of this OID equal prefix.
  bool startsWith(const OID& prefix) const;
  // The arcs from index n to the end (empty when n >= size()).
  OID tail(unsigned int n) const;

  // Exactly one arc: yields it.
  bool asUnsigned(unsigned int* value) const;
  // Exactly four arcs, each below 256: yields arc0 + arc1*2^8 + arc2*2^16 +
  // arc3*2^24, i.e. the address bytes lie in memory in dotted order.
  bool asIP(unsigned int* addr) const;
  // Exactly n arcs: yields a copy.
  bool asOID(unsigned int n, OID* value) const;
  // Length-prefixed: when this OID is non-empty and its first arc is smaller
  // than the arc count, yields every arc after the first (all of them, not
  // only as many as the prefix names).  Otherwise returns true as well and
  // leaves value as it was: callers treat such a key as accepted and keep
  // their previous value.  Always returns true.
  bool asOID(OID* value) const;
  // Exactly n arcs, each below 256: yields those bytes.
  bool asString(unsigned int n, std::string* value) const;
  // Length-prefixed: first arc L smaller than the arc count, arcs 1..L each
  // below 256: yields those L bytes; arcs after L are ignored.
  bool asString(std::string* value) const;

  // At least n arcs: moves the first n into head.
  bool popOID(unsigned int n, OID* head);
  // First arc L smaller than the arc count: moves L+1 arcs (the length arc
  // included) into head.
  bool popOID(OID* head);
  // At least n arcs and the first n each below 256: moves them into head.
  bool popString(unsigned int n, OID* head);
  // Like popOID(OID*), and arcs 1..L must each be below 256.
  bool popString(OID* head);
  // At least four arcs, the first four each below 256: moves them into head.
  bool popIP(OID* head);
  // Moves the first arc into head; false only on an empty OID.
  bool popUnsigned(OID* head);
};

bool operator==(const OID& a, const OID& b);
bool operator!=(const OID& a, const OID& b);
// Lexicographic by unsigned arc, a proper prefix first: 1.3.6 < 1.3.6.0 <
// 1.3.7.  This is the order in which GetNext walks the MIB.
bool operator<(const OID& a, const OID& b);

// Writes the arcs separated by dots, without a leading dot ("1.3.6").
// Defined here, and only for whoever streams an OID: the daemon itself
// logs through stdio and links no iostreams (their locale machinery is
// about 400 KB of code).
template <class Char, class Traits>
std::basic_ostream<Char, Traits>& operator<<(std::basic_ostream<Char, Traits>& os, const OID& oid) {
  for (std::size_t i = 0; i < oid.size(); ++i) {
    if (i != 0) os << '.';
    os << oid[i];
  }
  return os;
}

// Comparator of every OID-keyed ordered map.
template <class T>
struct tree_node_comp;

template <>
struct tree_node_comp<OID> {
  bool operator()(const OID& a, const OID& b) const { return a < b; }
};

// The one-arc OID 0 that scalar leaves append to form their instance name.
// Built during static initialisation: don't read it from other static
// initialisers.
extern const OID ZERO_OID;

#endif  // ASN1_OID_H_
