// The local engine ID: the agent's configured text behind the RFC 3411
// prefix of enterprise 32473, format 4 (text).
#ifndef USM_ENGINE_ID_H_
#define USM_ENGINE_ID_H_

#include <string>

// 0x80 0x00 0x7e 0xd9 (enterprise 32473 with the top bit set), then 0x04.
constexpr char kEngineIdPrefix[] = "\x80\x00\x7e\xd9\x04";
constexpr std::size_t kEngineIdPrefixLength = sizeof kEngineIdPrefix - 1;

// The engine ID of text: the prefix, then the text.
std::string formatEngineID(const std::string& text);
// The text part of id: id without its first five octets (all of a shorter
// id).  deformatEngineID(formatEngineID(t)) == t.
std::string deformatEngineID(const std::string& id);

#endif  // USM_ENGINE_ID_H_
