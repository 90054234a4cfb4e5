#include "kx/message_text.h"

#include <cstdio>
#include <limits>

namespace kx {

namespace {

// The value of a digit in base 10 or 16, or -1.
int digitValue(char c, unsigned base) {
  if (c >= '0' && c <= '9') return c - '0';
  if (base == 16 && c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (base == 16 && c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Digits of base from text[pos] on; false on any other character or none.
bool parseDigits(const std::string& text, size_t pos, unsigned base, uint64_t max, uint64_t& value,
                 bool& tooLarge) {
  if (pos >= text.size()) return false;
  uint64_t v = 0;
  bool over = false;
  for (; pos < text.size(); ++pos) {
    const int d = digitValue(text[pos], base);
    if (d < 0) return false;
    // Checked per digit so a long word cannot wrap the accumulator.
    if (v > (std::numeric_limits<uint64_t>::max() - d) / base) over = true;
    v = v * base + d;
    if (v > max) over = true;
  }
  if (over) {
    tooLarge = true;
    return false;
  }
  value = v;
  return true;
}

}  // namespace

bool parseDecimal(const std::string& text, uint64_t max, uint64_t& value) {
  bool tooLarge = false;
  return parseDigits(text, 0, 10, max, value, tooLarge);
}

bool parseNumber(const std::string& text, uint64_t max, uint64_t& value, bool* tooLarge) {
  const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
  bool over = false;
  const bool ok = parseDigits(text, hex ? 2 : 0, hex ? 16 : 10, max, value, over);
  if (tooLarge) *tooLarge = over;
  return ok;
}

bool parseDottedQuad(const std::string& text, uint32_t& value) {
  uint32_t v = 0;
  size_t pos = 0;
  for (int octet = 0; octet < 4; ++octet) {
    if (octet > 0 && (pos >= text.size() || text[pos++] != '.')) return false;
    const size_t start = pos;
    while (pos < text.size() && pos - start < 3 && text[pos] >= '0' && text[pos] <= '9') ++pos;
    uint64_t n;
    const std::string digits = text.substr(start, pos - start);
    if (digits.size() > 1 && digits[0] == '0') return false;
    if (!parseDecimal(digits, 255, n)) return false;
    v = v << 8 | static_cast<uint32_t>(n);
  }
  if (pos != text.size()) return false;
  value = v;
  return true;
}

std::string dottedQuadText(uint32_t value) {
  return std::to_string(value >> 24) + '.' + std::to_string(value >> 16 & 0xff) + '.' +
         std::to_string(value >> 8 & 0xff) + '.' + std::to_string(value & 0xff);
}

bool parseHex(const std::string& text, message::raw& bytes) {
  message::raw out;
  size_t i = 0;
  while (i < text.size()) {
    if (i + 1 >= text.size()) return false;
    const int hi = digitValue(text[i], 16), lo = digitValue(text[i + 1], 16);
    if (hi < 0 || lo < 0) return false;
    out.push_back(static_cast<uint8_t>(hi << 4 | lo));
    i += 2;
    // A colon must stand between two octets.
    if (i < text.size() && text[i] == ':' && ++i == text.size()) return false;
  }
  bytes = std::move(out);
  return true;
}

std::string keyText(uint32_t key) {
  char buf[11];
  std::snprintf(buf, sizeof buf, "0x%08x", key);
  return buf;
}

std::string hexText(const message::raw& r) {
  static const char kDigits[] = "0123456789abcdef";
  std::string s;
  for (size_t i = 0; i < r.size(); ++i) {
    if (i) s.push_back(':');
    s.push_back(kDigits[r[i] >> 4]);
    s.push_back(kDigits[r[i] & 0xf]);
  }
  return s;
}

// JSON text must be UTF-8; a string field may hold any bytes (names typed
// by users, octets from the network).
std::string validUtf8(const std::string& s) {
  std::string out;
  out.reserve(s.size());
  size_t i = 0;
  while (i < s.size()) {
    const uint8_t c = static_cast<uint8_t>(s[i]);
    size_t n = c < 0x80 ? 1 : (c >> 5) == 0x6 ? 2 : (c >> 4) == 0xe ? 3 : (c >> 3) == 0x1e ? 4 : 0;
    bool ok = n != 0 && i + n <= s.size();
    uint32_t cp = n == 1 ? c : n == 2 ? (c & 0x1f) : n == 3 ? (c & 0x0f) : (c & 0x07);
    for (size_t k = 1; ok && k < n; ++k) {
      const uint8_t d = static_cast<uint8_t>(s[i + k]);
      ok = (d & 0xc0) == 0x80;
      cp = cp << 6 | (d & 0x3f);
    }
    if (ok && ((n == 2 && cp < 0x80) || (n == 3 && cp < 0x800) || (n == 4 && cp < 0x10000) ||
               (cp >= 0xd800 && cp <= 0xdfff) || cp > 0x10ffff))
      ok = false;
    if (ok) {
      out.append(s, i, n);
      i += n;
    } else {
      out.append("\xef\xbf\xbd");
      ++i;
    }
  }
  return out;
}

namespace {

// A JSON string: quotes, backslashes and control characters escaped the
// way the JSON library writes them (short forms where JSON has one, else
// \u00xx in lower case); everything else, DEL and UTF-8 included, as is.
void appendQuoted(std::string& out, const std::string& utf8) {
  static const char kDigits[] = "0123456789abcdef";
  out.push_back('"');
  for (char ch : utf8) {
    const unsigned char c = static_cast<unsigned char>(ch);
    // clang-format off
    switch (c) {
      case '"': out += "\\\""; break;
      case '\\': out += "\\\\"; break;
      case '\b': out += "\\b"; break;
      case '\f': out += "\\f"; break;
      case '\n': out += "\\n"; break;
      case '\r': out += "\\r"; break;
      case '\t': out += "\\t"; break;
      default:
        if (c < 0x20) {
          out += "\\u00";
          out.push_back(kDigits[c >> 4]);
          out.push_back(kDigits[c & 0xf]);
        } else {
          out.push_back(ch);
        }
    }
    // clang-format on
  }
  out.push_back('"');
}

template <typename T, typename Write>
void appendArray(std::string& out, const std::vector<T>& items, Write write) {
  out.push_back('[');
  for (size_t i = 0; i < items.size(); ++i) {
    if (i) out.push_back(',');
    write(items[i]);
  }
  out.push_back(']');
}

void appendMessage(std::string& out, const message& m) {
  out.push_back('{');
  for (size_t i = 0; i < m.size(); ++i) {
    const uint32_t key = m.keyAt(i);
    if (i) out.push_back(',');
    appendQuoted(out, keyText(key));
    out.push_back(':');
    auto number = [&out](uint64_t v) { out += std::to_string(v); };
    auto text = [&out](const std::string& s) { appendQuoted(out, validUtf8(s)); };
    auto hex = [&out](const message::raw& r) { appendQuoted(out, hexText(r)); };
    auto nested = [&out](const message& e) { appendMessage(out, e); };
    // clang-format off
    switch (keyType(key)) {
      case kTypeBool: out += m.getBool(key) ? "true" : "false"; break;
      case kTypeU32: number(m.getU32(key)); break;
      case kTypeU64: number(m.getU64(key)); break;
      case kTypeString: text(*m.findString(key)); break;
      case kTypeRaw: hex(*m.findRaw(key)); break;
      case kTypeMessage: nested(*m.findMessage(key)); break;
      case kArrayBit | kTypeU32: appendArray(out, *m.findU32Array(key), number); break;
      case kArrayBit | kTypeU64: appendArray(out, m.getU64Array(key), number); break;
      case kArrayBit | kTypeString: appendArray(out, m.getStringArray(key), text); break;
      case kArrayBit | kTypeRaw: appendArray(out, m.getRawArray(key), hex); break;
      case kArrayBit | kTypeMessage: appendArray(out, *m.findMessageArray(key), nested); break;
      default: out += "null"; break;
    }
    // clang-format on
  }
  out.push_back('}');
}

}  // namespace

std::string message::dump() const {
  std::string out;
  appendMessage(out, *this);
  return out;
}

}  // namespace kx
