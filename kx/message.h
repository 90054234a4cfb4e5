// kx::message: the typed key/value message of the platform bus.
//
// A field key is 32 bits: the top bit marks an array, the next four bits give
// the value type and the low 27 bits are the field id.  The type is part of
// the key, so the same id with two types names two different fields.  A
// message keeps its fields in insertion order, one value per key; setting an
// existing key replaces its value in place.
//
// Messages are small (a handful of fields), so lookup is a linear scan.
#ifndef KX_MESSAGE_H_
#define KX_MESSAGE_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace kx {

class MessageCodec;

// Value types, as they appear in the top five bits of a key.
enum : uint32_t {
  kTypeBool = 0x00000000,
  kTypeU32 = 0x08000000,
  kTypeU64 = 0x10000000,
  kTypeString = 0x20000000,
  kTypeMessage = 0x28000000,
  kTypeRaw = 0x30000000,
  kArrayBit = 0x80000000,
  kTypeMask = 0xf8000000,
  kIdMask = 0x07ffffff,
};

constexpr uint32_t keyType(uint32_t key) { return key & kTypeMask; }
constexpr uint32_t keyId(uint32_t key) { return key & kIdMask; }

constexpr uint32_t bool_id(uint32_t id) { return kTypeBool | (id & kIdMask); }
constexpr uint32_t u32_id(uint32_t id) { return kTypeU32 | (id & kIdMask); }
// A u32 field that carries an IPv4 address: same tag as u32; the be32
// accessors convert between the wire value (first octet most significant)
// and the agent's network-order-in-memory form.
constexpr uint32_t be32_id(uint32_t id) { return u32_id(id); }
constexpr uint32_t u64_id(uint32_t id) { return kTypeU64 | (id & kIdMask); }
constexpr uint32_t string_id(uint32_t id) { return kTypeString | (id & kIdMask); }
constexpr uint32_t message_id(uint32_t id) { return kTypeMessage | (id & kIdMask); }
constexpr uint32_t raw_id(uint32_t id) { return kTypeRaw | (id & kIdMask); }
constexpr uint32_t u32_array_id(uint32_t id) { return kArrayBit | u32_id(id); }
constexpr uint32_t u64_array_id(uint32_t id) { return kArrayBit | u64_id(id); }
constexpr uint32_t string_array_id(uint32_t id) { return kArrayBit | string_id(id); }
constexpr uint32_t message_array_id(uint32_t id) { return kArrayBit | message_id(id); }
constexpr uint32_t raw_array_id(uint32_t id) { return kArrayBit | raw_id(id); }

// Reserved fields of the bus (ids in the 0xff0000 range).
constexpr uint32_t kDstPath = 0x88ff0001;    // u32[]: destination path
constexpr uint32_t kSrcPath = 0x88ff0002;    // u32[]: sender path
constexpr uint32_t kCommand = 0x08ff0007;    // u32: command
constexpr uint32_t kRequestId = 0x08ff0008;  // u32: transport request id
constexpr uint32_t kReplyFlag = 0x00ff0009;  // bool: the message is a reply
constexpr uint32_t kErrorCode = 0x08ff000a;  // u32: error reply code
constexpr uint32_t kErrorText = 0x20ff000b;  // string: error reply text

// Generic object fields and commands.
constexpr uint32_t kObjId = 0x08fe0001;        // u32: object id
constexpr uint32_t kObjects = 0xa8fe0002;      // message[]: objects of a list
constexpr uint32_t kContinue = 0x08fe0003;     // u32: continuation mark
constexpr uint32_t kGetAllArg = 0x08fe000c;    // u32: get-all argument
constexpr uint32_t kObjGone = 0x08fe0013;      // u32: 1 = object is gone
constexpr uint32_t kCount = 0x08fe0014;        // u32: count reply
constexpr uint32_t kPageSize = 0x08fe0016;     // u32: wanted page size
constexpr uint32_t kFilterValue = 0x08010002;  // u32: subscription filter v
constexpr uint32_t kFilterMask = 0x08010003;   // u32: subscription filter m

enum : uint32_t {
  kCmdGetObj = 0xfe0002,
  kCmdSetObj = 0xfe0003,
  kCmdGetAll = 0xfe0004,
  kCmdAddObj = 0xfe0005,
  kCmdRemoveObj = 0xfe0006,
  kCmdGet = 0xfe000d,
  kCmdSet = 0xfe000e,
  kCmdCount = 0xfe0015,
  kCmdSubscribe = 0xfe0010,    // u32 0xfe0011 = kind, message 0x28fe0012 = filter
  kCmdUnsubscribe = 0xfe0011,  // same fields
};
constexpr uint32_t kSubKind = 0x08fe0011;
constexpr uint32_t kSubFilter = 0x28fe0012;

// Error codes used by handlers and the transport.
enum : uint32_t {
  kErrNotFound = 0xfe0004,    // unknown object id
  kErrMissing = 0xfe0005,     // a required value is missing
  kErrRefused = 0xfe0006,     // a value is refused
  kErrUnknownCmd = 0xfe0007,  // command not handled
  kErrBadStart = 0xfe000b,    // unknown start id of a list
  kErrNoService = 0xff0101,   // no such service on the bus
  kErrTimeout = 0xff0102,     // no reply within the time-out
  kErrPeerGone = 0xff0103,    // connection broke before the reply
  kErrBadMessage = 0xff0104,  // undecodable message
  kErrStopping = 0xff0106,    // the process is stopping: the wait was cut short
};

// Upper bound on an encoded message, and on nesting depth while decoding.
constexpr size_t kMaxMessageSize = 1 << 20;
constexpr int kMaxNesting = 32;

class message {
 public:
  using raw = std::vector<uint8_t>;

  message();
  message(const message&);
  message(message&&) noexcept;
  message& operator=(const message&);
  message& operator=(message&&) noexcept;
  ~message();

  // True when a field with exactly this typed key is present.
  bool has(uint32_t key) const;
  // Removes the field if present.
  void erase(uint32_t key);
  void clear();
  bool empty() const;
  // Number of fields.
  size_t size() const;
  // Typed key of the i-th field in insertion order. REQUIRES: i < size().
  uint32_t keyAt(size_t i) const;

  // Getters return the default when the key is absent.  REQUIRES: the key's
  // type tag matches the accessor (a mismatched key is simply never found).
  bool getBool(uint32_t key, bool def = false) const;
  uint32_t getU32(uint32_t key, uint32_t def = 0) const;
  uint64_t getU64(uint32_t key, uint64_t def = 0) const;
  // IPv4 in the agent's form: network order in memory.
  uint32_t getBe32(uint32_t key, uint32_t def = 0) const;
  std::string getString(uint32_t key, const std::string& def = std::string()) const;
  raw getRaw(uint32_t key) const;
  message getMessage(uint32_t key) const;
  std::vector<uint32_t> getU32Array(uint32_t key) const;
  std::vector<uint64_t> getU64Array(uint32_t key) const;
  std::vector<std::string> getStringArray(uint32_t key) const;
  std::vector<raw> getRawArray(uint32_t key) const;
  std::vector<message> getMessageArray(uint32_t key) const;

  // Pointer access without copying; null when absent.  The pointer lives
  // until the message is next modified.
  const std::string* findString(uint32_t key) const;
  const raw* findRaw(uint32_t key) const;
  const message* findMessage(uint32_t key) const;
  const std::vector<uint32_t>* findU32Array(uint32_t key) const;
  const std::vector<message>* findMessageArray(uint32_t key) const;
  // Mutable access to a message array, created empty when absent.  The
  // reference lives until the message is next modified otherwise.
  // REQUIRES: key is a message-array key (else the array of the same id is
  // used, and debug builds assert).
  std::vector<message>& messageArray(uint32_t key);

  // Setters add the field or replace its value.  The key's type tag must
  // match the setter; a mismatched key is ignored (and asserted in debug).
  void setBool(uint32_t key, bool v);
  void setU32(uint32_t key, uint32_t v);
  void setU64(uint32_t key, uint64_t v);
  void setBe32(uint32_t key, uint32_t networkOrder);
  void setString(uint32_t key, const std::string& v);
  void setRaw(uint32_t key, const raw& v);
  void setRaw(uint32_t key, const void* data, size_t len);
  void setMessage(uint32_t key, const message& v);
  void setU32Array(uint32_t key, const std::vector<uint32_t>& v);
  void setU64Array(uint32_t key, const std::vector<uint64_t>& v);
  void setStringArray(uint32_t key, const std::vector<std::string>& v);
  void setRawArray(uint32_t key, const std::vector<raw>& v);
  void setMessageArray(uint32_t key, const std::vector<message>& v);
  // Copies every field of other into this message (replacing same keys).
  void merge(const message& other);

  // Convenience for the reserved fields.
  uint32_t command() const { return getU32(kCommand); }
  void setCommand(uint32_t cmd) { setU32(kCommand, cmd); }
  std::vector<uint32_t> dstPath() const { return getU32Array(kDstPath); }
  void setDstPath(const std::vector<uint32_t>& p) { setU32Array(kDstPath, p); }

  bool operator==(const message& o) const;
  bool operator!=(const message& o) const { return !(*this == o); }

  // Readable one-line text: a JSON object with typed keys written as hex
  // ("0x08fe0001": 1), raw values as colon hex, nested messages as objects.
  std::string dump() const;

  // Binary encoding (little-endian; see docs/bus.md).  encode appends.
  void encode(std::string& out) const;
  std::string encode() const;
  // Decodes exactly len bytes.  Returns false (and leaves out empty) on any
  // malformed, truncated, oversized or too deeply nested input.
  static bool decode(const void* data, size_t len, message& out);

 private:
  friend class MessageCodec;
  struct Field;
  std::vector<Field> fields_;
  Field* find(uint32_t key);
  const Field* find(uint32_t key) const;
  Field& slot(uint32_t key);
  // Adds f or replaces the value of the field with its key.
  void assign(Field&& f);
};

// An error reply with the code and text.
message errorMsg(uint32_t code, const std::string& text);
// True when the message is an error reply.
bool isError(const message& m);
// The error text of an error reply ("" when none).
std::string getError(const message& m);
// The error code of an error reply (0 when none).
uint32_t getErrorCode(const message& m);

}  // namespace kx

#endif  // KX_MESSAGE_H_
