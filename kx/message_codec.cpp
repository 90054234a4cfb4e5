// Binary encoding of kx::message; the layout is in kx/wire_format.h.
#include <algorithm>
#include <type_traits>
#include <utility>

#include "kx/message.h"
#include "kx/message_field.h"
#include "kx/wire_format.h"

namespace kx {

namespace {

using wire::putU32;
using wire::putU64;

void putBytes(std::string& out, const void* data, size_t len) {
  putU32(out, static_cast<uint32_t>(len));
  out.append(static_cast<const char*>(data), len);
}

void putNested(std::string& out, const message& m) {
  // Length first, back-patched once the nested message is written.
  const size_t at = out.size();
  putU32(out, 0);
  m.encode(out);
  wire::patchU32(out, at, static_cast<uint32_t>(out.size() - at - wire::kPrefixSize));
}

struct ValueWriter {
  std::string& out;
  void operator()(bool v) const { out.push_back(v ? 1 : 0); }
  void operator()(uint32_t v) const { putU32(out, v); }
  void operator()(uint64_t v) const { putU64(out, v); }
  void operator()(const std::string& v) const { putBytes(out, v.data(), v.size()); }
  void operator()(const message::raw& v) const { putBytes(out, v.data(), v.size()); }
  void operator()(const message& v) const { putNested(out, v); }
  template <typename T>
  void operator()(const std::vector<T>& v) const {
    putU32(out, static_cast<uint32_t>(v.size()));
    for (const T& e : v) (*this)(e);
  }
};

// A cursor over untrusted bytes.  Every read checks the remaining length
// first and moves the cursor only when it succeeds.
class Reader {
 public:
  Reader(const uint8_t* p, size_t len) : p_(p), left_(len) {}

  size_t left() const { return left_; }

  bool u8(uint8_t& v) {
    if (left_ < 1) return false;
    v = *p_;
    skip(1);
    return true;
  }
  bool u32(uint32_t& v) {
    if (left_ < wire::kU32Size) return false;
    v = wire::readU32(p_);
    skip(wire::kU32Size);
    return true;
  }
  bool u64(uint64_t& v) {
    if (left_ < wire::kU64Size) return false;
    v = wire::readU64(p_);
    skip(wire::kU64Size);
    return true;
  }
  // A length prefix and that many bytes.
  bool bytes(const uint8_t*& data, size_t& len) {
    uint32_t n;
    if (left_ < wire::kPrefixSize) return false;
    n = wire::readU32(p_);
    if (n > left_ - wire::kPrefixSize) return false;
    data = p_ + wire::kPrefixSize;
    len = n;
    skip(wire::kPrefixSize + n);
    return true;
  }
  // An element count that the remaining bytes can really hold, given the
  // smallest size of one element.
  bool count(size_t minElement, uint32_t& n) {
    uint32_t v;
    if (left_ < wire::kPrefixSize) return false;
    v = wire::readU32(p_);
    if (v > (left_ - wire::kPrefixSize) / minElement) return false;
    n = v;
    skip(wire::kPrefixSize);
    return true;
  }

 private:
  void skip(size_t n) {
    p_ += n;
    left_ -= n;
  }
  const uint8_t* p_;
  size_t left_;
};

bool decodeMessage(Reader& in, int depth, message& out);

}  // namespace

// Reaches the fields of a message being decoded: appending directly keeps
// decoding linear (set* would search the fields for every key).
class MessageCodec {
 public:
  static void append(message& m, uint32_t key, FieldValue&& v) {
    m.fields_.push_back(message::Field{key, std::move(v)});
  }
};

namespace {

bool readScalar(Reader& in, int, bool& v) {
  uint8_t b;
  // Only 0 and 1 are booleans; anything else is a corrupt or foreign
  // encoding, and accepting it would break the encode/decode round trip.
  if (!in.u8(b) || b > 1) return false;
  v = b == 1;
  return true;
}
bool readScalar(Reader& in, int, uint32_t& v) { return in.u32(v); }
bool readScalar(Reader& in, int, uint64_t& v) { return in.u64(v); }
bool readScalar(Reader& in, int, std::string& v) {
  const uint8_t* d;
  size_t n;
  if (!in.bytes(d, n)) return false;
  v.assign(reinterpret_cast<const char*>(d), n);
  return true;
}
bool readScalar(Reader& in, int, message::raw& v) {
  const uint8_t* d;
  size_t n;
  if (!in.bytes(d, n)) return false;
  v.assign(d, d + n);
  return true;
}
bool readScalar(Reader& in, int depth, message& v) {
  const uint8_t* d;
  size_t n;
  if (!in.bytes(d, n)) return false;
  if (depth >= kMaxNesting) return false;
  Reader sub(d, n);
  // The nested message must use up exactly its length.
  return decodeMessage(sub, depth + 1, v) && sub.left() == 0;
}

template <typename T>
bool readArray(Reader& in, uint32_t scalarType, int depth, std::vector<T>& v) {
  uint32_t n;
  if (!in.count(wire::minValueSize(scalarType), n)) return false;
  v.reserve(n);  // safe: n elements fit in the bytes that remain
  for (uint32_t i = 0; i < n; ++i) {
    T e{};
    if (!readScalar(in, depth, e)) return false;
    v.push_back(std::move(e));
  }
  return true;
}

// Arrays are the vectors among the value types, except raw bytes.
template <typename T>
struct IsArray : std::false_type {};
template <typename E>
struct IsArray<std::vector<E>> : std::bool_constant<!std::is_same_v<E, uint8_t>> {};

template <typename T>
bool readValue(Reader& in, uint32_t type, int depth, FieldValue& out) {
  T v{};
  bool ok;
  if constexpr (IsArray<T>::value)
    ok = readArray(in, type & ~kArrayBit, depth, v);
  else
    ok = readScalar(in, depth, v);
  if (ok) out.emplace<T>(std::move(v));
  return ok;
}

bool readField(Reader& in, uint32_t key, int depth, FieldValue& out) {
  const uint32_t type = keyType(key);
  switch (type) {
    case kTypeBool:
      return readValue<bool>(in, type, depth, out);
    case kTypeU32:
      return readValue<uint32_t>(in, type, depth, out);
    case kTypeU64:
      return readValue<uint64_t>(in, type, depth, out);
    case kTypeString:
      return readValue<std::string>(in, type, depth, out);
    case kTypeRaw:
      return readValue<message::raw>(in, type, depth, out);
    case kTypeMessage:
      return readValue<message>(in, type, depth, out);
    case kArrayBit | kTypeU32:
      return readValue<std::vector<uint32_t>>(in, type, depth, out);
    case kArrayBit | kTypeU64:
      return readValue<std::vector<uint64_t>>(in, type, depth, out);
    case kArrayBit | kTypeString:
      return readValue<std::vector<std::string>>(in, type, depth, out);
    case kArrayBit | kTypeRaw:
      return readValue<std::vector<message::raw>>(in, type, depth, out);
    case kArrayBit | kTypeMessage:
      return readValue<std::vector<message>>(in, type, depth, out);
    default:
      return false;  // unknown type tag
  }
}

}  // namespace

void message::encode(std::string& out) const {
  putU32(out, static_cast<uint32_t>(fields_.size()));
  for (const Field& f : fields_) {
    putU32(out, f.key);
    std::visit(ValueWriter{out}, f.value);
  }
}

std::string message::encode() const {
  std::string out;
  encode(out);
  return out;
}

namespace {

// depth counts the messages enclosing this one (0 for the outermost).
bool decodeMessage(Reader& in, int depth, message& out) {
  uint32_t n;
  if (!in.count(wire::kMinFieldSize, n)) return false;
  std::vector<uint32_t> keys;
  keys.reserve(n);
  for (uint32_t i = 0; i < n; ++i) {
    uint32_t key;
    if (!in.u32(key) || !validKeyType(keyType(key))) return false;
    FieldValue v;
    if (!readField(in, key, depth, v)) return false;
    keys.push_back(key);
    MessageCodec::append(out, key, std::move(v));
  }
  // A key twice is refused rather than resolved: a message never holds
  // two values for one key, so such bytes were not written by an encoder.
  // Sorting keeps this check O(n log n) for messages with many fields.
  std::sort(keys.begin(), keys.end());
  return std::adjacent_find(keys.begin(), keys.end()) == keys.end();
}

}  // namespace

bool message::decode(const void* data, size_t len, message& out) {
  out.clear();
  if (len > kMaxMessageSize || (len > 0 && data == nullptr)) return false;
  Reader in(static_cast<const uint8_t*>(data), len);
  message m;
  if (!decodeMessage(in, 0, m) || in.left() != 0) return false;  // trailing bytes refused
  out = std::move(m);
  return true;
}

}  // namespace kx
