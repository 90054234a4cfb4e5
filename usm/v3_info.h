// The v3 header and security parameters of one message (V3Info), the
// local engine's state (V3ServerInfo) and its engine ID.
#ifndef USM_V3_INFO_H_
#define USM_V3_INFO_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "usm/privacy.h"

// The local engine ID: the agent's configured text behind the RFC 3411
// prefix of enterprise 32473, format 4 (text).
// 0x80 0x00 0x7e 0xd9 (enterprise 32473 with the top bit set), then 0x04.
constexpr char kEngineIdPrefix[] = "\x80\x00\x7e\xd9\x04";
constexpr std::size_t kEngineIdPrefixLength = sizeof kEngineIdPrefix - 1;

// The engine ID of text: the prefix, then the text.
inline std::string formatEngineID(const std::string& text) {
  return std::string(kEngineIdPrefix, kEngineIdPrefixLength) + text;
}
// The text part of id: id without its first five octets (all of a shorter
// id).  deformatEngineID(formatEngineID(t)) == t.
inline std::string deformatEngineID(const std::string& id) {
  return id.size() <= kEngineIdPrefixLength ? std::string() : id.substr(kEngineIdPrefixLength);
}

// Security levels.
constexpr unsigned kNoAuthNoPriv = 0;
constexpr unsigned kAuthNoPriv = 1;
constexpr unsigned kAuthPriv = 2;

// msgFlags bits.
constexpr uint8_t kFlagAuth = 0x01;
constexpr uint8_t kFlagPriv = 0x02;
constexpr uint8_t kFlagReportable = 0x04;

// The user-based security model's number (msgSecurityModel).
constexpr uint32_t kUsmSecurityModel = 3;

// Report codes: the first security error found in a message.  The code is
// the index into Context::v3counters; the usmStats object reported is
// 1.3.6.1.6.3.15.1.1.(code + 1).0.
constexpr int kNoReport = -1;
constexpr int kUnsupportedSecLevel = 0;
constexpr int kNotInTimeWindow = 1;
constexpr int kUnknownUserName = 2;
constexpr int kUnknownEngineID = 3;
constexpr int kWrongDigest = 4;
constexpr int kReportKinds = 5;

// The local engine: its boots, the uptime it started at, the time window
// of authenticated messages and its formatted engine ID.  The agent's
// looper is one.
struct V3ServerInfo {
  uint32_t engineBoots = 0;
  uint32_t startUptime = 0;  // seconds since boot when the engine started
  uint32_t timeWindow = 15;  // seconds a message's engine time may lag
  std::string engineID;      // formatEngineID of the configured text
  // The clock of the engine time: whole seconds since boot.  The agent
  // uses kx::getUptime; tests substitute their own.  Null reads as 0.
  uint32_t (*uptime)() = nullptr;

  // Seconds since the engine started (unsigned, wrapping).
  uint32_t engineTime() const { return (uptime ? uptime() : 0) - startUptime; }
};

// The header of one v3 message.  The byte-string fields are views: of a
// received message, into the InStream it was read from (valid while that
// stream lives and is not truncated before them), of the local engine ID
// (into the V3ServerInfo), or of the salt below.  Filled by readV3Info for
// a request, or by prepareOutgoing for a message the agent starts; read by
// the writer.  Not copyable: privParams may point into the object itself.
struct V3Info {
  V3Info() = default;
  V3Info(const V3Info&) = delete;
  V3Info& operator=(const V3Info&) = delete;

  uint32_t msgID = 0;
  uint32_t msgMaxSize = 0;
  uint8_t msgFlags = 0;  // one octet on the wire
  uint32_t msgSecurityModel = 0;
  std::string_view engineID;  // msgAuthoritativeEngineID
  uint32_t engineBoots = 0;
  uint32_t engineTime = 0;
  std::string_view userName;
  std::string_view authParams;  // the MAC
  std::string_view privParams;  // the salt
  // Offset of authParams' value in the whole received message.
  uint32_t authParamsPosition = 0;
  std::string_view contextEngineID;
  std::string_view contextName;
  // The security level the flags ask for (kNoAuthNoPriv..kAuthPriv).
  unsigned level = kNoAuthNoPriv;
  // True when the scoped PDU could not be read because the user's privacy
  // protocol is refused: a report then carries request-id 0.
  bool scopedPduHidden = false;
  // The salt of an outgoing encrypted message; privParams then views it.
  uint8_t salt[kSaltLength] = {};
};

#endif  // USM_V3_INFO_H_
