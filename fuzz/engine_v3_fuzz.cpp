// Runs v3 requests through createReply past the header checks: the
// message is built around the fuzzed bytes for a known engine and user,
// inside the time window, signed for authenticated users and encrypted for
// authPriv ones, so that decryption, the scoped-PDU decoder and the PDU
// operations see arbitrary input.  The first byte picks the user (its
// level, method and protocol) and the message flags; the rest is the
// scoped PDU.  Any answer must be a v3 message with a response or a report.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <vector>

#include "asn1/ber.h"
#include "asn1/in_stream.h"
#include "asn1/out_stream.h"
#include "engine/community_list.h"
#include "engine/context.h"
#include "engine/create_reply.h"
#include "tests/unit/support/fake_mib.h"
#include "usm/privacy.h"
#include "usm/v3_info.h"
#include "usm/v3_reader.h"

namespace {

constexpr size_t kMaxScopedPdu = 60000;
constexpr uint32_t kBoots = 3;
constexpr uint32_t kNow = 1000;

uint32_t now() { return kNow; }

struct User {
  const char* name;
  unsigned level;
  uint32_t method, protocol;
};
// Every level, a short and a long digest, both ciphers; protocol 7 is
// unknown (the report path with the scoped PDU unread).
const User kUsers[] = {{"plain", 0, 0, 0},  {"md5", 1, 0, 0},       {"sha512", 1, 5, 0},
                       {"shades", 2, 1, 0}, {"sha256aes", 2, 3, 1}, {"md5aes256", 2, 0, 3},
                       {"oddpriv", 2, 1, 7}};

const V3ServerInfo& server() {
  static V3ServerInfo info;
  static CommunityList list;
  if (list.items.empty()) {
    // Every answered binding logs a line; the fuzzer's speed matters more.
    std::cerr.rdbuf(nullptr);
    static test_support::FakeMib mib;
    info.engineBoots = kBoots;
    info.engineID = formatEngineID("fuzz");
    info.uptime = now;
    for (const User& u : kUsers) {
      auto* item = new CommunityList::Item;
      item->name = u.name;
      item->readAccess = item->writeAccess = true;
      item->security = u.level;
      item->authMethod = u.method;
      item->encryptionProtocol = u.protocol;
      item->authPassword = "fuzz auth password";
      item->encryptionPassword = "fuzz priv password";
      list.items.push_back(item);
    }
    list.regenerateKeys(info.engineID);
    communityKeep = &list;
  }
  return info;
}

void addBytes(OutStream& out, const std::string& s) { out.add(s, ber::kOctetString); }

// The request of user around scoped (plaintext), flags as given.
std::vector<uint8_t> request(const CommunityList::Item& user, uint8_t flags,
                             std::vector<uint8_t> scoped) {
  const V3ServerInfo& s = server();
  const uint8_t salt[kSaltLength] = {0, 0, 0, kBoots, 1, 2, 3, 4};
  OutStream out;
  out.startSeq(ber::kSequence);
  out.add(3, ber::kInteger);
  out.startSeq(ber::kSequence);
  out.add(42, ber::kInteger);
  out.add(65507, ber::kInteger);
  out.add(&flags, 1, ber::kOctetString);
  out.add(3, ber::kInteger);
  out.endSeq();
  out.startSeq(ber::kOctetString);
  out.startSeq(ber::kSequence);
  addBytes(out, s.engineID);
  out.add(kBoots, ber::kInteger);
  out.add(s.engineTime(), ber::kInteger);
  addBytes(out, user.name);
  const AuthMethod* method = authMethod(user.authMethod);
  const unsigned macLength = (flags & kFlagAuth) && method ? method->macLength : 0;
  out.add(std::string(macLength, '\0'), ber::kOctetString);
  const size_t macAt = out.size() - macLength;
  out.add(salt, (flags & kFlagPriv) ? kSaltLength : 0, ber::kOctetString);
  out.endSeq();
  out.endSeq();
  if (flags & kFlagPriv) {
    scoped.resize(scoped.size() + (-scoped.size() & 7));  // whole DES blocks
    user.privKey.crypt(salt, kBoots, s.engineTime(), scoped.data(), scoped.size(), true);
    out.add(scoped.data(), scoped.size(), ber::kOctetString);
  } else {
    out.append(scoped.data(), scoped.size());
  }
  out.endSeq();
  uint8_t mac[kMaxDigestLength];
  if (macLength && user.authKey.digest(out.mutableData(), out.size(), macAt, macLength, mac)) {
    std::copy(mac, mac + macLength, out.mutableData() + macAt);
  }
  return out.bytes();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1 || size > kMaxScopedPdu) return 0;
  server();
  const CommunityList::Item& user = *communityKeep->items[data[0] % std::size(kUsers)];
  // Mostly the user's own level; with the top bit another one, or privacy
  // without authentication, to reach the level checks.
  static const uint8_t kFlags[] = {0x04, 0x05, 0x07, 0x06};
  const uint8_t flags = kFlags[(data[0] & 0x80) ? (data[0] >> 3) & 3 : user.security];
  const std::vector<uint8_t> message =
      request(user, flags, std::vector<uint8_t>(data + 1, data + size));

  Context ctx(const_cast<unsigned char*>(message.data()), message.size());
  ctx.v3Server = &server();
  if (!createReply(ctx, 0x0100007f)) return 0;
  InStream check(ctx.out.bytes().data(), ctx.out.bytes().size());
  V3Info info;
  int err = kNoReport;
  if (check.getVersion() != 3 || !readV3Info(check, info, err)) std::abort();
  return 0;
}
