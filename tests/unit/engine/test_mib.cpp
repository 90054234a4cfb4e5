#include "test_mib.h"

#include <gtest/gtest.h>

#include "engine/columnar_leaf.h"
#include "engine/create_reply.h"
#include "engine/scalar_leaf.h"

namespace engine_test {

TestMib::TestMib() {
  leafs.clear();
  auto reg = [this](const OID& key, Packer* packer, DataProvider* provider,
                    Table* table) {
    packers_.emplace_back(packer);
    Leaf* leaf = table ? static_cast<Leaf*>(new ColumnarLeaf(packer, table))
                       : new ScalarLeaf(packer, provider);
    leaves_.emplace_back(leaf);
    addLeaf(key, leaf);
  };
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

TestMib::~TestMib() {
  leafs.clear();
  communityKeep = nullptr;
}

std::vector<unsigned char> request(int version, const std::string& community,
                                   unsigned pduTag,
                                   const std::vector<Binding>& bindings,
                                   int requestId) {
  OutStream out;
  out.startSeq(0x30);
  out.add(version, 2);
  out.add(community, 4);
  out.startSeq(pduTag);
  out.add(requestId, 2);
  out.add(0, 2);
  out.add(0, 2);
  out.startSeq(0x30);
  for (const Binding& b : bindings) {
    out.startSeq(0x30);
    out.addOID(b.name, 6);
    if (b.tag == 2) out.add(b.number, 2);
    if (b.tag == 4) out.add(b.text, 4);
    if (b.tag == 5) out.addNull(5);
    out.endSeq();
  }
  for (int i = 0; i < 3; ++i) out.endSeq();
  return {out.bytes().begin(), out.bytes().end()};
}

namespace {

bool readBindings(InStream& in, Reply* reply) {
  while (!in.atSeqEnd()) {
    const bool wrapped = in.getType() == 0x30;
    if (wrapped && in.enterSeq() < 0) return false;
    OID name;
    std::string value;
    if (!in.getOID(&name)) return false;
    const int tag = in.getType();
    if (!in.getString(&value)) return false;
    if (wrapped) in.exitSeq();
    reply->bindings.push_back({name, {tag, value}});
  }
  return true;
}

}  // namespace

Outcome dispatch(std::vector<unsigned char> bytes, int peer) {
  Context ctx(bytes.data(), bytes.size());
  Outcome o;
  testing::internal::CaptureStderr();
  o.answered = createReply(ctx, peer);
  o.log = testing::internal::GetCapturedStderr();
  if (!o.answered) return o;
  o.bytes.assign(ctx.out.bytes().begin(), ctx.out.bytes().end());
  InStream in(o.bytes.data(), o.bytes.size());
  Reply& r = o.reply;
  r.version = in.getVersion();
  r.pduTag = (in.getString(&r.community), in.getType());
  const bool ok = in.enterSeq() >= 0 && in.getInt(&r.requestId) &&
                  in.getInt(&r.status) && in.getInt(&r.index) &&
                  in.enterSeq() >= 0 && readBindings(in, &r);
  EXPECT_TRUE(ok) << "reply does not decode";
  return o;
}

std::vector<std::pair<OID, std::pair<int, std::string>>> written(
    const Context& ctx) {
  InStream in(ctx.out.bytes().data(), ctx.out.bytes().size());
  Reply reply;
  EXPECT_TRUE(readBindings(in, &reply)) << "output does not decode";
  return reply.bindings;
}

std::string intContent(int v) {
  OutStream out;
  out.add(v, 2);
  return std::string(out.bytes().begin() + 2, out.bytes().end());
}

}  // namespace engine_test
