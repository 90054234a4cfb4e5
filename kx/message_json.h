// Text forms of kx::message used by scenario files, kxctl and journals.
//
// A message is a JSON object whose keys are typed keys in hex
// ("0x08fe0001").  Values by type: bool true/false; u32 a number or a
// dotted quad ("192.0.2.1" = 0xC0000201); u64 a number; string a string;
// raw hex with optional colons ("4c:5e:0c:00:00:01"); message an object;
// arrays a JSON array of those.
#ifndef KX_MESSAGE_JSON_H_
#define KX_MESSAGE_JSON_H_

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

#include "kx/message.h"
#include "kx/message_text.h"  // keyText, used with these forms

namespace kx {

// Parses a typed key ("0x08fe0001" or decimal).  False when malformed.
bool parseKey(const std::string& text, uint32_t& key);
// Converts one JSON value to the field key of out.  On failure returns
// false with a reason in err ("expected a u32 (number or dotted quad)").
bool setFieldFromJson(message& out, uint32_t key, const nlohmann::json& v, std::string& err);
// Converts a JSON object to a message; err names the offending key.
bool messageFromJson(const nlohmann::json& j, message& out, std::string& err);
// Bare text forms as typed on a command line: "15", "192.0.2.1", "true",
// "text", "4c:5e:0c:00:00:01"; arrays and messages as JSON.  Like
// setFieldFromJson, err gets the reason only (the caller knows the key).
bool setFieldFromText(message& out, uint32_t key, const std::string& text, std::string& err);
// The JSON form (object keys come out sorted).  String fields that are not
// valid UTF-8 get U+FFFD for each bad byte, so dump() never throws.
nlohmann::json messageToJson(const message& m);
// One line of JSON text with the fields in insertion order: m.dump().
std::string dumpText(const message& m);

}  // namespace kx

#endif  // KX_MESSAGE_JSON_H_
