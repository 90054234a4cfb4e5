#include "kx/message.h"

#include <arpa/inet.h>

#include <cassert>
#include <utility>

#include "kx/message_field.h"

namespace kx {

namespace {

// The value of field f as a T, or null when f is null or holds another type.
template <typename T, typename F>
const T* valueOf(const F* f) {
  return f ? std::get_if<T>(&f->value) : nullptr;
}

}  // namespace

message::message() = default;
message::message(const message&) = default;
message::message(message&&) noexcept = default;
message& message::operator=(const message&) = default;
message& message::operator=(message&&) noexcept = default;
message::~message() = default;

message::Field* message::find(uint32_t key) {
  for (Field& f : fields_)
    if (f.key == key) return &f;
  return nullptr;
}

const message::Field* message::find(uint32_t key) const {
  for (const Field& f : fields_)
    if (f.key == key) return &f;
  return nullptr;
}

message::Field& message::slot(uint32_t key) {
  if (Field* f = find(key)) return *f;
  fields_.push_back(Field{key, FieldValue()});
  return fields_.back();
}

bool message::has(uint32_t key) const { return find(key) != nullptr; }

void message::erase(uint32_t key) {
  for (auto it = fields_.begin(); it != fields_.end(); ++it) {
    if (it->key == key) {
      fields_.erase(it);
      return;
    }
  }
}

void message::clear() { fields_.clear(); }
bool message::empty() const { return fields_.empty(); }
size_t message::size() const { return fields_.size(); }
uint32_t message::keyAt(size_t i) const { return fields_[i].key; }

// Getters.  The stored alternative always matches the key's tag, so a key
// of the wrong tag finds either nothing or an alternative of another type:
// both read as absent.

bool message::getBool(uint32_t key, bool def) const {
  if (keyType(key) != kTypeBool) return def;
  const bool* v = valueOf<bool>(find(key));
  return v ? *v : def;
}

uint32_t message::getU32(uint32_t key, uint32_t def) const {
  if (keyType(key) != kTypeU32) return def;
  const uint32_t* v = valueOf<uint32_t>(find(key));
  return v ? *v : def;
}

uint64_t message::getU64(uint32_t key, uint64_t def) const {
  if (keyType(key) != kTypeU64) return def;
  const uint64_t* v = valueOf<uint64_t>(find(key));
  return v ? *v : def;
}

// The field holds the address with its first octet most significant;
// htonl puts that octet first in memory, which is the agent's form.
uint32_t message::getBe32(uint32_t key, uint32_t def) const {
  if (keyType(key) != kTypeU32) return def;
  const uint32_t* v = valueOf<uint32_t>(find(key));
  return v ? htonl(*v) : def;
}

std::string message::getString(uint32_t key, const std::string& def) const {
  const std::string* v = findString(key);
  return v ? *v : def;
}

message::raw message::getRaw(uint32_t key) const {
  const raw* v = findRaw(key);
  return v ? *v : raw();
}

message message::getMessage(uint32_t key) const {
  const message* v = findMessage(key);
  return v ? *v : message();
}

std::vector<uint32_t> message::getU32Array(uint32_t key) const {
  const std::vector<uint32_t>* v = findU32Array(key);
  return v ? *v : std::vector<uint32_t>();
}

std::vector<uint64_t> message::getU64Array(uint32_t key) const {
  if (keyType(key) != (kArrayBit | kTypeU64)) return {};
  const auto* v = valueOf<std::vector<uint64_t>>(find(key));
  return v ? *v : std::vector<uint64_t>();
}

std::vector<std::string> message::getStringArray(uint32_t key) const {
  if (keyType(key) != (kArrayBit | kTypeString)) return {};
  const auto* v = valueOf<std::vector<std::string>>(find(key));
  return v ? *v : std::vector<std::string>();
}

std::vector<message::raw> message::getRawArray(uint32_t key) const {
  if (keyType(key) != (kArrayBit | kTypeRaw)) return {};
  const auto* v = valueOf<std::vector<raw>>(find(key));
  return v ? *v : std::vector<raw>();
}

std::vector<message> message::getMessageArray(uint32_t key) const {
  const std::vector<message>* v = findMessageArray(key);
  return v ? *v : std::vector<message>();
}

const std::string* message::findString(uint32_t key) const {
  if (keyType(key) != kTypeString) return nullptr;
  return valueOf<std::string>(find(key));
}

const message::raw* message::findRaw(uint32_t key) const {
  if (keyType(key) != kTypeRaw) return nullptr;
  return valueOf<raw>(find(key));
}

const message* message::findMessage(uint32_t key) const {
  if (keyType(key) != kTypeMessage) return nullptr;
  return valueOf<message>(find(key));
}

const std::vector<uint32_t>* message::findU32Array(uint32_t key) const {
  if (keyType(key) != (kArrayBit | kTypeU32)) return nullptr;
  return valueOf<std::vector<uint32_t>>(find(key));
}

const std::vector<message>* message::findMessageArray(uint32_t key) const {
  if (keyType(key) != (kArrayBit | kTypeMessage)) return nullptr;
  return valueOf<std::vector<message>>(find(key));
}

std::vector<message>& message::messageArray(uint32_t key) {
  // A reference must be returned even for a mismatched key: that misuse
  // gets the message-array field of the same id.
  if (keyType(key) != (kArrayBit | kTypeMessage)) {
    assert(!"messageArray: key is not a message-array key");
    key = message_array_id(keyId(key));
  }
  Field& f = slot(key);
  if (!std::holds_alternative<std::vector<message>>(f.value)) f.value = std::vector<message>();
  return std::get<std::vector<message>>(f.value);
}

// Setters: a key whose tag does not match the setter is a programming
// error; it is ignored so that release builds keep a consistent message.
namespace {

bool tagMatches(uint32_t key, uint32_t wantType) {
  if (keyType(key) == wantType) return true;
  assert(!"message setter: the key's type tag does not match the setter");
  return false;
}

}  // namespace

// The new value is built before the slot is looked up: the argument may
// live inside this message, and adding a slot can move the fields.
void message::assign(Field&& f) { slot(f.key).value = std::move(f.value); }

void message::setBool(uint32_t key, bool v) {
  if (tagMatches(key, kTypeBool)) assign(Field{key, FieldValue(std::in_place_type<bool>, v)});
}

void message::setU32(uint32_t key, uint32_t v) {
  if (tagMatches(key, kTypeU32)) assign(Field{key, FieldValue(std::in_place_type<uint32_t>, v)});
}

void message::setU64(uint32_t key, uint64_t v) {
  if (tagMatches(key, kTypeU64)) assign(Field{key, FieldValue(std::in_place_type<uint64_t>, v)});
}

// networkOrder has the first octet first in memory; ntohl makes it the
// most significant byte, which is how the field carries an address.
void message::setBe32(uint32_t key, uint32_t networkOrder) {
  if (tagMatches(key, kTypeU32))
    assign(Field{key, FieldValue(std::in_place_type<uint32_t>, ntohl(networkOrder))});
}

void message::setString(uint32_t key, const std::string& v) {
  if (tagMatches(key, kTypeString))
    assign(Field{key, FieldValue(std::in_place_type<std::string>, v)});
}

void message::setRaw(uint32_t key, const raw& v) {
  if (tagMatches(key, kTypeRaw)) assign(Field{key, FieldValue(std::in_place_type<raw>, v)});
}

void message::setRaw(uint32_t key, const void* data, size_t len) {
  if (!tagMatches(key, kTypeRaw)) return;
  const uint8_t* p = static_cast<const uint8_t*>(data);
  assign(Field{key, FieldValue(std::in_place_type<raw>, p, p + (p ? len : 0))});
}

void message::setMessage(uint32_t key, const message& v) {
  if (!tagMatches(key, kTypeMessage)) return;
  assign(Field{key, FieldValue(std::in_place_type<message>, v)});
}

void message::setU32Array(uint32_t key, const std::vector<uint32_t>& v) {
  if (tagMatches(key, kArrayBit | kTypeU32))
    assign(Field{key, FieldValue(std::in_place_type<std::vector<uint32_t>>, v)});
}

void message::setU64Array(uint32_t key, const std::vector<uint64_t>& v) {
  if (tagMatches(key, kArrayBit | kTypeU64))
    assign(Field{key, FieldValue(std::in_place_type<std::vector<uint64_t>>, v)});
}

void message::setStringArray(uint32_t key, const std::vector<std::string>& v) {
  if (tagMatches(key, kArrayBit | kTypeString))
    assign(Field{key, FieldValue(std::in_place_type<std::vector<std::string>>, v)});
}

void message::setRawArray(uint32_t key, const std::vector<raw>& v) {
  if (tagMatches(key, kArrayBit | kTypeRaw))
    assign(Field{key, FieldValue(std::in_place_type<std::vector<raw>>, v)});
}

void message::setMessageArray(uint32_t key, const std::vector<message>& v) {
  if (!tagMatches(key, kArrayBit | kTypeMessage)) return;
  assign(Field{key, FieldValue(std::in_place_type<std::vector<message>>, v)});
}

void message::merge(const message& other) {
  if (&other == this) return;
  const message copy(other);  // other may live inside this message
  for (const Field& f : copy.fields_) slot(f.key).value = f.value;
}

// Equal when both hold the same keys with the same values; the order in
// which the fields were added does not matter.
bool message::operator==(const message& o) const {
  if (fields_.size() != o.fields_.size()) return false;
  for (size_t i = 0; i < fields_.size(); ++i) {
    const Field& f = fields_[i];
    // Usually both were built in the same order: no search needed.
    const Field* g = o.fields_[i].key == f.key ? &o.fields_[i] : o.find(f.key);
    if (!g || !(g->value == f.value)) return false;
  }
  return true;
}

message errorMsg(uint32_t code, const std::string& text) {
  message m;
  m.setU32(kErrorCode, code);
  m.setString(kErrorText, text);
  return m;
}

bool isError(const message& m) { return m.has(kErrorCode); }

std::string getError(const message& m) { return m.getString(kErrorText); }

uint32_t getErrorCode(const message& m) { return m.getU32(kErrorCode); }

}  // namespace kx
