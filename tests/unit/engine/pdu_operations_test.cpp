// snmpGet, snmpGetNext, snmpGetBulk and snmpSet against the test MIB,
// called directly on a context.
#include "engine/pdu_operations.h"

#include <gtest/gtest.h>

#include "engine/scalar_leaf.h"
#include "test_mib.h"

namespace engine_test {
namespace {

// A context whose input holds only the value a SET binding would carry.
struct Call {
  explicit Call(std::vector<unsigned char> value = {})
      : bytes(std::move(value)), ctx(bytes.data(), bytes.size()) {}
  std::vector<unsigned char> bytes;
  Context ctx;
};

std::vector<unsigned char> octets(const std::string& s) {
  std::vector<unsigned char> v = {0x04, static_cast<unsigned char>(s.size())};
  v.insert(v.end(), s.begin(), s.end());
  return v;
}

// Decodes what the operation wrote: bindings (name, value) as a sequence
// of SEQUENCE { name, value } without an enclosing list.
std::vector<std::pair<OID, Value>> written(const Context& ctx) {
  const auto& out = ctx.out.bytes();
  std::vector<unsigned char> list = {0x30};
  if (out.size() < 128) {
    list.push_back(static_cast<unsigned char>(out.size()));
  } else {
    list.push_back(0x82);
    list.push_back(static_cast<unsigned char>(out.size() >> 8));
    list.push_back(static_cast<unsigned char>(out.size()));
  }
  list.insert(list.end(), out.begin(), out.end());
  InStream in(list.data(), list.size());
  std::vector<std::pair<OID, Value>> result;
  EXPECT_GE(in.enterSeq(), 0);
  while (!in.atSeqEnd()) {
    if (in.getType() == 0x06) {  // a name written outside a sequence
      OID name;
      Value value;
      EXPECT_TRUE(in.getOID(&name));
      value.tag = in.getType();
      EXPECT_TRUE(in.getString(&value.raw));
      result.emplace_back(name, value);
      continue;
    }
    EXPECT_GE(in.enterSeq(), 0);
    OID name;
    Value value;
    EXPECT_TRUE(in.getOID(&name));
    value.tag = in.getType();
    EXPECT_TRUE(in.getString(&value.raw));
    in.exitSeq();
    result.emplace_back(name, value);
  }
  return result;
}

class PduOperations : public testing::Test {
 protected:
  // Runs op on a fresh context for name; the status, and the single
  // binding written (empty name when nothing was).
  std::pair<unsigned, std::pair<OID, Value>> run(unsigned (*op)(Context&),
                                                 const OID& name) {
    Call call;
    call.ctx.oid = name;
    unsigned status = op(call.ctx);
    auto bindings = written(call.ctx);
    EXPECT_LE(bindings.size(), 1u);
    if (bindings.empty()) return {status, {}};
    return {status, bindings[0]};
  }
  TestMib mib;
};

// --- GET ---------------------------------------------------------------

TEST_F(PduOperations, GetScalarInstanceAnswersNameAndValue) {
  auto [status, binding] = run(snmpGet, kSysDescr + 0);
  EXPECT_EQ(status, 0u);
  EXPECT_EQ(binding.first, kSysDescr + 0);
  EXPECT_EQ(binding.second.tag, 0x04);
  EXPECT_EQ(binding.second.raw, "router");
}

TEST_F(PduOperations, GetScalarWithoutOrWithWrongInstanceMisses) {
  for (const OID& name : {kSysDescr, kSysDescr + 1, kSysDescr + 0 + 0}) {
    auto [status, binding] = run(snmpGet, name);
    EXPECT_EQ(status, 2u) << name;
    EXPECT_TRUE(binding.first.empty()) << name;
  }
}

TEST_F(PduOperations, GetBelowEveryKeyMisses) {
  for (const OID& name : {OID("1.3.6.1.2.1.1"), OID("0.0"), OID()}) {
    EXPECT_EQ(run(snmpGet, name).first, 2u) << name;
  }
}

TEST_F(PduOperations, GetBetweenKeysMisses) {
  // 1.3.6.1.2.1.1.2.0 lies after sysDescr but doesn't start with it.
  EXPECT_EQ(run(snmpGet, OID("1.3.6.1.2.1.1.2.0")).first, 2u);
  EXPECT_EQ(run(snmpGet, OID("1.3.6.1.9")).first, 2u);
}

TEST_F(PduOperations, GetSplitsNameIntoKeyAndInstance) {
  Call call;
  call.ctx.oid = kIfDescr + 10;
  ASSERT_EQ(snmpGet(call.ctx), 0u);
  EXPECT_EQ(call.ctx.name, kIfDescr + 10);
  EXPECT_EQ(call.ctx.oid, OID{10});
}

TEST_F(PduOperations, GetColumnRow) {
  auto [status, binding] = run(snmpGet, kIfDescr + 2);
  EXPECT_EQ(status, 0u);
  EXPECT_EQ(binding.first, kIfDescr + 2);
  EXPECT_EQ(binding.second.raw, "eth2");
  EXPECT_EQ(run(snmpGet, kIfDescr).first, 2u);      // no index
  EXPECT_EQ(run(snmpGet, kIfDescr + 3).first, 2u);  // no such row
  EXPECT_EQ(run(snmpGet, kIfType + 1).first, 2u);   // empty table
}

TEST_F(PduOperations, GetScalarWhoseProviderHasNoRecordMisses) {
  EXPECT_EQ(run(snmpGet, kSysName + 0).first, 2u);
  EXPECT_EQ(mib.name.gets, 1);
}

// --- GETNEXT -----------------------------------------------------------

TEST_F(PduOperations, GetNextOfScalarKeyAnswersItsInstance) {
  auto [status, binding] = run(snmpGetNext, kSysDescr);
  EXPECT_EQ(status, 0u);
  EXPECT_EQ(binding.first, kSysDescr + 0);
  EXPECT_EQ(binding.second.raw, "router");
}

TEST_F(PduOperations, GetNextOfScalarInstanceOrBelowMovesToNextLeaf) {
  for (const OID& name : {kSysDescr + 0, kSysDescr + 0 + 5, kSysDescr + 7}) {
    auto [status, binding] = run(snmpGetNext, name);
    EXPECT_EQ(status, 0u) << name;
    EXPECT_EQ(binding.first, kSysUpTime + 0) << name;
    EXPECT_EQ(binding.second.tag, 0x43) << name;
    EXPECT_EQ(binding.second.raw, intContent(4200)) << name;
  }
}

TEST_F(PduOperations, GetNextBeforeOrBetweenKeysStartsAtFollowingLeaf) {
  EXPECT_EQ(run(snmpGetNext, OID("1.3")).second.first, kSysDescr + 0);
  EXPECT_EQ(run(snmpGetNext, OID()).second.first, kSysDescr + 0);
  EXPECT_EQ(run(snmpGetNext, OID("1.3.6.1.2.1.1.2.9")).second.first,
            kSysUpTime + 0);
}

TEST_F(PduOperations, GetNextSkipsScalarWithoutRecord) {
  auto [status, binding] = run(snmpGetNext, kSysContact + 0);
  EXPECT_EQ(status, 0u);
  EXPECT_EQ(binding.first, kSysLocation + 0);
  EXPECT_EQ(mib.name.gets, 1);
}

TEST_F(PduOperations, GetNextOnColumnKeyAnswersFirstRow) {
  auto [status, binding] = run(snmpGetNext, kIfDescr);
  EXPECT_EQ(status, 0u);
  EXPECT_EQ(binding.first, kIfDescr + 1);
  EXPECT_EQ(binding.second.raw, "eth1");
}

TEST_F(PduOperations, GetNextWalksRowsInIndexOrder) {
  EXPECT_EQ(run(snmpGetNext, kIfIndex + 1).second.first, kIfIndex + 2);
  EXPECT_EQ(run(snmpGetNext, kIfIndex + 2).second.first, kIfIndex + 10);
  // An index between rows, and one below the first row.
  EXPECT_EQ(run(snmpGetNext, kIfIndex + 5).second.first, kIfIndex + 10);
  EXPECT_EQ(run(snmpGetNext, kIfIndex + 0).second.first, kIfIndex + 1);
  // After the last row: the next column's first row.
  EXPECT_EQ(run(snmpGetNext, kIfIndex + 10).second.first, kIfDescr + 1);
}

TEST_F(PduOperations, GetNextSkipsEmptyTable) {
  EXPECT_EQ(run(snmpGetNext, kIfDescr + 10).second.first, kIfMtu + 1);
  EXPECT_EQ(run(snmpGetNext, kIfType).second.first, kIfMtu + 1);
}

TEST_F(PduOperations, GetNextPastTheLastLeafMisses) {
  for (const OID& name : {kIfMtu + 10, OID("1.3.6.1.4"), OID("2")}) {
    auto [status, binding] = run(snmpGetNext, name);
    EXPECT_EQ(status, 2u) << name;
    EXPECT_TRUE(binding.first.empty()) << name;
  }
}

TEST_F(PduOperations, GetNextOnEmptyMibMisses) {
  leafs.clear();
  EXPECT_EQ(run(snmpGetNext, OID()).first, 2u);
  EXPECT_EQ(run(snmpGet, kSysDescr + 0).first, 2u);
}

// --- GETBULK -------------------------------------------------------------

TEST_F(PduOperations, GetBulkWritesSuccessiveBindings) {
  Call call;
  call.ctx.oid = kIfIndex;
  call.ctx.requestField1 = 2;  // non-repeaters: ignored
  call.ctx.requestField2 = 3;
  call.ctx.out.startSeq(0x30);  // dispatch opens the first binding
  ASSERT_EQ(snmpGetBulk(call.ctx), 0u);
  call.ctx.out.endSeq();  // and closes the last
  auto bindings = written(call.ctx);
  ASSERT_EQ(bindings.size(), 3u);
  EXPECT_EQ(bindings[0].first, kIfIndex + 1);
  EXPECT_EQ(bindings[1].first, kIfIndex + 2);
  EXPECT_EQ(bindings[2].first, kIfIndex + 10);
  EXPECT_EQ(bindings[2].second.raw, intContent(10));
}

TEST_F(PduOperations, GetBulkCrossesLeaves) {
  Call call;
  call.ctx.oid = kSysContact;
  call.ctx.requestField2 = 3;
  call.ctx.out.startSeq(0x30);
  ASSERT_EQ(snmpGetBulk(call.ctx), 0u);
  call.ctx.out.endSeq();
  auto bindings = written(call.ctx);
  ASSERT_EQ(bindings.size(), 3u);
  EXPECT_EQ(bindings[0].first, kSysContact + 0);
  EXPECT_EQ(bindings[1].first, kSysLocation + 0);
  EXPECT_EQ(bindings[2].first, kIfIndex + 1);
}

TEST_F(PduOperations, GetBulkWithoutRepetitionsWritesNothing) {
  for (int n : {0, -5}) {
    Call call;
    call.ctx.oid = kIfIndex;
    call.ctx.requestField2 = n;
    EXPECT_EQ(snmpGetBulk(call.ctx), 0u);
    EXPECT_TRUE(call.ctx.out.bytes().empty());
  }
}

TEST_F(PduOperations, GetBulkStopsAtTheEndWithLoggedStatus) {
  Call call;
  call.ctx.oid = kIfMtu + 2;
  call.ctx.requestField2 = 5;
  call.ctx.out.startSeq(0x30);
  testing::internal::CaptureStderr();
  EXPECT_EQ(snmpGetBulk(call.ctx), 2u);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error 2\n");
}

// --- SET -------------------------------------------------------------------

TEST_F(PduOperations, SetScalarStoresValueAndEchoesRequestedName) {
  Call call(octets("ops"));
  call.ctx.oid = kSysContact + 0;
  testing::internal::CaptureStderr();
  ASSERT_EQ(snmpSet(call.ctx), 0u);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "snmpSet found 1.3.6.1.2.1.1.4\n");
  EXPECT_EQ(mib.contact.record.text, "ops");
  EXPECT_EQ(mib.contact.sets, 1);
  EXPECT_EQ(call.ctx.setSuffix, OID{0});
  EXPECT_EQ(call.ctx.oid, kSysContact + 0);
  auto bindings = written(call.ctx);
  ASSERT_EQ(bindings.size(), 1u);
  EXPECT_EQ(bindings[0].first, kSysContact + 0);
  EXPECT_EQ(bindings[0].second.raw, "ops");
}

TEST_F(PduOperations, SetScalarIgnoresInstanceSuffix) {
  for (const OID& name : {kSysContact + 7, kSysContact + 0 + 1, kSysContact}) {
    Call call(octets("x"));
    call.ctx.oid = name;
    ASSERT_EQ(snmpSet(call.ctx), 0u) << name;
    auto bindings = written(call.ctx);
    ASSERT_EQ(bindings.size(), 1u);
    EXPECT_EQ(bindings[0].first, name);  // echoed as asked
  }
  EXPECT_EQ(mib.contact.sets, 3);
}

TEST_F(PduOperations, SetScalarRunsProviderSetEvenWhenValueUndecodable) {
  // A six-octet INTEGER can't be decoded: the record stays, the write
  // still happens and the reply shows the value as read back.
  Call call({0x02, 0x06, 1, 2, 3, 4, 5, 6});
  call.ctx.oid = kSysUpTime + 0;
  ASSERT_EQ(snmpSet(call.ctx), 0u);
  EXPECT_EQ(mib.upTime.sets, 1);
  EXPECT_EQ(mib.upTime.record.num, 4200);
  auto bindings = written(call.ctx);
  ASSERT_EQ(bindings.size(), 1u);
  EXPECT_EQ(bindings[0].second.raw, intContent(4200));
}

TEST_F(PduOperations, SetRefusedByReadOnlyProviderMisses) {
  mib.location.writable = false;
  Call call(octets("lab"));
  call.ctx.oid = kSysLocation + 0;
  EXPECT_EQ(snmpSet(call.ctx), 2u);
  EXPECT_TRUE(call.ctx.out.bytes().empty());
  EXPECT_EQ(mib.location.sets, 1);
}

TEST_F(PduOperations, SetScalarWithoutRecordMisses) {
  Call call(octets("x"));
  call.ctx.oid = kSysName + 0;
  EXPECT_EQ(snmpSet(call.ctx), 2u);
  EXPECT_EQ(mib.name.sets, 0);
}

TEST_F(PduOperations, SetConstantScalarAnswersConstantUnchanged) {
  Call call(octets("switch"));
  call.ctx.oid = kSysDescr + 0;
  ASSERT_EQ(snmpSet(call.ctx), 0u);
  auto bindings = written(call.ctx);
  ASSERT_EQ(bindings.size(), 1u);
  EXPECT_EQ(bindings[0].second.raw, "router");
  EXPECT_EQ(run(snmpGet, kSysDescr + 0).second.second.raw, "router");
}

TEST_F(PduOperations, SetColumnWritesRowNamedBySuffix) {
  Call call({0x02, 0x01, 0x63});
  call.ctx.oid = kIfMtu + 2;
  // The table's write-back reports false; the leaf doesn't care.
  mib.interfaces.setResult = false;
  ASSERT_EQ(snmpSet(call.ctx), 0u);
  ASSERT_EQ(mib.interfaces.setIndexes.size(), 1u);
  EXPECT_EQ(mib.interfaces.setIndexes[0], OID{2});
  EXPECT_EQ(mib.interfaces.rows[OID{2}].num, 0x63);
  auto bindings = written(call.ctx);
  ASSERT_EQ(bindings.size(), 1u);
  EXPECT_EQ(bindings[0].first, kIfMtu + 2);
  EXPECT_EQ(bindings[0].second.raw, intContent(0x63));
}

TEST_F(PduOperations, SetColumnUnknownRowOrNoIndexMisses) {
  Call call({0x02, 0x01, 0x01});
  call.ctx.oid = kIfMtu + 3;
  EXPECT_EQ(snmpSet(call.ctx), 2u);
  EXPECT_TRUE(mib.interfaces.setIndexes.empty());
  Call bare({0x02, 0x01, 0x01});
  bare.ctx.oid = kIfMtu;  // the key itself: empty suffix, no row
  EXPECT_EQ(snmpSet(bare.ctx), 2u);
}

TEST_F(PduOperations, SetMatchesLongestRegisteredPrefix) {
  // A key nested below a column key takes the names under it.
  TextPacker packer(std::string("nested"), 0x04);
  ScalarLeaf nested(&packer, nullptr);
  addLeaf(kIfMtu + 2 + 5, &nested);
  Call call(octets("x"));
  call.ctx.oid = kIfMtu + 2 + 5 + 9;
  testing::internal::CaptureStderr();
  ASSERT_EQ(snmpSet(call.ctx), 0u);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "snmpSet found 1.3.6.1.2.1.2.2.1.4.2.5\n");
  EXPECT_EQ(call.ctx.setSuffix, OID{9});
}

TEST_F(PduOperations, SetSuffixKeepsArcsOfEarlierBinding) {
  // Two bindings of one request share the context: the second search puts
  // its arcs in front of those the first one left.
  Call call({0x02, 0x01, 0x07, 0x02, 0x01, 0x08});
  call.ctx.oid = kIfMtu + 2;
  ASSERT_EQ(snmpSet(call.ctx), 0u);
  call.ctx.oid = kIfMtu + 1;
  EXPECT_EQ(snmpSet(call.ctx), 2u);  // row 1.2 doesn't exist
  EXPECT_EQ(call.ctx.setSuffix, (OID{1, 2}));
  EXPECT_EQ(mib.interfaces.lastGet, (OID{1, 2}));
  EXPECT_EQ(mib.interfaces.rows[OID{1}].num, 1);  // untouched
}

TEST_F(PduOperations, SetWithNoMatchingKeyMisses) {
  for (const OID& name : {OID("1.3.6"), OID("1.3.6.1.9.9"), OID()}) {
    Call call(octets("x"));
    call.ctx.oid = name;
    testing::internal::CaptureStderr();
    EXPECT_EQ(snmpSet(call.ctx), 2u) << name;
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << name;
    EXPECT_TRUE(call.ctx.out.bytes().empty());
  }
}

}  // namespace
}  // namespace engine_test
