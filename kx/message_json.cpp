#include "kx/message_json.h"

#include <cstdio>
#include <limits>

#include "kx/message_field.h"

namespace kx {

using nlohmann::json;

namespace {

constexpr uint32_t kU32Max = std::numeric_limits<uint32_t>::max();

// A short, quoted rendering of an offending value for error texts.
std::string shown(const json& v) {
  constexpr size_t kMaxShown = 40;
  std::string s = v.dump(-1, ' ', false, json::error_handler_t::replace);
  if (s.size() > kMaxShown) s = s.substr(0, kMaxShown) + "...";
  return s;
}

const char* expected(uint32_t scalarType) {
  switch (scalarType) {
    case kTypeBool:
      return "a bool (true or false)";
    case kTypeU32:
      return "a u32 (number or dotted quad)";
    case kTypeU64:
      return "a u64 (number)";
    case kTypeString:
      return "a string";
    case kTypeRaw:
      return "raw bytes (hex, colons allowed)";
    case kTypeMessage:
      return "a message (object)";
    default:
      return "a known type";
  }
}

// Forward declarations for nested messages.  depth counts the messages
// enclosing the one being read; deeper than kMaxNesting could never be
// sent, and refusing it also bounds the recursion on hostile files.
bool messageFrom(const json& j, message& out, std::string& err, int depth);
bool fieldFrom(message& out, uint32_t key, const json& v, std::string& err, int depth);

bool u32From(const json& v, uint32_t& out) {
  if (v.is_number_unsigned()) {
    if (v.get<uint64_t>() > kU32Max) return false;
    out = static_cast<uint32_t>(v.get<uint64_t>());
    return true;
  }
  if (v.is_number_integer()) return false;  // negative
  if (v.is_string()) return parseDottedQuad(v.get_ref<const std::string&>(), out);
  return false;
}

bool u64From(const json& v, uint64_t& out) {
  if (!v.is_number_unsigned()) return false;
  out = v.get<uint64_t>();
  return true;
}

bool rawFrom(const json& v, message::raw& out) {
  return v.is_string() && parseHex(v.get_ref<const std::string&>(), out);
}

// One scalar of the given type.  err gets the reason on failure, without
// the key (the caller prefixes it).
template <typename T>
bool scalarFrom(const json& v, uint32_t scalarType, T& out, std::string& err, int depth = 0);

template <>
bool scalarFrom(const json& v, uint32_t t, bool& out, std::string& err, int) {
  if (v.is_boolean()) return out = v.get<bool>(), true;
  err = std::string("expected ") + expected(t) + ", got " + shown(v);
  return false;
}
template <>
bool scalarFrom(const json& v, uint32_t t, uint32_t& out, std::string& err, int) {
  if (u32From(v, out)) return true;
  err = std::string("expected ") + expected(t) + ", got " + shown(v);
  return false;
}
template <>
bool scalarFrom(const json& v, uint32_t t, uint64_t& out, std::string& err, int) {
  if (u64From(v, out)) return true;
  err = std::string("expected ") + expected(t) + ", got " + shown(v);
  return false;
}
template <>
bool scalarFrom(const json& v, uint32_t t, std::string& out, std::string& err, int) {
  if (v.is_string()) return out = v.get<std::string>(), true;
  err = std::string("expected ") + expected(t) + ", got " + shown(v);
  return false;
}
template <>
bool scalarFrom(const json& v, uint32_t t, message::raw& out, std::string& err, int) {
  if (rawFrom(v, out)) return true;
  err = std::string("expected ") + expected(t) + ", got " + shown(v);
  return false;
}
template <>
bool scalarFrom(const json& v, uint32_t t, message& out, std::string& err, int depth) {
  if (!v.is_object()) {
    err = std::string("expected ") + expected(t) + ", got " + shown(v);
    return false;
  }
  if (depth >= kMaxNesting) {
    err = "messages nested deeper than " + std::to_string(kMaxNesting);
    return false;
  }
  return messageFrom(v, out, err, depth + 1);
}

template <typename T>
bool arrayFrom(const json& v, uint32_t scalarType, std::vector<T>& out, std::string& err,
               int depth) {
  if (!v.is_array()) {
    err = std::string("expected an array of ") + expected(scalarType) + ", got " + shown(v);
    return false;
  }
  out.clear();
  out.reserve(v.size());
  for (size_t i = 0; i < v.size(); ++i) {
    T e{};
    std::string why;
    if (!scalarFrom(v[i], scalarType, e, why, depth)) {
      err = "element " + std::to_string(i) + ": " + why;
      return false;
    }
    out.push_back(std::move(e));
  }
  return true;
}

bool messageFrom(const json& j, message& out, std::string& err, int depth) {
  if (!j.is_object()) {
    err = "expected a message (object), got " + shown(j);
    return false;
  }
  message m;
  for (auto it = j.begin(); it != j.end(); ++it) {
    uint32_t key;
    if (!parseKey(it.key(), key)) {
      err = "\"" + validUtf8(it.key()) + "\": not a typed key (like \"0x08fe0001\")";
      return false;
    }
    std::string why;
    if (!fieldFrom(m, key, it.value(), why, depth)) {
      // Nested failures already start with their own key.
      err = keyText(key) + (why.rfind("0x", 0) == 0 ? " > " : ": ") + why;
      return false;
    }
  }
  out = std::move(m);
  return true;
}

bool fieldFrom(message& out, uint32_t key, const json& v, std::string& err, int depth) {
  const uint32_t type = keyType(key);
  const uint32_t scalar = type & ~kArrayBit;
  bool ok = false;
  // clang-format off
  switch (type) {
    case kTypeBool: { bool x; if ((ok = scalarFrom(v, scalar, x, err, depth))) out.setBool(key, x); break; }
    case kTypeU32: { uint32_t x; if ((ok = scalarFrom(v, scalar, x, err, depth))) out.setU32(key, x); break; }
    case kTypeU64: { uint64_t x; if ((ok = scalarFrom(v, scalar, x, err, depth))) out.setU64(key, x); break; }
    case kTypeString: { std::string x; if ((ok = scalarFrom(v, scalar, x, err, depth))) out.setString(key, x); break; }
    case kTypeRaw: { message::raw x; if ((ok = scalarFrom(v, scalar, x, err, depth))) out.setRaw(key, x); break; }
    case kTypeMessage: { message x; if ((ok = scalarFrom(v, scalar, x, err, depth))) out.setMessage(key, x); break; }
    case kArrayBit | kTypeU32: { std::vector<uint32_t> x; if ((ok = arrayFrom(v, scalar, x, err, depth))) out.setU32Array(key, x); break; }
    case kArrayBit | kTypeU64: { std::vector<uint64_t> x; if ((ok = arrayFrom(v, scalar, x, err, depth))) out.setU64Array(key, x); break; }
    case kArrayBit | kTypeString: { std::vector<std::string> x; if ((ok = arrayFrom(v, scalar, x, err, depth))) out.setStringArray(key, x); break; }
    case kArrayBit | kTypeRaw: { std::vector<message::raw> x; if ((ok = arrayFrom(v, scalar, x, err, depth))) out.setRawArray(key, x); break; }
    case kArrayBit | kTypeMessage: { std::vector<message> x; if ((ok = arrayFrom(v, scalar, x, err, depth))) out.setMessageArray(key, x); break; }
    default: err = "unknown type tag in key " + keyText(key); break;
  }
  // clang-format on
  return ok;
}

}  // namespace

bool parseKey(const std::string& text, uint32_t& key) {
  // Eight hex digits at most: a typed key is written in full or not at all.
  const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
  uint64_t v;
  if ((hex && text.size() > 10) || !parseNumber(text, kU32Max, v)) return false;
  const uint32_t k = static_cast<uint32_t>(v);
  if (!validKeyType(keyType(k))) return false;  // a tag no field can have
  key = k;
  return true;
}

bool setFieldFromJson(message& out, uint32_t key, const json& v, std::string& err) {
  return fieldFrom(out, key, v, err, 0);
}

bool messageFromJson(const json& j, message& out, std::string& err) {
  return messageFrom(j, out, err, 0);
}

bool setFieldFromText(message& out, uint32_t key, const std::string& text, std::string& err) {
  const uint32_t type = keyType(key);
  json v;
  if ((type & kArrayBit) || type == kTypeMessage) {
    v = json::parse(text, nullptr, false);
    if (v.is_discarded()) {
      err = std::string("expected JSON (") + (type == kTypeMessage ? "an object" : "an array") +
            "), got \"" + validUtf8(text) + "\"";
      return false;
    }
  } else if (type == kTypeBool) {
    if (text == "true" || text == "1")
      v = true;
    else if (text == "false" || text == "0")
      v = false;
    else
      v = text;
  } else if (type == kTypeU32 || type == kTypeU64) {
    uint64_t n;
    v = parseDecimal(text, std::numeric_limits<uint64_t>::max(), n) ? json(n) : json(text);
  } else {
    v = text;  // string and raw are taken as typed
  }
  return setFieldFromJson(out, key, v, err);
}

namespace {

// Json is nlohmann::json (keys sorted) or ordered_json (insertion order).
template <typename Json>
Json toJson(const message& m) {
  Json j = Json::object();
  for (size_t i = 0; i < m.size(); ++i) {
    const uint32_t key = m.keyAt(i);
    Json& v = j[keyText(key)];
    switch (keyType(key)) {
      case kTypeBool:
        v = m.getBool(key);
        break;
      case kTypeU32:
        v = m.getU32(key);
        break;
      case kTypeU64:
        v = m.getU64(key);
        break;
      case kTypeString:
        v = validUtf8(*m.findString(key));
        break;
      case kTypeRaw:
        v = hexText(*m.findRaw(key));
        break;
      case kTypeMessage:
        v = toJson<Json>(*m.findMessage(key));
        break;
      case kArrayBit | kTypeU32:
        v = *m.findU32Array(key);
        break;
      case kArrayBit | kTypeU64:
        v = m.getU64Array(key);
        break;
      case kArrayBit | kTypeString:
        v = Json::array();
        for (const std::string& s : m.getStringArray(key)) v.push_back(validUtf8(s));
        break;
      case kArrayBit | kTypeRaw:
        v = Json::array();
        for (const message::raw& r : m.getRawArray(key)) v.push_back(hexText(r));
        break;
      case kArrayBit | kTypeMessage:
        v = Json::array();
        for (const message& e : *m.findMessageArray(key)) v.push_back(toJson<Json>(e));
        break;
      default:
        break;
    }
  }
  return j;
}

}  // namespace

nlohmann::json messageToJson(const message& m) { return toJson<json>(m); }

std::string dumpText(const message& m) { return m.dump(); }

}  // namespace kx
