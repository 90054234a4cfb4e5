// Runs whole request datagrams through createReply over a small MIB: a few
// constant and provider-backed scalars and a three-row table, with the
// communities "public" (read), "private" (read and write) and "lan" (read,
// 10.1.0.0/16).  Any answer must be a well-formed response to the version
// that was asked.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "asn1/in_stream.h"
#include "engine/community_list.h"
#include "engine/context.h"
#include "engine/create_reply.h"
#include "engine/data.h"
#include "engine/data_provider.h"
#include "engine/leaf.h"
#include "engine/leafs.h"
#include "engine/packer.h"
#include "engine/table.h"

namespace {

constexpr size_t kMaxDatagram = 65536;
// Replies this long can't carry their outer lengths; only shorter ones are
// checked for shape.
constexpr size_t kMaxEncodable = 65535;

struct Row : Data {
  int num = 0;
  std::string text;
};

class NumPacker : public Packer {
 public:
  explicit NumPacker(unsigned tag, int constant = 0)
      : Packer(tag), constant_(constant) {}
  void pack(Context& ctx, Data const* r) override {
    ctx.out.add(r ? static_cast<const Row*>(r)->num : constant_, tag);
  }
  void unpack(Data* r, Context& ctx) override {
    int v = 0;
    if (ctx.in.getInt(&v)) static_cast<Row*>(r)->num = v;
  }

 private:
  int constant_;
};

class TextPacker : public Packer {
 public:
  explicit TextPacker(unsigned tag, std::string constant = "")
      : Packer(tag), constant_(std::move(constant)) {}
  void pack(Context& ctx, Data const* r) override {
    ctx.out.add(r ? static_cast<const Row*>(r)->text : constant_, tag);
  }
  void unpack(Data* r, Context& ctx) override {
    std::string v;
    // Keeps the record small whatever the fuzzer writes.
    if (ctx.in.getString(&v)) static_cast<Row*>(r)->text = v.substr(0, 64);
  }

 private:
  std::string constant_;
};

class OneRecord : public DataProvider {
 public:
  explicit OneRecord(bool writable) : writable_(writable) {}
  Data* get() override { return &record_; }
  bool set(Data*) override { return writable_; }

 private:
  Row record_;
  bool writable_;
};

class Rows : public Table {
 public:
  Rows() {
    for (unsigned i : {1u, 2u, 7u}) rows_[OID{i, 0}].num = static_cast<int>(i);
  }
  Data* get(OID const& index) override {
    auto it = rows_.find(index);
    return it == rows_.end() ? nullptr : &it->second;
  }
  std::pair<OID, Data*> getNext(OID const& index) override {
    auto it = rows_.upper_bound(index);
    if (it == rows_.end()) return {OID(), nullptr};
    return {it->first, &it->second};
  }
  bool set(OID const&, Data*) override { return false; }
  unsigned int count() override { return rows_.size(); }

 private:
  std::map<OID, Row, tree_node_comp<OID>> rows_;
};

CommunityList::Item* community(const char* name, bool read, bool write) {
  auto* item = new CommunityList::Item;
  item->name = name;
  item->readAccess = read;
  item->writeAccess = write;
  return item;
}

void buildOnce() {
  static bool built = false;
  if (built) return;
  built = true;
  // Every answered binding logs a line; the fuzzer's speed matters more.
  std::cerr.rdbuf(nullptr);

  static Rows rows;
  static OneRecord contact(true), location(false);
  addScalarLeaf(OID("1.3.6.1.2.1.1.1"), new TextPacker(0x04, "router"),
                nullptr);
  addScalarLeaf(OID("1.3.6.1.2.1.1.3"), new NumPacker(0x43, 4200), nullptr);
  addScalarLeaf(OID("1.3.6.1.2.1.1.4"), new TextPacker(0x04), &contact);
  addScalarLeaf(OID("1.3.6.1.2.1.1.6"), new TextPacker(0x04), &location);
  addColumnarLeaf(OID("1.3.6.1.2.1.2.2.1.1"), new NumPacker(0x02), &rows);
  addColumnarLeaf(OID("1.3.6.1.2.1.2.2.1.2"), new TextPacker(0x04), &rows);
  addColumnarLeaf(OID("1.3.6.1.2.1.2.2.1.5"), new NumPacker(0x42), &rows);
  // The tree's nodes go at exit but leaves live for the whole run; keep
  // them reachable so the leak check at exit doesn't count them.
  static auto* everyLeaf = new std::vector<Leaf*>;
  for (const auto& entry : leafs) everyLeaf->push_back(entry.second);

  static CommunityList list;
  list.items.push_back(community("public", true, false));
  list.items.push_back(community("private", true, true));
  CommunityList::Item* lan = community("lan", true, false);
  lan->address = 10 | (1 << 8);
  lan->addressMask = 0xFFFF;
  list.items.push_back(lan);
  communityKeep = &list;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  buildOnce();
  if (size > kMaxDatagram) return 0;
  Context ctx(const_cast<unsigned char*>(data), size);
  // Half the inputs come from inside the "lan" network, half from outside.
  const int peer = (size & 1) ? (10 | (1 << 8) | (5 << 24)) : (192 | (7 << 24));
  if (!createReply(ctx, peer)) return 0;

  const auto& reply = ctx.out.bytes();
  if (reply.size() > kMaxEncodable) return 0;
  InStream check(reply.data(), reply.size());
  InStream request(data, size);
  const int version = check.getVersion();
  if (version < 0 || version > 2 || version != request.getVersion()) {
    std::abort();
  }
  std::string community;
  if (!check.getString(&community) || check.getType() != 0xA2 ||
      check.enterSeq() < 0) {
    std::abort();
  }
  int id = 0, status = 0, index = 0;
  if (!check.getInt(&id) || !check.getInt(&status) || !check.getInt(&index)) {
    std::abort();
  }
  if (status != 0 && status != 2 && status != 4) std::abort();
  return 0;
}
