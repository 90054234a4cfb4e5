#include "test_mib.h"

#include <gtest/gtest.h>

#include "engine/columnar_leaf.h"
#include "engine/create_reply.h"
#include "engine/scalar_leaf.h"

namespace engine_test {

TestMib::TestMib() {
  leafs.clear();
  auto keep = [this](Packer* p) {
    packers_.emplace_back(p);
    return p;
  };
  auto reg = [this](const OID& key, Leaf* leaf) {
    leaves_.push_back(leaf);
    addLeaf(key, leaf);
  };
  upTime.record.num = 4200;
  contact.record.text = "noc";
  location.record.text = "rack 4";
  name.available = false;
  reg(kSysDescr, new ScalarLeaf(keep(new TextPacker("router", 0x04)), nullptr));
  reg(kSysUpTime, new ScalarLeaf(keep(new NumPacker(&Row::num, 0x43)), &upTime));
  reg(kSysContact,
      new ScalarLeaf(keep(new TextPacker(&Row::text, 0x04)), &contact));
  reg(kSysName, new ScalarLeaf(keep(new TextPacker(&Row::text, 0x04)), &name));
  reg(kSysLocation,
      new ScalarLeaf(keep(new TextPacker(&Row::text, 0x04)), &location));

  for (unsigned i : {1u, 2u, 10u}) {
    Row& row = interfaces.add(OID{i});
    row.num = static_cast<int>(i);
    row.text = "eth" + std::to_string(i);
  }
  reg(kIfIndex,
      new ColumnarLeaf(keep(new NumPacker(&Row::num, 0x02)), &interfaces));
  reg(kIfDescr,
      new ColumnarLeaf(keep(new TextPacker(&Row::text, 0x04)), &interfaces));
  reg(kIfType, new ColumnarLeaf(keep(new NumPacker(&Row::num, 0x02)), &empty));
  reg(kIfMtu,
      new ColumnarLeaf(keep(new NumPacker(&Row::num, 0x02)), &interfaces));

  auto item = [this](const std::string& n, bool read, bool write) {
    auto* it = new CommunityList::Item;
    it->name = n;
    it->readAccess = read;
    it->writeAccess = write;
    communities.items.push_back(it);
    return it;
  };
  item("public", true, false);
  item("private", true, true);
  item("v3user", true, true)->security = 1;
  CommunityList::Item* lan = item("lan", true, false);
  lan->address = static_cast<uint32_t>(peerAddress(10, 1, 0, 0));
  lan->addressMask = static_cast<uint32_t>(peerAddress(255, 255, 0, 0));
  item("nobody", false, false);
  communityKeep = &communities;
}

TestMib::~TestMib() {
  leafs.clear();
  for (Leaf* leaf : leaves_) delete leaf;
  communityKeep = nullptr;
}

std::vector<unsigned char> request(int version, const std::string& community,
                                   unsigned pduTag,
                                   const std::vector<Binding>& bindings,
                                   int requestId, int field1, int field2) {
  OutStream out;
  out.startSeq(0x30);
  out.add(version, 0x02);
  out.add(community, 0x04);
  out.startSeq(pduTag);
  out.add(requestId, 0x02);
  out.add(field1, 0x02);
  out.add(field2, 0x02);
  out.startSeq(0x30);
  for (const Binding& b : bindings) {
    out.startSeq(0x30);
    out.addOID(b.name, 0x06);
    if (b.valueTag == 0x02) {
      out.add(b.number, 0x02);
    } else if (b.valueTag == 0x04) {
      out.add(b.text, 0x04);
    } else {
      out.addNull(b.valueTag);
    }
    out.endSeq();
  }
  out.endSeq();
  out.endSeq();
  out.endSeq();
  return {out.bytes().begin(), out.bytes().end()};
}

bool decode(const std::vector<unsigned char>& bytes, Reply* reply) {
  InStream in(bytes.data(), bytes.size());
  reply->version = in.getVersion();
  if (reply->version < 0) return false;
  if (!in.getString(&reply->community)) return false;
  reply->pduTag = in.getType();
  if (in.enterSeq() < 0) return false;
  if (!in.getInt(&reply->requestId) || !in.getInt(&reply->status) ||
      !in.getInt(&reply->index) || in.enterSeq() < 0) {
    return false;
  }
  while (!in.atSeqEnd()) {
    if (in.enterSeq() < 0) return false;
    OID name;
    if (!in.getOID(&name)) return false;
    Value value;
    value.tag = in.getType();
    if (value.tag >= 0 && !in.getString(&value.raw)) return false;
    in.exitSeq();
    reply->bindings.emplace_back(name, value);
  }
  return true;
}

Outcome dispatch(std::vector<unsigned char> bytes, int peer) {
  Context ctx(bytes.data(), bytes.size());
  testing::internal::CaptureStderr();
  Outcome outcome;
  outcome.answered = createReply(ctx, peer);
  outcome.stderrText = testing::internal::GetCapturedStderr();
  if (outcome.answered) {
    outcome.bytes.assign(ctx.out.bytes().begin(), ctx.out.bytes().end());
  }
  return outcome;
}

std::string intContent(int v) {
  OutStream out;
  out.add(v, 0x02);
  return std::string(out.bytes().begin() + 2, out.bytes().end());
}

}  // namespace engine_test
