// Reading and checking a received v3 message: the header and security
// parameters, the engine ID, boots and time window, the MAC and the
// decryption of the scoped PDU.
//
// Errors found here never abort the reading: the first one is kept in err
// (kNoReport until then; see the report codes of v3_info.h) and the request
// is answered with a report.
#ifndef USM_V3_READER_H_
#define USM_V3_READER_H_

#include <cstdint>

#include "asn1/in_stream.h"
#include "usm/key_derivation.h"
#include "usm/privacy.h"
#include "usm/v3_info.h"

// Reads msgGlobalData and msgSecurityParameters into info, after the
// version has been read (InStream::getVersion).  False when either can't
// be read or msgFlags is not exactly one octet.  Privacy asked without
// authentication sets kUnsupportedSecLevel (the level stays noAuthNoPriv).
bool readV3Info(InStream& in, V3Info& info, int& err);

// Checks and opens the rest of the message for a user with the given keys
// (an unknown user: method 0 and empty keys), then reads the scoped PDU's
// context fields, leaving the stream at the PDU.  In order, each error set
// only while err is still kNoReport:
//  - the user's method or (at authPriv) privacy protocol unknown:
//    kUnsupportedSecLevel; the message's auth and priv information is
//    cleared so the report leaves unauthenticated, and at authPriv the
//    scoped PDU stays unread (info.scopedPduHidden);
//  - an engine ID not the local one: kUnknownEngineID, and the reply will
//    carry the local one (engine and context engine ID);
//  - authenticated: engineBoots not the local boots, or the local engine
//    time minus the message's, in unsigned arithmetic, above the window
//    (so a message time ahead of ours fails): kNotInTimeWindow; then a MAC
//    not exactly the method's length or not the HMAC of the message as
//    received: kWrongDigest.
// At authPriv the encrypted PDU is decrypted in place and privParams
// becomes a fresh salt for the reply; an encrypted PDU that can't be
// decrypted (not readable, privacy parameters not 8 octets, a DES length
// not whole blocks, no privacy key) decrypts to nothing: the stream ends
// there, so the request fails to decode and gets no answer.  Then info
// takes the local boots and engine time.  Always true: every outcome is in
// err.
bool decryptAndCheckSignature(InStream& in, V3Info& info, int& err, const HmacKey& authKey,
                              uint32_t authMethod, const PrivKey& privKey, uint32_t privProtocol,
                              const V3ServerInfo& server);

// The MAC check and decryption alone, without engine, time or level
// checks (for a message this engine is not authoritative for, such as a
// reply): true when the message is at noAuthNoPriv or its MAC is right
// and, at authPriv, it could be decrypted; the stream is then at the PDU.
bool decryptAndCheckSignatureLite(InStream& in, V3Info& info, const HmacKey& authKey,
                                  uint32_t authMethod, const PrivKey& privKey);

// Drops the authentication and privacy of a message to be answered: no MAC,
// no salt, flags without auth and priv, level noAuthNoPriv.
void clearAuthPrivInfo(V3Info& info);

#endif  // USM_V3_READER_H_
