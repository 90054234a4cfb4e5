// A small hand-made MIB for the engine tests: fake packers, providers and
// tables over one record type, request builders and a reply decoder.
#ifndef TESTS_UNIT_ENGINE_TEST_MIB_H_
#define TESTS_UNIT_ENGINE_TEST_MIB_H_

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "asn1/in_stream.h"
#include "asn1/oid.h"
#include "asn1/out_stream.h"
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

// An INTEGER-like value: a member of Row, or a constant when built without
// one (packed for a null record).
class NumPacker : public Packer {
 public:
  NumPacker(int Row::*member, unsigned tag) : Packer(tag), member_(member) {}
  NumPacker(int constant, unsigned tag) : Packer(tag), constant_(constant) {}
  void pack(Context& ctx, Data const* record) override {
    int value = constant_;
    if (member_ != nullptr && record != nullptr) {
      value = static_cast<const Row*>(record)->*member_;
    }
    ctx.out.add(value, tag);
  }
  void unpack(Data* record, Context& ctx) override {
    int value = 0;
    if (!ctx.in.getInt(&value)) return;
    if (member_ != nullptr) static_cast<Row*>(record)->*member_ = value;
  }

 private:
  int Row::*member_ = nullptr;
  int constant_ = 0;
};

class TextPacker : public Packer {
 public:
  TextPacker(std::string Row::*member, unsigned tag)
      : Packer(tag), member_(member) {}
  TextPacker(std::string constant, unsigned tag)
      : Packer(tag), constant_(std::move(constant)) {}
  void pack(Context& ctx, Data const* record) override {
    std::string value = constant_;
    if (member_ != nullptr && record != nullptr) {
      value = static_cast<const Row*>(record)->*member_;
    }
    ctx.out.add(value, tag);
  }
  void unpack(Data* record, Context& ctx) override {
    std::string value;
    if (!ctx.in.getString(&value)) return;
    if (member_ != nullptr) static_cast<Row*>(record)->*member_ = value;
  }

 private:
  std::string Row::*member_ = nullptr;
  std::string constant_;
};

// Serves one record; get can be made to fail (null) and set to refuse.
class FakeProvider : public DataProvider {
 public:
  Data* get() override {
    ++gets;
    return available ? &record : nullptr;
  }
  bool set(Data* written) override {
    ++sets;
    lastWritten = written;
    return writable;
  }
  Row record;
  bool available = true;
  bool writable = true;
  int gets = 0;
  int sets = 0;
  Data* lastWritten = nullptr;
};

// Rows by index, in OID order.  set records the index it was given and
// answers `setResult`.
class FakeTable : public Table {
 public:
  Row& add(const OID& index) { return rows[index]; }
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
    return setResult;
  }
  unsigned int count() override { return rows.size(); }

  std::map<OID, Row, tree_node_comp<OID>> rows;
  OID lastGet;
  std::vector<OID> setIndexes;
  bool setResult = false;
};

// OIDs of the test MIB.
inline const OID kSysDescr("1.3.6.1.2.1.1.1");     // constant "router"
inline const OID kSysUpTime("1.3.6.1.2.1.1.3");    // provider, TimeTicks
inline const OID kSysContact("1.3.6.1.2.1.1.4");   // provider, writable
inline const OID kSysName("1.3.6.1.2.1.1.5");      // provider without record
inline const OID kSysLocation("1.3.6.1.2.1.1.6");  // read-only provider
inline const OID kIfIndex("1.3.6.1.2.1.2.2.1.1");  // rows 1, 2, 10
inline const OID kIfDescr("1.3.6.1.2.1.2.2.1.2");  // rows 1, 2, 10
inline const OID kIfType("1.3.6.1.2.1.2.2.1.3");   // empty table
inline const OID kIfMtu("1.3.6.1.2.1.2.2.1.4");    // rows 1, 2, 10

// Registers the test MIB in `leafs` (emptied first) and a community list
// with "public" (read), "private" (read, write), "v3user" (security 1) and
// "lan" (read, 10.1.0.0/16).  Restores an empty map and a null keeper on
// destruction.
class TestMib {
 public:
  TestMib();
  ~TestMib();
  TestMib(const TestMib&) = delete;
  TestMib& operator=(const TestMib&) = delete;

  FakeProvider upTime;
  FakeProvider contact;
  FakeProvider name;
  FakeProvider location;
  FakeTable interfaces;
  FakeTable empty;
  CommunityList communities;

 private:
  std::vector<std::unique_ptr<Packer>> packers_;
  std::vector<Leaf*> leaves_;
};

// IPv4 address as the receive path hands it over: first octet in the
// least significant byte.
inline int peerAddress(unsigned a, unsigned b, unsigned c, unsigned d) {
  return static_cast<int>(a | (b << 8) | (c << 16) | (d << 24));
}

struct Binding {
  Binding(OID n) : name(std::move(n)) {}  // NOLINT: a NULL value
  Binding(OID n, unsigned tag, std::string t)
      : name(std::move(n)), valueTag(tag), text(std::move(t)) {}
  Binding(OID n, int value)
      : name(std::move(n)), valueTag(0x02), number(value) {}

  OID name;
  unsigned valueTag = 0x05;  // 0x05 NULL, 0x02 INTEGER, 0x04 OCTET STRING
  std::string text;          // OCTET STRING content
  int number = 0;            // INTEGER value
};

// A complete request message.
std::vector<unsigned char> request(int version, const std::string& community,
                                   unsigned pduTag,
                                   const std::vector<Binding>& bindings,
                                   int requestId = 77, int field1 = 0,
                                   int field2 = 0);

struct Value {
  int tag = -1;
  std::string raw;  // content octets
};

struct Reply {
  int version = -1;
  std::string community;
  int pduTag = -1;
  int requestId = -1;
  int status = -1;
  int index = -1;
  std::vector<std::pair<OID, Value>> bindings;
};

// Decodes a reply; false when it is not a well-formed message.
bool decode(const std::vector<unsigned char>& bytes, Reply* reply);

// Runs createReply over bytes from peer; the reply bytes (empty when
// dropped) and what was written to standard error.
struct Outcome {
  bool answered = false;
  std::vector<unsigned char> bytes;
  std::string stderrText;
};
Outcome dispatch(std::vector<unsigned char> bytes,
                 int peer = peerAddress(192, 0, 2, 7));

// The INTEGER content octets of v (as OutStream writes them).
std::string intContent(int v);

}  // namespace engine_test

#endif  // TESTS_UNIT_ENGINE_TEST_MIB_H_
