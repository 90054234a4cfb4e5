#include "usm/v3_reader.h"

#include "usm/crypto_library.h"
#include "usm/key_derivation.h"

namespace {

// Reads the content of the value at the cursor (any tag) as a view into
// the stream, and steps over it.
bool readView(InStream& in, std::string_view* out) {
  const int n = in.enterSeq();
  if (n < 0) return false;
  *out = std::string_view(reinterpret_cast<const char*>(in.data() + in.position()),
                          static_cast<std::size_t>(n));
  in.exitSeq();
  return true;
}

bool readU32(InStream& in, uint32_t* out) {
  int v = 0;
  if (!in.getInt(&v)) return false;
  *out = static_cast<uint32_t>(v);
  return true;
}

void setOnce(int& err, int code) {
  if (err == kNoReport) err = code;
}

// True when the message's MAC is exactly the method's length and equals
// the HMAC of the message as it is now (still encrypted, for authPriv).
bool macMatches(const InStream& in, const V3Info& info, const HmacKey& key, uint32_t method) {
  const AuthMethod* m = authMethod(method);
  if (m == nullptr || info.authParams.size() != m->macLength) return false;
  uint8_t digest[kMaxDigestLength];
  const unsigned n =
      key.digest(in.data(), in.size(), info.authParamsPosition, info.authParams.size(), digest);
  // A digest was made, so libcrypto is loaded.
  return n >= m->macLength &&
         cryptoLibrary()->CRYPTO_memcmp(digest, info.authParams.data(), m->macLength) == 0;
}

// Decrypts the encrypted PDU at the cursor in place and leaves the cursor
// at its plaintext.  False, with the stream cut at the cursor so that
// nothing after it decodes, when it can't.
bool decryptPdu(InStream& in, const V3Info& info, const PrivKey& key) {
  const std::size_t start = in.position();
  const int n = in.enterSeq();  // the OCTET STRING encryptedPDU
  const bool ok = n >= 0 && info.privParams.size() == kSaltLength &&
                  key.crypt(reinterpret_cast<const uint8_t*>(info.privParams.data()),
                            info.engineBoots, info.engineTime, in.mutableData() + in.position(),
                            static_cast<std::size_t>(n), false);
  if (!ok) in.truncate(start);
  return ok;
}

void readContext(InStream& in, V3Info& info) {
  if (in.enterSeq() < 0) return;  // the scoped PDU
  if (readView(in, &info.contextEngineID)) readView(in, &info.contextName);
}

}  // namespace

bool readV3Info(InStream& in, V3Info& info, int& err) {
  std::string_view flags;
  if (in.enterSeq() < 0 || !readU32(in, &info.msgID) || !readU32(in, &info.msgMaxSize) ||
      !readView(in, &flags) || flags.size() != 1 || !readU32(in, &info.msgSecurityModel)) {
    return false;
  }
  in.exitSeq();  // msgGlobalData
  info.msgFlags = static_cast<uint8_t>(flags[0]);

  // msgSecurityParameters: an OCTET STRING holding a SEQUENCE, read in
  // place so that authParamsPosition counts in the whole message; nothing
  // may be read beyond the OCTET STRING.
  const int paramsLength = in.enterSeq();
  if (paramsLength < 0) return false;
  const std::size_t paramsEnd = in.position() + static_cast<std::size_t>(paramsLength);
  std::string_view auth;
  if (in.enterSeq() < 0 || !readView(in, &info.engineID) || !readU32(in, &info.engineBoots) ||
      !readU32(in, &info.engineTime) || !readView(in, &info.userName)) {
    return false;
  }
  if (!readView(in, &auth) || !readView(in, &info.privParams) || in.position() > paramsEnd) {
    return false;
  }
  // The value's offset: behind its tag and length octets.
  info.authParamsPosition =
      static_cast<uint32_t>(reinterpret_cast<const uint8_t*>(auth.data()) - in.data());
  info.authParams = auth;
  in.exitSeq();
  in.exitSeq();

  info.level = kNoAuthNoPriv;
  if (info.msgFlags & kFlagAuth) info.level = kAuthNoPriv;
  if (info.msgFlags & kFlagPriv) {
    if (info.level == kAuthNoPriv) {
      info.level = kAuthPriv;
    } else {
      setOnce(err, kUnsupportedSecLevel);
    }
  }
  return true;
}

bool decryptAndCheckSignature(InStream& in, V3Info& info, int& err, const HmacKey& authKey,
                              uint32_t authMethod, const PrivKey& privKey, uint32_t privProtocol,
                              const V3ServerInfo& server) {
  const bool refuseAuth = info.level >= kAuthNoPriv && ::authMethod(authMethod) == nullptr;
  const bool refusePriv = info.level == kAuthPriv && ::privProtocol(privProtocol) == nullptr;
  if (refuseAuth || refusePriv) {
    setOnce(err, kUnsupportedSecLevel);
    info.scopedPduHidden = info.level == kAuthPriv;
    clearAuthPrivInfo(info);
  }
  const bool macOk = info.level == kNoAuthNoPriv || macMatches(in, info, authKey, authMethod);

  if (info.level == kAuthPriv) {
    decryptPdu(in, info, privKey);
    makeSalt(privProtocol, server.engineBoots, info.salt);
    info.privParams = std::string_view(reinterpret_cast<const char*>(info.salt), kSaltLength);
  }
  if (!info.scopedPduHidden) readContext(in, info);

  const uint32_t localTime = server.engineTime();
  if (info.engineID != server.engineID) {
    info.engineID = server.engineID;
    info.contextEngineID = server.engineID;
    setOnce(err, kUnknownEngineID);
  }
  if (info.scopedPduHidden) info.contextEngineID = server.engineID;
  if (info.level >= kAuthNoPriv) {
    if (info.engineBoots != server.engineBoots || localTime - info.engineTime > server.timeWindow) {
      setOnce(err, kNotInTimeWindow);
    }
    if (!macOk) setOnce(err, kWrongDigest);
  }
  info.engineTime = localTime;
  info.engineBoots = server.engineBoots;
  return true;
}

bool decryptAndCheckSignatureLite(InStream& in, V3Info& info, const HmacKey& authKey,
                                  uint32_t authMethod, const PrivKey& privKey) {
  if (info.level >= kAuthNoPriv && !macMatches(in, info, authKey, authMethod)) return false;
  if (info.level == kAuthPriv && !decryptPdu(in, info, privKey)) return false;
  readContext(in, info);
  return true;
}

void clearAuthPrivInfo(V3Info& info) {
  info.authParams = std::string_view();
  info.privParams = std::string_view();
  info.msgFlags &= static_cast<uint8_t>(~(kFlagAuth | kFlagPriv));
  info.level = kNoAuthNoPriv;
}
