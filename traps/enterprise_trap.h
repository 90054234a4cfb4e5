// The enterprise trap any router service can raise over the bus.
//
// A message with command 1 sent to the agent ([34]) becomes the trap
// 1.3.6.1.4.1.32473.1.1.9, enterprise-specific 1 (snmpTrapOID.0
// 1.3.6.1.4.1.32473.1.1.9.0.1 in v2c and v3), with at most one binding
// described by three fields of the message:
//
//   string 0x3e9   the binding's OID as dotted text
//   u32 0x3ea      its value type: a BER tag, encoded as OutStream::addByType
//                  says (2, 4, 5, 6, 0x40, 0x41, 0x43, 0x47)
//   string 0x3eb   the value as text
//
// (snmp::kCmdSendTrap, kTrapOid, kTrapType and kTrapValue of kx/snmp_keys.h).
// Without the OID or the type there is no binding; without the text only a
// NULL (type 5) binding is added.
#ifndef TRAPS_ENTERPRISE_TRAP_H_
#define TRAPS_ENTERPRISE_TRAP_H_

#include "traps/trap_maker.h"

// Handles exactly the events whose command (u32 0xff0007) is 1.
int talvorTrapMaker(std::vector<VariableBinding>& bindings, const kx::message& event, OID& trapOid,
                    int& generic, int& specific);

#endif  // TRAPS_ENTERPRISE_TRAP_H_
