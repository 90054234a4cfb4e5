// Wire constants of the BER subset that SNMP messages use.
#ifndef ASN1_BER_H_
#define ASN1_BER_H_

#include <cstddef>

namespace ber {

// Tags.
constexpr unsigned int kInteger = 0x02;
constexpr unsigned int kBitString = 0x03;
constexpr unsigned int kOctetString = 0x04;
constexpr unsigned int kNull = 0x05;
constexpr unsigned int kObjectId = 0x06;
constexpr unsigned int kSequence = 0x30;
constexpr unsigned int kIpAddress = 0x40;
constexpr unsigned int kCounter32 = 0x41;
constexpr unsigned int kGauge32 = 0x42;
constexpr unsigned int kTimeTicks = 0x43;
constexpr unsigned int kCounter64 = 0x46;
constexpr unsigned int kUInteger32 = 0x47;
constexpr unsigned int kGetRequest = 0xA0;
constexpr unsigned int kGetNextRequest = 0xA1;
constexpr unsigned int kResponse = 0xA2;
constexpr unsigned int kSetRequest = 0xA3;
constexpr unsigned int kGetBulkRequest = 0xA5;
constexpr unsigned int kReport = 0xA8;

// Length octets.
constexpr unsigned int kLongLengthBit = 0x80;  // long form; low 7 bits count
constexpr unsigned int kIndefiniteLength = 0x80;
constexpr unsigned int kMaxShortLength = 127;
// Input lengths of up to four octets are read: nothing longer fits a
// datagram, and more would overflow 32 bits.
constexpr unsigned int kMaxLengthOctets = 4;
// Output lengths take at most two octets (0x82 hi lo).
constexpr std::size_t kMaxEncodedLength = 65535;

// First two OID arcs share one octet: arc0 * 40 + arc1.
constexpr unsigned int kFirstArcFactor = 40;
// A bit string's leading octet counts the unused bits of its last octet.
constexpr unsigned int kMaxUnusedBits = 7;

}  // namespace ber

#endif  // ASN1_BER_H_
