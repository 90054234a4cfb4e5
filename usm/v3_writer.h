// Writing a v3 message: the header and security parameters, then (after
// the caller has appended the PDU) the encryption of the scoped PDU and the
// MAC over the whole message.
//
// A reply is written in this order:
//   out.startSeq(0x30); out.add(3, 0x02);   the message, its version
//   writeV3Info(out, info);                 header, security, scoped PDU
//   ... the PDU, closed ...
//   cryptPacket(out, info, privKey);
//   out.endSeq();                           the message
//   signPacket(out, info, authKey, authMethod);
// The stream's two v3 marks carry the positions from the first step to the
// last two; nothing else may set them in between.
#ifndef USM_V3_WRITER_H_
#define USM_V3_WRITER_H_

#include <cstdint>
#include <string_view>

#include "asn1/out_stream.h"
#include "usm/key_derivation.h"
#include "usm/privacy.h"
#include "usm/v3_info.h"

// Fills info for a message the local engine starts (a trap): a fresh
// msgID, msgMaxSize 65507, flags for level (not reportable), the
// user-based security model, the local engine ID as authoritative and
// context engine ID, its boots and time, the user, a zero MAC of the
// method's length to be signed, and at authPriv a fresh salt.  userName
// must outlive info.
void prepareOutgoing(V3Info& info, const V3ServerInfo& server, std::string_view userName,
                     unsigned level, uint32_t authMethod, uint32_t privProtocol, uint32_t msgID);

// Writes msgGlobalData, msgSecurityParameters (authParams as a placeholder
// of its length) and opens the scoped PDU (inside the encryptedPDU OCTET
// STRING at authPriv) with its context fields.  The caller appends the PDU.
void writeV3Info(OutStream& out, const V3Info& info);

// Closes the scoped PDU; at authPriv pads it to whole cipher blocks with
// 0x05 octets, encrypts it in place and closes the encryptedPDU around it.
// When it can't be encrypted (no key, a bad salt), the encryptedPDU is
// sent empty.
void cryptPacket(OutStream& out, const V3Info& info, const PrivKey& privKey);

// At authNoPriv and authPriv: the HMAC of the finished message, computed
// with the placeholder as zeros, truncated to the placeholder's length and
// written into it.
void signPacket(OutStream& out, const V3Info& info, const HmacKey& authKey);

#endif  // USM_V3_WRITER_H_
