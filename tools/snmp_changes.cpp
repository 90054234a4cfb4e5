#include "tools/snmp_changes.h"

#include <algorithm>
#include <utility>

#include "tools/arg_parse.h"
#include "tools/snmp_keys.h"
#include "tools/snmp_values.h"

namespace kxctl {
namespace snmp {

namespace {

using Words = std::vector<std::pair<std::string, std::string>>;

std::string joined(const std::vector<std::string>& names) {
  std::string s;
  for (const std::string& n : names) s += (s.empty() ? "" : ", ") + n;
  return s;
}

// Splits "name=value" words, refusing unknown and repeated names.
bool splitWords(const std::vector<std::string>& words, const std::vector<std::string>& known,
                Words& out, std::string& err) {
  Words result;
  for (const std::string& w : words) {
    size_t eq = w.find('=');
    if (eq == std::string::npos) {
      err = "'" + w + "' is not a setting: write name=value";
      return false;
    }
    std::string name = w.substr(0, eq);
    if (std::find(known.begin(), known.end(), name) == known.end()) {
      err = "unknown name '" + name + "': expected one of " + joined(known);
      return false;
    }
    for (const auto& seen : result) {
      if (seen.first == name) {
        err = "'" + name + "' is given twice";
        return false;
      }
    }
    result.emplace_back(name, w.substr(eq + 1));
  }
  out = std::move(result);
  return true;
}

bool mentions(const std::vector<std::string>& words, const std::string& name) {
  for (const std::string& w : words) {
    if (w.compare(0, name.size() + 1, name + "=") == 0) return true;
  }
  return false;
}

std::string valueOf(const std::vector<std::string>& words, const std::string& name) {
  for (const std::string& w : words) {
    if (w.compare(0, name.size() + 1, name + "=") == 0) return w.substr(name.size() + 1);
  }
  return std::string();
}

bool isNoneWord(const std::string& v) { return v == "none" || v.empty(); }

bool resolveGenerators(const std::string& text, const SettingsContext& context,
                       std::vector<uint32_t>& ids, std::string& err) {
  const std::vector<kx::message>& generators = context.generators;
  ids.clear();
  if (isNoneWord(text)) return true;
  size_t start = 0;
  while (start <= text.size()) {
    size_t comma = text.find(',', start);
    if (comma == std::string::npos) comma = text.size();
    std::string word = text.substr(start, comma - start);
    const kx::message* found = nullptr;
    for (const kx::message& g : generators) {
      if (g.getString(kGeneratorName) == word) found = &g;
    }
    uint32_t id;
    std::string why;
    const bool isId = !found && parseU32(word, id, why);
    if (isId) {
      for (const kx::message& g : generators) {
        if (g.has(kx::kObjId) && g.getU32(kx::kObjId) == id) found = &g;
      }
      if (!found && context.unlistedIds) {
        ids.push_back(id);
        start = comma + 1;
        continue;
      }
    }
    if (!found) {
      std::vector<std::string> names;
      for (const kx::message& g : generators) names.push_back(g.getString(kGeneratorName));
      err = "unknown trap generator '" + word + "': the agent has " +
            (names.empty() ? std::string("none") : joined(names));
      return false;
    }
    ids.push_back(found->getU32(kx::kObjId));
    start = comma + 1;
  }
  return true;
}

}  // namespace

bool needsCommunities(const std::vector<std::string>& words) {
  return mentions(words, "trap-community") && !isNoneWord(valueOf(words, "trap-community"));
}

bool needsGenerators(const std::vector<std::string>& words) {
  return mentions(words, "trap-generators") && !isNoneWord(valueOf(words, "trap-generators"));
}

bool settingsChange(const std::vector<std::string>& words, const SettingsContext& context,
                    kx::message& out, std::string& err) {
  static const std::vector<std::string> known = {
      "enabled",     "contact",     "location",     "community",      "engine-id",
      "time-window", "trap-target", "trap-version", "trap-community", "trap-generators"};
  Words pairs;
  if (!splitWords(words, known, pairs, err)) return false;
  kx::message m;
  for (const auto& [name, value] : pairs) {
    std::string why;
    if (name == "enabled") {
      bool on;
      if (!parseYesNo(value, on, why)) {
        err = "enabled: " + why;
        return false;
      }
      m.setBool(kEnabled, on);
    } else if (name == "contact") {
      m.setString(kContact, value);
    } else if (name == "location") {
      m.setString(kLocation, value);
    } else if (name == "community") {
      m.setString(kCommunity, value);
    } else if (name == "engine-id") {
      if (value.size() > kMaxEngineIdText) {
        err = "engine-id: at most " + std::to_string(kMaxEngineIdText) +
              " characters (managers take engine IDs of up to 32 octets, five of which the "
              "agent puts in front)";
        return false;
      }
      m.setString(kEngineId, value);
    } else if (name == "time-window") {
      uint32_t seconds;
      if (!parseU32(value, seconds, why)) {
        err = "time-window: " + why;
        return false;
      }
      m.setU32(kTimeWindow, seconds);
    } else if (name == "trap-target") {
      uint32_t address = 0;
      if (!isNoneWord(value) && !parseIpv4(value, address, why)) {
        err = "trap-target: " + why + ", or none";
        return false;
      }
      m.setBe32(kTrapTarget, address);
    } else if (name == "trap-version") {
      uint32_t stored;
      if (!parseTrapVersion(value, stored, why)) {
        err = "trap-version: " + why;
        return false;
      }
      m.setU32(kTrapVersion, stored);
    } else if (name == "trap-community") {
      uint32_t id = kNoCommunity;
      if (!isNoneWord(value)) {
        const kx::message* c = findCommunity(context.communities, value);
        if (!c) {
          err = "trap-community: no community is named '" + value +
                "' (see 'kxctl snmp "
                "community list'), or write none";
          return false;
        }
        id = c->getU32(kx::kObjId);
      }
      m.setU32(kTrapCommunity, id);
    } else if (name == "trap-generators") {
      std::vector<uint32_t> ids;
      if (!resolveGenerators(value, context, ids, why)) {
        err = "trap-generators: " + why;
        return false;
      }
      m.setU32Array(kTrapGenerators, ids);
    }
  }
  out = std::move(m);
  return true;
}

const kx::message* findCommunity(const std::vector<kx::message>& list, const std::string& text) {
  for (const kx::message& c : list) {
    if (c.getString(kName) == text) return &c;
  }
  uint32_t id;
  std::string why;
  if (!parseU32(text, id, why)) return nullptr;
  for (const kx::message& c : list) {
    if (c.has(kx::kObjId) && c.getU32(kx::kObjId) == id) return &c;
  }
  return nullptr;
}

bool communityFields(const std::vector<std::string>& words, kx::message& out, std::string& err) {
  static const std::vector<std::string> known = {"name",  "address",       "read",
                                                 "write", "security",      "auth",
                                                 "priv",  "auth-password", "priv-password"};
  Words pairs;
  if (!splitWords(words, known, pairs, err)) return false;
  kx::message m;
  for (const auto& [name, value] : pairs) {
    std::string why;
    bool on;
    uint32_t v;
    if (name == "name") {
      if (value.empty()) {
        err = "name: a community needs a name";
        return false;
      }
      m.setString(kName, value);
    } else if (name == "address") {
      Network net;
      if (!parseNetwork(value, net, err)) return false;
      m.setBe32(kAddress, net.address);
      m.setBe32(kAddressMask, net.mask);
    } else if (name == "read" || name == "write") {
      if (!parseYesNo(value, on, why)) {
        err = name + ": " + why;
        return false;
      }
      m.setBool(name == "read" ? kReadAccess : kWriteAccess, on);
    } else if (name == "security") {
      if (!parseSecurity(value, v, why)) {
        err = "security: " + why;
        return false;
      }
      m.setU32(kSecurity, v);
    } else if (name == "auth") {
      if (!parseAuthMethod(value, v, why)) {
        err = "auth: " + why;
        return false;
      }
      m.setU32(kAuthMethod, v);
    } else if (name == "priv") {
      if (!parsePrivacy(value, v, why)) {
        err = "priv: " + why;
        return false;
      }
      m.setU32(kPrivacy, v);
    } else if (name == "auth-password") {
      m.setString(kAuthPassword, value);
    } else if (name == "priv-password") {
      m.setString(kPrivPassword, value);
    }
  }
  out = std::move(m);
  return true;
}

bool communityChange(const std::vector<std::string>& words, const kx::message* current,
                     kx::message& out, std::string& err) {
  kx::message m;
  if (!current) {
    // A new community is read-only, from anywhere, with no v3 security,
    // unless the words say otherwise.
    m.setBe32(kAddress, 0);
    m.setBe32(kAddressMask, 0);
    m.setBool(kReadAccess, true);
    m.setBool(kWriteAccess, false);
    m.setU32(kSecurity, kSecurityNone);
  }
  kx::message fields;
  if (!communityFields(words, fields, err)) return false;
  m.merge(fields);
  if (!current && !m.has(kName)) {
    err = "a new community needs name=...";
    return false;
  }

  // The level and passwords the community will have once changed.
  auto effective = [&](uint32_t key) {
    if (m.has(key)) return m.getString(key);
    return current ? current->getString(key) : std::string();
  };
  uint32_t level = m.has(kSecurity) ? m.getU32(kSecurity)
                                    : (current ? current->getU32(kSecurity) : kSecurityNone);
  if (level >= kSecurityAuth && effective(kAuthPassword).size() < kMinPasswordLength) {
    err = "security=" + securityText(level) + " needs an auth-password of at least " +
          std::to_string(kMinPasswordLength) + " characters";
    return false;
  }
  if (level >= kSecurityAuthPriv && effective(kPrivPassword).size() < kMinPasswordLength) {
    err = "security=authpriv needs a priv-password of at least " +
          std::to_string(kMinPasswordLength) + " characters";
    return false;
  }
  out = std::move(m);
  return true;
}

bool trapRequest(const std::vector<std::string>& words, kx::message& out, std::string& err) {
  static const std::vector<std::string> known = {"oid", "type", "value"};
  Words pairs;
  if (!splitWords(words, known, pairs, err)) return false;
  kx::message m;
  uint32_t tag = 0;
  for (const auto& [name, value] : pairs) {
    if (name == "oid") {
      if (!checkOidText(value, err)) return false;
      m.setString(kTrapOid, value);
    } else if (name == "type") {
      if (!parseValueType(value, tag, err)) return false;
      m.setU32(kTrapType, tag);
    } else {
      m.setString(kTrapValue, value);
    }
  }
  if (m.has(kTrapType) && !m.has(kTrapOid)) {
    err = "type= needs oid= (the binding's name)";
    return false;
  }
  if (m.has(kTrapValue) && !m.has(kTrapType)) {
    err = "value= needs type= and oid=";
    return false;
  }
  if (m.has(kTrapOid) && !m.has(kTrapType)) {
    err = "oid= needs type= (and value=, unless the type is null)";
    return false;
  }
  if (m.has(kTrapType) && !m.has(kTrapValue) && tag != 0x05) {
    err = "a binding of this type needs value=";
    return false;
  }
  out = std::move(m);
  return true;
}

}  // namespace snmp
}  // namespace kxctl
