// A small hand-made MIB over one record type, registered in `leafs`, with a
// community list as `communityKeep`: what the engine's unit tests and the
// request fuzz targets answer from.  Header-only; no test framework.
#ifndef TESTS_UNIT_SUPPORT_FAKE_MIB_H_
#define TESTS_UNIT_SUPPORT_FAKE_MIB_H_

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "engine/community_list.h"
#include "engine/context.h"
#include "engine/data.h"
#include "engine/data_provider.h"
#include "engine/leafs.h"
#include "engine/packer.h"
#include "engine/table.h"

namespace test_support {

struct Row : Data {
  int num = 0;
  std::string text;
};

class NumPacker : public Packer {
 public:
  NumPacker(int Row::*member, unsigned tag) : Packer(tag), member_(member) {}
  void pack(Context& ctx, Data const* r) override {
    ctx.out.add(static_cast<const Row*>(r)->*member_, tag);
  }
  void unpack(Data* r, Context& ctx) override {
    int v = 0;
    if (ctx.in.getInt(&v)) static_cast<Row*>(r)->*member_ = v;
  }

 private:
  int Row::*member_;
};

// A string member of Row, or a constant (packed for a null record).
class TextPacker : public Packer {
 public:
  explicit TextPacker(std::string Row::*member) : Packer(4), member_(member) {}
  explicit TextPacker(const char* constant) : Packer(4), constant_(constant) {}
  void pack(Context& ctx, Data const* r) override {
    ctx.out.add(r ? static_cast<const Row*>(r)->*member_ : constant_, tag);
  }
  void unpack(Data* r, Context& ctx) override {
    std::string v;
    // Short, so that a fuzzer's SETs keep the records small.
    if (ctx.in.getString(&v) && member_) static_cast<Row*>(r)->*member_ = v.substr(0, 64);
  }

 private:
  std::string Row::*member_ = nullptr;
  std::string constant_;
};

class FakeProvider : public DataProvider {
 public:
  Data* get() override { return available ? &record : nullptr; }
  bool set(Data*) override {
    ++sets;
    return writable;
  }
  Row record;
  bool available = true;
  bool writable = true;
  int sets = 0;
};

// Rows by index.  set records the index and reports false, as table
// write-backs do.
class FakeTable : public Table {
 public:
  Data* get(OID const& index) override {
    lastGet = index;
    auto it = rows.find(index);
    return it == rows.end() ? nullptr : &it->second;
  }
  std::pair<OID, Data*> getNext(OID const& index) override {
    auto it = rows.upper_bound(index);
    if (it == rows.end()) return {OID(), nullptr};
    return {it->first, &it->second};
  }
  bool set(OID const& index, Data*) override {
    lastSet = index;
    ++sets;
    return false;
  }
  unsigned int count() override { return rows.size(); }

  std::map<OID, Row, tree_node_comp<OID>> rows;
  OID lastGet, lastSet;
  int sets = 0;
};

inline const OID kSysDescr("1.3.6.1.2.1.1.1");     // constant "router"
inline const OID kSysUpTime("1.3.6.1.2.1.1.3");    // TimeTicks 4200
inline const OID kSysContact("1.3.6.1.2.1.1.4");   // writable "noc"
inline const OID kSysName("1.3.6.1.2.1.1.5");      // provider without record
inline const OID kSysLocation("1.3.6.1.2.1.1.6");  // read-only provider
inline const OID kIfIndex("1.3.6.1.2.1.2.2.1.1");  // rows 1, 2, 10
inline const OID kIfDescr("1.3.6.1.2.1.2.2.1.2");  // rows 1, 2, 10: "ethN"
inline const OID kIfType("1.3.6.1.2.1.2.2.1.3");   // an empty table
inline const OID kIfMtu("1.3.6.1.2.1.2.2.1.4");    // rows 1, 2, 10

// IPv4 address as the receive path passes it: first octet lowest.
inline int ip(unsigned a, unsigned b, unsigned c, unsigned d) {
  return static_cast<int>(a | b << 8 | c << 16 | d << 24);
}

// Registers the MIB above in `leafs` and the communities "public" (read),
// "private" (read, write), "v3user" (security 1), "lan" (read, only from
// 10.1.0.0/16) and "nobody" (no rights) as `communityKeep`.  Clears both on
// destruction.
class FakeMib {
 public:
  FakeMib() {
    leafs.clear();
    upTime.record.num = 4200;
    contact.record.text = "noc";
    location.writable = false;
    name.available = false;
    reg(kSysDescr, new TextPacker("router"), nullptr, nullptr);
    reg(kSysUpTime, new NumPacker(&Row::num, 0x43), &upTime, nullptr);
    reg(kSysContact, new TextPacker(&Row::text), &contact, nullptr);
    reg(kSysName, new TextPacker(&Row::text), &name, nullptr);
    reg(kSysLocation, new TextPacker(&Row::text), &location, nullptr);
    for (unsigned i : {1u, 2u, 10u}) {
      interfaces.rows[OID{i}].num = static_cast<int>(i);
      interfaces.rows[OID{i}].text = "eth" + std::to_string(i);
    }
    reg(kIfIndex, new NumPacker(&Row::num, 2), nullptr, &interfaces);
    reg(kIfDescr, new TextPacker(&Row::text), nullptr, &interfaces);
    reg(kIfType, new NumPacker(&Row::num, 2), nullptr, &empty);
    reg(kIfMtu, new NumPacker(&Row::num, 2), nullptr, &interfaces);

    for (const char* n : {"public", "private", "v3user", "lan", "nobody"}) {
      auto* item = new CommunityList::Item;
      item->name = n;
      item->readAccess = item->name != "nobody";
      item->writeAccess = item->name == "private" || item->name == "v3user";
      communities.items.push_back(item);
    }
    communities.items[2]->security = 1;
    communities.items[3]->address = static_cast<uint32_t>(ip(10, 1, 0, 0));
    communities.items[3]->addressMask = static_cast<uint32_t>(ip(255, 255, 0, 0));
    communityKeep = &communities;
  }
  ~FakeMib() {
    leafs.clear();
    communityKeep = nullptr;
  }
  FakeMib(const FakeMib&) = delete;
  FakeMib& operator=(const FakeMib&) = delete;

  FakeProvider upTime, contact, name, location;
  FakeTable interfaces, empty;
  CommunityList communities;

 private:
  void reg(const OID& key, Packer* packer, DataProvider* provider, Table* table) {
    packers_.emplace_back(packer);
    leaves_.emplace_back(table ? static_cast<Leaf*>(new ColumnarLeaf(packer, table))
                               : new ScalarLeaf(packer, provider));
    addLeaf(key, leaves_.back().get());
  }
  std::vector<std::unique_ptr<Packer>> packers_;
  std::vector<std::unique_ptr<Leaf>> leaves_;
};

}  // namespace test_support

#endif  // TESTS_UNIT_SUPPORT_FAKE_MIB_H_
