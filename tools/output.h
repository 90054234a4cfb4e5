// How kxctl prints what the bus answers.
//
// Every reply, event and list prints as one line of JSON whose keys are
// typed keys in hex ("0x08fe0001": 1), so a script can read kxctl's
// standard output line by line.  Strings that are not valid UTF-8 print
// with U+FFFD in place of the bad bytes instead of failing.
#ifndef TOOLS_OUTPUT_H_
#define TOOLS_OUTPUT_H_

#include <cstdint>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string>
#include <vector>

#include "kx/message.h"

namespace kxctl {

// A reply without the transport's bookkeeping: every field with an id in
// 0xff0000-0xffffff (paths, command, request id, reply and error fields)
// is left out.
nlohmann::json replyJson(const kx::message& reply);

// An event as a subscriber receives it: keeps the command (the event kind)
// and the sender path (the publisher), drops the other transport fields.
nlohmann::json eventJson(const kx::message& event);

// A whole list as getall prints it: a JSON array of the objects in order.
nlohmann::json listJson(const std::vector<kx::message>& objects);

// Writes j compactly on one line and flushes, so a reader on a pipe sees
// each line as soon as it is complete.
void writeJsonLine(std::ostream& out, const nlohmann::json& j);

// "error 0xfe0006: <text>" for an error reply.
std::string errorLine(const kx::message& reply);

}  // namespace kxctl

#endif  // TOOLS_OUTPUT_H_
