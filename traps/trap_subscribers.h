// Trap subscribers: the event sources an operator can switch on.
//
// Each entry of `scribers` connects the agent to one kind of router event:
// its subscribe function adds the entry's trap maker and subscribes the
// agent's looper to the events on the bus; its unsubscribe function undoes
// both.  An entry's index in the list is its generator id, the number an
// operator puts into the trapGenerators setting ("kxctl snmp set
// trap-generators=NAME" resolves the name).  The interfaces module appends
// "interfaces" (generator 0); plug-ins append theirs from autorun(), after
// it, and never remove one (the ids would shift).
//
// Process-wide, used only on the agent's thread.
#ifndef TRAPS_TRAP_SUBSCRIBERS_H_
#define TRAPS_TRAP_SUBSCRIBERS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "kx/message.h"

struct TrapSubscriber {
  std::string name;       // shown in the generator list
  void (*subscribe)();    // may be called while already subscribed
  void (*unsubscribe)();  // may be called while not subscribed
};

extern std::vector<TrapSubscriber> scribers;

// Asks the service at path to send events of kind to the agent's looper,
// filtered by filter ({u32 0x10002 = v, u32 0x10003 = m}: objects whose
// 0x10002 AND m equal v; empty: every object).  The events reach the
// agent's unknown-command handler, which turns kinds 1, 0xfe000b and
// 0x10004 into traps.  Returns false, after one line on standard error,
// when there is no bus or the service refused or did not answer.
bool subscribeToEvents(const std::vector<uint32_t>& path, uint32_t kind, const kx::message& filter);
// Cancels such a subscription (same path, kind and filter).  Returns false
// when the service could not be told.
bool unsubscribeFromEvents(const std::vector<uint32_t>& path, uint32_t kind,
                           const kx::message& filter);

#endif  // TRAPS_TRAP_SUBSCRIBERS_H_
