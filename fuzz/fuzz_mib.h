// The small MIB the request fuzzers answer from: a few constant and
// provider-backed scalars and a three-row table.  Header-only, shared by
// the fuzz targets.
#ifndef FUZZ_FUZZ_MIB_H_
#define FUZZ_FUZZ_MIB_H_

#include <iostream>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "engine/context.h"
#include "engine/data.h"
#include "engine/data_provider.h"
#include "engine/leaf.h"
#include "engine/leafs.h"
#include "engine/packer.h"
#include "engine/table.h"

namespace fuzz_mib {

struct Row : Data {
  int num = 0;
  std::string text;
};

class NumPacker : public Packer {
 public:
  explicit NumPacker(unsigned tag, int constant = 0) : Packer(tag), constant_(constant) {}
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

// Registers the leaves once per process and silences standard error.
inline void build() {
  static bool built = false;
  if (built) return;
  built = true;
  // Every answered binding logs a line; the fuzzer's speed matters more.
  std::cerr.rdbuf(nullptr);

  static Rows rows;
  static OneRecord contact(true), location(false);
  addScalarLeaf(OID("1.3.6.1.2.1.1.1"), new TextPacker(0x04, "router"), nullptr);
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
}

}  // namespace fuzz_mib

#endif  // FUZZ_FUZZ_MIB_H_
