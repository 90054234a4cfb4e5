// Plain text pieces of kx::message's one-line form (message::dump), kept
// apart from the JSON library so that programs which only log messages do
// not carry a JSON parser.
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
// s with every byte that does not start a valid UTF-8 sequence (overlong
// forms, surrogates and code points past U+10FFFF included) replaced by
// U+FFFD, so the result is always valid JSON string content.
std::string validUtf8(const std::string& s);

}  // namespace kx

#endif  // KX_MESSAGE_TEXT_H_
