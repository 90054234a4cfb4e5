#include "data/string_packer.h"

#include <cstdio>

#include "engine/context.h"

void StringPacker::pack(Context& ctx, Data const* record) { ctx.out.add(get(record), tag); }

void StringPacker::unpack(Data* record, Context& ctx) {
  std::string value;
  if (!ctx.in.getString(&value)) return;
  // The value may hold any byte, NUL included: written by length.
  std::fputs("unpacked s = ", stderr);
  std::fwrite(value.data(), 1, value.size(), stderr);
  std::fputc('\n', stderr);
  set(record, value);
}

OID StringPacker::getAsKey(Data const* record) {
  std::string value = get(record);
  OID key;
  if (keyLength > 0) {
    if (value.size() != keyLength) {
      std::fputs("inconsistent key length\n", stderr);
      return OID();
    }
  } else {
    key += static_cast<unsigned int>(value.size());
  }
  for (char c : value) key += static_cast<unsigned int>(static_cast<unsigned char>(c));
  return key;
}

OID StringPacker::setFromKey(Data* record, OID const& key) {
  OID rest = key;
  OID part;
  bool popped = keyLength > 0 ? rest.popString(keyLength, &part) : rest.popString(&part);
  std::string value;
  // Both forms are read back length-prefixed (see the header).
  if (!popped || !part.asString(&value)) return OID();
  set(record, value);
  return rest;
}

void ConstStringPacker::pack(Context& ctx, Data const*) { ctx.out.add(value_, tag); }

void DataStringPacker::pack(Context& ctx, Data const* record) {
  if (record == nullptr) {
    ctx.out.add(nullptr, 0, tag);
  } else {
    ctx.out.add(record->*member_, tag);
  }
}

std::string DataStringPacker::get(Data const* record) {
  return record ? record->*member_ : std::string();
}

void DataStringPacker::set(Data* record, std::string const& value) {
  if (record) record->*member_ = value;
}

void DataRawPacker::pack(Context& ctx, Data const* record) {
  if (record == nullptr) {
    ctx.out.add(nullptr, 0, tag);
  } else {
    const std::vector<unsigned char>& bytes = record->*member_;
    ctx.out.add(bytes.data(), static_cast<unsigned int>(bytes.size()), tag);
  }
}

std::string DataRawPacker::get(Data const* record) {
  if (!record) return std::string();
  const std::vector<unsigned char>& bytes = record->*member_;
  return std::string(bytes.begin(), bytes.end());
}

void DataRawPacker::set(Data* record, std::string const& value) {
  if (record) (record->*member_).assign(value.begin(), value.end());
}
