// A small hand-made MIB for the engine tests (fake packers, providers and
// tables over one record type), request builders and a reply decoder.
#ifndef TESTS_UNIT_ENGINE_TEST_MIB_H_
#define TESTS_UNIT_ENGINE_TEST_MIB_H_

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "engine/community_list.h"
#include "engine/context.h"
#include "engine/data.h"
#include "engine/data_provider.h"
#include "engine/leaf.h"
#include "engine/leafs.h"
#include "engine/packer.h"
#include "engine/table.h"

namespace engine_test {

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
  TextPacker(std::string Row::*member) : Packer(4), member_(member) {}
  TextPacker(const char* constant) : Packer(4), constant_(constant) {}
  void pack(Context& ctx, Data const* r) override {
    ctx.out.add(r ? static_cast<const Row*>(r)->*member_ : constant_, tag);
  }
  void unpack(Data* r, Context& ctx) override {
    std::string v;
    if (ctx.in.getString(&v) && member_) static_cast<Row*>(r)->*member_ = v;
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
    setIndexes.push_back(index);
    return false;
  }
  unsigned int count() override { return rows.size(); }

  std::map<OID, Row, tree_node_comp<OID>> rows;
  OID lastGet;
  std::vector<OID> setIndexes;
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

// Registers the MIB above in `leafs` and the communities "public" (read),
// "private" (read, write), "v3user" (security 1), "lan" (read, only from
// 10.1.0.0/16) and "nobody" (no rights) as `communityKeep`.  Clears both
// on destruction.
class TestMib {
 public:
  TestMib();
  ~TestMib();

  FakeProvider upTime, contact, name, location;
  FakeTable interfaces, empty;
  CommunityList communities;

 private:
  std::vector<std::unique_ptr<Packer>> packers_;
  std::vector<std::unique_ptr<Leaf>> leaves_;
};

// IPv4 address as the receive path passes it: first octet lowest.
inline int ip(unsigned a, unsigned b, unsigned c, unsigned d) {
  return static_cast<int>(a | b << 8 | c << 16 | d << 24);
}

// A binding with a NULL, INTEGER or OCTET STRING value.
struct Binding {
  Binding(OID n) : name(std::move(n)) {}  // NOLINT: implicit, NULL value
  Binding(OID n, int v) : name(std::move(n)), tag(2), number(v) {}
  Binding(OID n, const char* t) : name(std::move(n)), tag(4), text(t) {}
  OID name;
  unsigned tag = 5;
  int number = 0;
  std::string text;
};

std::vector<unsigned char> request(int version, const std::string& community,
                                   unsigned pduTag,
                                   const std::vector<Binding>& bindings,
                                   int requestId = 77);

struct Reply {
  int version = -1, pduTag = -1, requestId = -1, status = -1, index = -1;
  std::string community;
  // Name, value tag and value content of each binding.
  std::vector<std::pair<OID, std::pair<int, std::string>>> bindings;
};

// Runs createReply over a request from peer.  answered/bytes: the result;
// log: what went to standard error.
struct Outcome {
  bool answered = false;
  std::vector<unsigned char> bytes;
  std::string log;
  Reply reply;  // decoded when answered
};
Outcome dispatch(std::vector<unsigned char> bytes, int peer = ip(192, 0, 2, 7));

// Decodes name/value pairs written by an operation straight into ctx.out,
// each either bare or wrapped in a binding sequence.
std::vector<std::pair<OID, std::pair<int, std::string>>> written(
    const Context& ctx);

// INTEGER content octets of v.
std::string intContent(int v);

}  // namespace engine_test

#endif  // TESTS_UNIT_ENGINE_TEST_MIB_H_
