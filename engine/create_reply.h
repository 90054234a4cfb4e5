// Dispatch of one received SNMP message.
#ifndef ENGINE_CREATE_REPLY_H_
#define ENGINE_CREATE_REPLY_H_

class Context;

// Decodes the request in ctx.in, checks it against `communityKeep` (v1 and
// v2c: name, v3-only flag, peer under the address mask; v3: the user's
// level, keys, engine ID and time window against ctx.v3Server, and the peer
// under the address mask), answers every binding with the PDU operation of
// the request type within the item's read or write right and leaves the
// complete response in ctx.out: for v3, encrypted and signed as the request
// was, or a report (usmStats) when a security check failed.
//
// peer: the sender's IPv4 address as taken from its socket address
// (network order in memory).
//
// Returns true when ctx.out holds a response to send back; false when the
// datagram is to be dropped (a reason, if any, has been written to
// standard error).  Version 3 messages are dropped silently when ctx has
// no v3Server.
bool createReply(Context& ctx, int peer);

#endif  // ENGINE_CREATE_REPLY_H_
