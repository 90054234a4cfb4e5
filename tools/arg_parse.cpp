#include "tools/arg_parse.h"

#include <utility>

#include "kx/message_json.h"
#include "kx/message_text.h"

namespace kxctl {

namespace {

constexpr uint32_t kTransportIdFirst = 0xff0000;
constexpr uint32_t kTransportIdLast = 0xffffff;

}  // namespace

bool parseU32(const std::string& text, uint32_t& value, std::string& err) {
  uint64_t v;
  bool tooLarge = false;
  if (kx::parseNumber(text, 0xffffffff, v, &tooLarge)) {
    value = static_cast<uint32_t>(v);
    return true;
  }
  err = "'" + text + "' " +
        (text.empty() ? "is not a number"
         : tooLarge   ? "is larger than 0xffffffff"
                      : "is not a number (decimal or 0x hex)");
  return false;
}

bool parsePath(const std::string& text, std::vector<uint32_t>& path, std::string& err) {
  std::vector<uint32_t> result;
  size_t start = 0;
  while (true) {
    size_t comma = text.find(',', start);
    std::string part =
        text.substr(start, comma == std::string::npos ? std::string::npos : comma - start);
    uint32_t v;
    std::string why;
    if (part.empty() || !parseU32(part, v, why)) {
      err = "bad path '" + text + "': expected numbers separated by commas, like 20,0";
      return false;
    }
    if (result.size() == kMaxPathElements) {
      err = "bad path '" + text + "': more than " + std::to_string(kMaxPathElements) + " elements";
      return false;
    }
    result.push_back(v);
    if (comma == std::string::npos) break;
    start = comma + 1;
  }
  path = std::move(result);
  return true;
}

std::string pathText(const std::vector<uint32_t>& path) {
  std::string s;
  for (size_t i = 0; i < path.size(); ++i) {
    if (i) s += ',';
    s += std::to_string(path[i]);
  }
  return s;
}

bool isTransportKey(uint32_t key) {
  uint32_t id = kx::keyId(key);
  return id >= kTransportIdFirst && id <= kTransportIdLast;
}

bool parseFields(const std::vector<std::string>& words, kx::message& out, std::string& err) {
  kx::message fields = out;
  for (const std::string& w : words) {
    size_t eq = w.find('=');
    if (eq == std::string::npos) {
      err = "'" + w + "' is not a field: write key=value, like 0x20000002=text";
      return false;
    }
    std::string keyWord = w.substr(0, eq);
    uint32_t key;
    if (!kx::parseKey(keyWord, key)) {
      err = "bad key '" + keyWord + "': expected a typed key like 0x20000002";
      return false;
    }
    if (isTransportKey(key)) {
      err = "key " + kx::keyText(key) + " is reserved for the bus transport";
      return false;
    }
    if (fields.has(key)) {
      err = "key " + kx::keyText(key) + " is given twice";
      return false;
    }
    std::string why;
    if (!kx::setFieldFromText(fields, key, w.substr(eq + 1), why)) {
      err = "bad value for " + kx::keyText(key) + ": " + why;
      return false;
    }
  }
  out = std::move(fields);
  return true;
}

}  // namespace kxctl
