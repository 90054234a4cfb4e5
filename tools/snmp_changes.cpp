#include "tools/snmp_changes.h"

#include <algorithm>
#include <utility>

#include "tools/arg_parse.h"
#include "tools/snmp_values.h"

namespace kxctl {
namespace snmp {

namespace {

using Words = std::vector<std::pair<std::string, std::string>>;

// How a word's value reads and shows.
enum class Form {
  kYesNo,           // bool: yes/no
  kText,            // string, as typed
  kName,            // string, not empty
  kEngineIdText,    // string, short enough for an engine ID
  kEngineIdHex,     // the whole engine ID in hex (shown only)
  kNumber,          // u32
  kAddress,         // IPv4 or none (be32)
  kNetwork,         // address and mask: any, A.B.C.D[/LEN|/MASK]
  kTrapVersion,     // 1, 2c, 3
  kTrapCommunity,   // a community's name or id, or none
  kTrapGenerators,  // generator names or ids, or none
  kSecurity,        // none, auth, authpriv
  kAuthMethod,      // md5, sha, ...
  kPrivacy,         // des, aes, ...
};

// One name=value word: the field it sets and shows, and how.  help is the
// value's form and, after a tab, what it sets, for snmp set --help.
struct Word {
  const char* name;
  uint32_t key;
  Form form;
  bool settable;  // false: shown only
  const char* help;
};

// The settings, in the order snmp show prints them.
const Word kSettings[] = {
    {"enabled", kEnabled, Form::kYesNo, true, "yes|no\tthe SNMP service"},
    {"contact", kContact, Form::kText, true, "TEXT\tsysContact"},
    {"location", kLocation, Form::kText, true, "TEXT\tsysLocation"},
    {"community", kCommunity, Form::kText, true,
     "TEXT\tthe community setting (stored and shown only)"},
    {"engine-id", kEngineId, Form::kEngineIdText, true,
     "TEXT\tthe text part of the local engine id (show prints\n"
     "the whole id in hex as engine-id-hex, for -e)"},
    {"engine-id-hex", kEngineId, Form::kEngineIdHex, false, nullptr},
    {"time-window", kTimeWindow, Form::kNumber, true, "SECONDS\tthe v3 time window"},
    {"trap-target", kTrapTarget, Form::kAddress, true,
     "192.0.2.1\twhere traps go (UDP port 162); none for no traps"},
    {"trap-version", kTrapVersion, Form::kTrapVersion, true,
     "1|2c|3\tthe version of trap messages"},
    {"trap-community", kTrapCommunity, Form::kTrapCommunity, true,
     "NAME|none\tthe community (or v3 user) traps are sent as"},
    {"trap-generators", kTrapGenerators, Form::kTrapGenerators, true,
     "A,B,...\twhat raises traps, by name or id (see 'kxctl snmp\n"
     "generators'); none for nothing"},
    {"engine-boots", kEngineBoots, Form::kNumber, false, nullptr},
};

// A community's words; address sets the mask too.
const Word kCommunityWords[] = {
    {"name", kName, Form::kName, true, nullptr},
    {"address", kAddress, Form::kNetwork, true, nullptr},
    {"read", kReadAccess, Form::kYesNo, true, nullptr},
    {"write", kWriteAccess, Form::kYesNo, true, nullptr},
    {"security", kSecurity, Form::kSecurity, true, nullptr},
    {"auth", kAuthMethod, Form::kAuthMethod, true, nullptr},
    {"priv", kEncryptionProtocol, Form::kPrivacy, true, nullptr},
    {"auth-password", kAuthPassword, Form::kText, true, nullptr},
    {"priv-password", kEncryptionPassword, Form::kText, true, nullptr},
};

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

template <size_t N>
std::vector<std::string> settableNames(const Word (&table)[N]) {
  std::vector<std::string> names;
  for (const Word& w : table) {
    if (w.settable) names.push_back(w.name);
  }
  return names;
}

template <size_t N>
const Word& wordNamed(const Word (&table)[N], const std::string& name) {
  return *std::find_if(std::begin(table), std::end(table),
                       [&](const Word& w) { return name == w.name; });
}

std::string valueOf(const std::vector<std::string>& words, const std::string& name) {
  for (const std::string& w : words) {
    if (w.compare(0, name.size() + 1, name + "=") == 0) return w.substr(name.size() + 1);
  }
  return std::string();
}

bool mentions(const std::vector<std::string>& words, const std::string& name) {
  return std::any_of(words.begin(), words.end(), [&](const std::string& w) {
    return w.compare(0, name.size() + 1, name + "=") == 0;
  });
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

// Reads value into w's field of m.  On failure err is the whole reason,
// most of them "name: why".
bool readWord(const Word& w, const std::string& value, const SettingsContext& context,
              kx::message& m, std::string& err) {
  std::string why;
  bool on;
  uint32_t v;
  bool ok = true;
  switch (w.form) {
    case Form::kYesNo:
      if ((ok = parseYesNo(value, on, why))) m.setBool(w.key, on);
      break;
    case Form::kName:
    case Form::kText:
      if ((ok = w.form == Form::kText || !value.empty())) {
        m.setString(w.key, value);
      } else {
        why = "a community needs a name";
      }
      break;
    case Form::kEngineIdText:
      if ((ok = value.size() <= kMaxEngineIdText)) {
        m.setString(w.key, value);
      } else {
        why = "at most " + std::to_string(kMaxEngineIdText) +
              " characters (managers take engine IDs of up to 32 octets, five of which the "
              "agent puts in front)";
      }
      break;
    case Form::kNumber:
      if ((ok = parseU32(value, v, why))) m.setU32(w.key, v);
      break;
    case Form::kAddress:
      v = 0;
      if ((ok = isNoneWord(value) || parseIpv4(value, v, why))) {
        m.setBe32(w.key, v);
      } else {
        why += ", or none";
      }
      break;
    case Form::kNetwork: {
      Network net;
      // The reason names the address itself.
      if (!parseNetwork(value, net, err)) return false;
      m.setBe32(kAddress, net.address);
      m.setBe32(kAddressMask, net.mask);
      break;
    }
    case Form::kTrapVersion:
      if ((ok = parseTrapVersion(value, v, why))) m.setU32(w.key, v);
      break;
    case Form::kTrapCommunity: {
      const kx::message* c =
          isNoneWord(value) ? nullptr : findCommunity(context.communities, value);
      if ((ok = isNoneWord(value) || c)) {
        m.setU32(w.key, c ? c->getU32(kx::kObjId) : kNoCommunity);
      } else {
        why = "no community is named '" + value +
              "' (see 'kxctl snmp community list'), or write none";
      }
      break;
    }
    case Form::kTrapGenerators: {
      std::vector<uint32_t> ids;
      if ((ok = resolveGenerators(value, context, ids, why))) m.setU32Array(w.key, ids);
      break;
    }
    case Form::kSecurity:
      if ((ok = parseSecurity(value, v, why))) m.setU32(w.key, v);
      break;
    case Form::kAuthMethod:
      if ((ok = parseAuthMethod(value, v, why))) m.setU32(w.key, v);
      break;
    case Form::kPrivacy:
      if ((ok = parsePrivacy(value, v, why))) m.setU32(w.key, v);
      break;
    case Form::kEngineIdHex:
      ok = false;  // never settable
      break;
  }
  if (!ok) err = std::string(w.name) + ": " + why;
  return ok;
}

std::string communityNameOf(uint32_t id, const std::vector<kx::message>& communities) {
  if (id == kNoCommunity) return "none";
  for (const kx::message& c : communities) {
    if (c.getU32(kx::kObjId) == id) return c.getString(kName);
  }
  return "id " + std::to_string(id) + " (no such community)";
}

std::string generatorNames(const std::vector<uint32_t>& ids,
                           const std::vector<kx::message>& generators) {
  if (ids.empty()) return "none";
  std::string s;
  for (uint32_t id : ids) {
    std::string name = generatorIdText(id);
    for (const kx::message& g : generators) {
      if (g.getU32(kx::kObjId) == id) name = g.getString(kGeneratorName);
    }
    s += (s.empty() ? "" : ",") + name;
  }
  return s;
}

// The readable value of a settings word.
std::string showWord(const Word& w, const kx::message& settings, const SettingsContext& context) {
  switch (w.form) {
    case Form::kYesNo:
      return yesNo(settings.getBool(w.key));
    case Form::kEngineIdHex:
      return engineIdHex(settings.getString(w.key));
    case Form::kNumber:
      return std::to_string(settings.getU32(w.key));
    case Form::kAddress:
      return settings.getBe32(w.key) == 0 ? "none" : ipv4Text(settings.getBe32(w.key));
    case Form::kTrapVersion:
      return trapVersionText(settings.getU32(w.key));
    case Form::kTrapCommunity:
      return communityNameOf(settings.getU32(w.key, kNoCommunity), context.communities);
    case Form::kTrapGenerators:
      return generatorNames(settings.getU32Array(w.key), context.generators);
    default:
      return settings.getString(w.key);
  }
}

template <size_t N>
bool change(const Word (&table)[N], const std::vector<std::string>& words,
            const SettingsContext& context, kx::message& out, std::string& err) {
  Words pairs;
  if (!splitWords(words, settableNames(table), pairs, err)) return false;
  kx::message m;
  for (const auto& [name, value] : pairs) {
    if (!readWord(wordNamed(table, name), value, context, m, err)) return false;
  }
  out = std::move(m);
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
  return change(kSettings, words, context, out, err);
}

std::vector<std::vector<std::string>> settingsRows(const kx::message& settings,
                                                   const SettingsContext& context) {
  std::vector<std::vector<std::string>> rows;
  for (const Word& w : kSettings) rows.push_back({w.name, showWord(w, settings, context)});
  return rows;
}

std::string settingsHelp() {
  // The descriptions start in this column, their continuations too.
  constexpr size_t kColumn = 28;
  std::string s;
  for (const Word& w : kSettings) {
    if (!w.settable) continue;
    const std::string help = w.help;
    const size_t tab = help.find('\t');
    std::string line = std::string("  ") + w.name + "=" + help.substr(0, tab);
    line.resize(std::max(line.size() + 2, kColumn), ' ');
    for (char c : help.substr(tab + 1)) {
      line += c;
      if (c == '\n') line.append(kColumn, ' ');
    }
    s += line + "\n";
  }
  return s;
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
  return change(kCommunityWords, words, SettingsContext(), out, err);
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
  if (level >= kSecurityAuthPriv && effective(kEncryptionPassword).size() < kMinPasswordLength) {
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
