// Dispatch of one received SNMP message.
#ifndef ENGINE_CREATE_REPLY_H_
#define ENGINE_CREATE_REPLY_H_

class Context;

// Decodes the request in ctx.in, checks it against `communityKeep` (name,
// v3-only flag, peer under the address mask, read or write right), answers
// every binding with the PDU operation of the request type and leaves the
// complete response in ctx.out.
//
// peer: the sender's IPv4 address as taken from its socket address
// (network order in memory).
//
// Returns true when ctx.out holds a response to send back; false when the
// datagram is to be dropped (a reason, if any, has been written to
// standard error).  Version 3 messages are dropped: no user-based security
// is available on this path.
bool createReply(Context& ctx, int peer);

#endif  // ENGINE_CREATE_REPLY_H_
