// Link traps: linkUp and linkDown from the interface service's events.
//
// The interface service ([20, 0]) sends an event of kind 0x10004 with the
// interface object when it changes.  Its u32 0x10003 holds the state bits:
// 0x100 the interface is up (linkUp, ifAdminStatus 1), 0x400 it is running
// (ifOperStatus 1).  The agent keeps the last state it saw per interface in
// the link-state map and sends a trap only when one of those two bits
// changed.  The interfaces module primes the map at start-up and appends
// the "interfaces" subscriber, which switches these traps on and off.
#ifndef TRAPS_LINK_TRAPS_H_
#define TRAPS_LINK_TRAPS_H_

#include <cstdint>
#include <map>
#include <vector>

#include "traps/trap_sources.h"

// The interface service, its event kind and the state field.
extern const std::vector<uint32_t> kLinkEventPath;  // [20, 0]
constexpr uint32_t kLinkEventKind = 0x10004;
constexpr uint32_t kLinkState = 0x08010003;
constexpr uint32_t kLinkFlags = 0x08010002;

// Interface id -> the state bits last seen.  Priming stores them masked
// with 0x10103 while linkTrapMaker compares them masked with 0x500; the
// masks differ on purpose, so the first event of an interface after start
// normally gives a trap.
extern std::map<uint32_t, uint32_t> linkStates;

// Handles events whose sender path (0x88ff0002) is exactly [20, 0] and that
// carry u32 0xfe0001 (the interface id) and the state; returns 0 without a
// trap when the masked state equals the one stored for the interface.
// Otherwise stores it and makes linkUp (1.3.6.1.6.3.1.1.5.4, generic 3) if
// bit 0x100 is set, else linkDown (1.3.6.1.6.3.1.1.5.3, generic 2), with
// three INTEGER bindings named by the column OIDs without the row index
// (deliberately): ifIndex = id, ifAdminStatus and ifOperStatus.
int linkTrapMaker(std::vector<VariableBinding>& bindings, const kx::message& event, OID& trapOid,
                  int& generic, int& specific);

// Reads every interface from [20, 0] (command 1, paged, through the agent's
// bus) and stores the state of each that has an id, flags and a state and
// whose flags lack bit 0x80; ids already in the map keep their value.
// Stops quietly at the first error reply.
void primeLinkStates();

// The "interfaces" subscriber: adds linkTrapMaker and subscribes to kind
// 0x10004 from [20, 0] with the filter {0x10002 = 0, 0x10003 = 128}; the
// other removes the first linkTrapMaker and cancels that subscription.
void interfacesSubscribe();
void interfacesUnsubscribe();

#endif  // TRAPS_LINK_TRAPS_H_
