// The parts of createReply that the community path and the v3 path share.
// Internal to the engine.
#ifndef ENGINE_REPLY_PDU_H_
#define ENGINE_REPLY_PDU_H_

#include <cstdint>
#include <string>

#include "engine/community_list.h"

class Context;

// Writes line and a newline to standard error; false (drop the datagram).
bool drop(const char* line);

// The item named name, or null (also when there is no community list).
CommunityList::Item* findCommunity(const std::string& name);

// Reads the request PDU from ctx.in and writes the response PDU with
// responseTag: request-id echoed, every binding answered by the operation
// of the request type with the rights of ctx.community's item, the error
// fields set, the binding list and the PDU closed.  For a v3 report the
// binding list is the one usmStats binding of ctx.v3ReportKind instead;
// when the scoped PDU is hidden (a refused privacy protocol) nothing is read
// and the request-id is 0.  False to drop the datagram: an unreadable
// field (silently) or an unknown request type (logged).
bool answerPdu(Context& ctx, unsigned responseTag, bool report);

// The v3 path of createReply, after the version: the user-based security
// checks, the response with its header (a report for a failed check), its
// encryption and MAC.  False to drop.
bool createV3Reply(Context& ctx, uint32_t peer);

#endif  // ENGINE_REPLY_PDU_H_
