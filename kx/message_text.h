// Plain text forms of message keys and values: the pieces of
// kx::message's one-line form (message::dump) and the parsers of the
// values people type (scenario files, kxctl words), kept apart from the
// JSON library so that programs which only log messages do not carry a
// JSON parser.
//
// Every parser takes the whole text or nothing: no signs, spaces or
// trailing characters, and its output is written only on success.
#ifndef KX_MESSAGE_TEXT_H_
#define KX_MESSAGE_TEXT_H_

#include <cstdint>
#include <string>

#include "kx/message.h"

namespace kx {

// "0x08fe0001": eight lower-case hex digits.
std::string keyText(uint32_t key);
// Raw bytes as lower-case hex pairs joined by colons ("4c:5e:0c"); empty
// for no bytes.
std::string hexText(const message::raw& r);
// Decimal digits only, at most max.
bool parseDecimal(const std::string& text, uint64_t max, uint64_t& value);
// Decimal, or hex after "0x"/"0X", at most max.  tooLarge, when given, is
// set when the digits are well formed but the value exceeds max.
bool parseNumber(const std::string& text, uint64_t max, uint64_t& value, bool* tooLarge = nullptr);
// Four decimal octets 0-255 separated by dots, without leading zeros
// ("192.0.2.1"; not "010.0.0.1" nor " 10.0.0.1").  value has the first
// octet most significant (0xC0000201), as u32 fields carry addresses.
bool parseDottedQuad(const std::string& text, uint32_t& value);
// The dotted quad of a value whose first octet is the most significant.
std::string dottedQuadText(uint32_t value);
// Hex pairs, colons allowed between whole octets only ("4c:5e:0c" or
// "4c5e0c"); empty text is no bytes.
bool parseHex(const std::string& text, message::raw& bytes);
// s with every byte that does not start a valid UTF-8 sequence (overlong
// forms, surrogates and code points past U+10FFFF included) replaced by
// U+FFFD, so the result is always valid JSON string content.
std::string validUtf8(const std::string& s);

}  // namespace kx

#endif  // KX_MESSAGE_TEXT_H_
