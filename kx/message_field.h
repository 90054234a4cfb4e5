// The storage of one kx::message field (internal to kx).
#ifndef KX_MESSAGE_FIELD_H_
#define KX_MESSAGE_FIELD_H_

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "kx/message.h"

namespace kx {

// The value alternatives, one per type tag.  The active alternative always
// matches the key's tag: the setters and the decoder only create fields
// that way, so readers may rely on it.
using FieldValue =
    std::variant<bool, uint32_t, uint64_t, std::string, message::raw, message,
                 std::vector<uint32_t>, std::vector<uint64_t>, std::vector<std::string>,
                 std::vector<message::raw>, std::vector<message>>;

struct message::Field {
  uint32_t key;
  FieldValue value;
};

// True for the type tags a key may carry (there is no array of bools).
constexpr bool validKeyType(uint32_t type) {
  switch (type) {
    case kTypeBool:
    case kTypeU32:
    case kTypeU64:
    case kTypeString:
    case kTypeMessage:
    case kTypeRaw:
    case kArrayBit | kTypeU32:
    case kArrayBit | kTypeU64:
    case kArrayBit | kTypeString:
    case kArrayBit | kTypeMessage:
    case kArrayBit | kTypeRaw:
      return true;
    default:
      return false;
  }
}

}  // namespace kx

#endif  // KX_MESSAGE_FIELD_H_
