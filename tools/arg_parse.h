// Parsers for kxctl's command-line words: numbers, bus paths and
// key=value fields.
//
// Every parser returns false on malformed input and then leaves a one-line
// reason in err that names the offending word; outputs are only written on
// success.
#ifndef TOOLS_ARG_PARSE_H_
#define TOOLS_ARG_PARSE_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "kx/message.h"

namespace kxctl {

// A bus path names a service, a handler and perhaps more; nothing on the
// bus goes deeper than a few levels, so a longer path is a typing error.
constexpr size_t kMaxPathElements = 8;

// A u32 written in decimal ("15") or hex ("0xfe0004").  Signs, spaces,
// empty text and values above 0xffffffff are refused.
bool parseU32(const std::string& text, uint32_t& value, std::string& err);

// A bus path: u32 elements separated by commas ("20,0", "34", "0x22,1").
bool parsePath(const std::string& text, std::vector<uint32_t>& path, std::string& err);

// The text form of a path, as parsePath reads it ("20,0").
std::string pathText(const std::vector<uint32_t>& path);

// True for the keys the transport itself uses (ids 0xff0000-0xffffff):
// destination and sender path, command, request id, reply and error
// fields.  The command line fills those itself, so users may not.
bool isTransportKey(uint32_t key);

// Adds fields written "key=value" to out: key is a typed key ("0x20000002"),
// value is bare for scalars or JSON for arrays and messages (kx/message_json.h).
// Refuses a word without '=', a malformed key, a transport key, a key given
// twice and a value that does not fit the key's type.
bool parseFields(const std::vector<std::string>& words, kx::message& out, std::string& err);

}  // namespace kxctl

#endif  // TOOLS_ARG_PARSE_H_
