// The undo notice that handlers send to the configuration history
// (service 2) after a change: one-way, so a missing history costs nothing.
//
//   command 0xff0007 = kCmdUndo
//   message 0x28fe0021 = the message that undoes the change
//   string  0x20fe0022 = what changed, for people ("changed snmp settings")
#ifndef KX_UNDO_MESSAGE_H_
#define KX_UNDO_MESSAGE_H_

#include <cstdint>

namespace kx {

constexpr uint32_t kCmdUndo = 0xfe0020;
constexpr uint32_t kUndoMessage = 0x28fe0021;
constexpr uint32_t kUndoText = 0x20fe0022;
// The configuration history's service id.
constexpr uint32_t kHistoryService = 2;

}  // namespace kx

#endif  // KX_UNDO_MESSAGE_H_
