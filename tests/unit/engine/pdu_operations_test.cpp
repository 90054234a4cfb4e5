// snmpGet, snmpGetNext, snmpGetBulk and snmpSet called directly on a
// context, against the test MIB.
#include "engine/pdu_operations.h"

#include <gtest/gtest.h>

#include "engine/leafs.h"
#include "test_mib.h"

namespace engine_test {
namespace {

// A context whose input holds only what a SET binding's value would be.
struct Call {
  explicit Call(const OID& name, std::vector<unsigned char> value = {})
      : bytes(std::move(value)), ctx(bytes.data(), bytes.size()) {
    ctx.oid = name;
  }
  std::vector<unsigned char> bytes;
  Context ctx;
};

std::vector<unsigned char> octets(const std::string& s) {
  std::vector<unsigned char> v = {0x04, static_cast<unsigned char>(s.size())};
  v.insert(v.end(), s.begin(), s.end());
  return v;
}

class PduOperations : public testing::Test {
 protected:
  // The name answered by op for name; empty when it failed (status 2),
  // checking that a failure wrote nothing.
  OID answer(unsigned (*op)(Context&), const OID& name) {
    Call call(name);
    const unsigned status = op(call.ctx);
    auto out = written(call.ctx);
    if (status != 0) {
      EXPECT_EQ(status, 2u);
      EXPECT_TRUE(out.empty());
      return OID();
    }
    EXPECT_EQ(out.size(), 1u);
    return out.empty() ? OID() : out[0].first;
  }
  FakeMib mib;
};

TEST_F(PduOperations, GetAnswersOnlyExistingInstances) {
  EXPECT_EQ(answer(snmpGet, kSysDescr + 0), kSysDescr + 0);
  EXPECT_EQ(answer(snmpGet, kIfDescr + 10), kIfDescr + 10);
  for (const OID& miss : {kSysDescr, kSysDescr + 1, kSysDescr + 0 + 0,  // scalar instances
                          OID("1.3.6.1.2.1.1"), OID("0.0"), OID(),      // below every key
                          OID("1.3.6.1.2.1.1.2.0"),                     // between keys
                          kIfDescr, kIfDescr + 3, kIfType + 1,          // no index, row, rows
                          kSysName + 0}) {                              // provider without record
    EXPECT_EQ(answer(snmpGet, miss), OID()) << miss;
  }
}

TEST_F(PduOperations, GetNextWalksScalarsRowsAndLeavesInOrder) {
  const std::vector<std::pair<OID, OID>> steps = {
      {OID(), kSysDescr + 0},
      {OID("1.3"), kSysDescr + 0},
      {kSysDescr, kSysDescr + 0},       // a scalar's key: its instance
      {kSysDescr + 0, kSysUpTime + 0},  // its instance or below: next leaf
      {kSysDescr + 0 + 5, kSysUpTime + 0},
      {kSysDescr + 7, kSysUpTime + 0},
      {OID("1.3.6.1.2.1.1.2.9"), kSysUpTime + 0},  // between keys
      {kSysContact + 0, kSysLocation + 0},         // sysName has no record
      {kIfDescr, kIfDescr + 1},                    // a column's key: its first row
      {kIfIndex + 0, kIfIndex + 1},
      {kIfIndex + 2, kIfIndex + 10},
      {kIfIndex + 5, kIfIndex + 10},
      {kIfIndex + 10, kIfDescr + 1},  // last row: the next column
      {kIfDescr + 10, kIfMtu + 1},    // the empty table is skipped
      {kIfType, kIfMtu + 1},
      {kIfMtu + 10, OID()},  // past the last leaf
      {OID("2"), OID()},
  };
  for (const auto& [from, to] : steps) {
    EXPECT_EQ(answer(snmpGetNext, from), to) << from;
  }
  leafs.clear();
  EXPECT_EQ(answer(snmpGetNext, OID()), OID());
}

TEST_F(PduOperations, GetBulkWritesSuccessorsOfEachAnsweredName) {
  Call call(kSysContact);
  call.ctx.requestField1 = 2;  // non-repeaters: ignored
  call.ctx.requestField2 = 5;
  call.ctx.out.startSeq(0x30);  // dispatch opens the first binding,
  ASSERT_EQ(snmpGetBulk(call.ctx), 0u);
  call.ctx.out.endSeq();  // and closes the last
  auto out = written(call.ctx);
  ASSERT_EQ(out.size(), 5u);
  const std::vector<OID> expected = {kSysContact + 0, kSysLocation + 0, kIfIndex + 1, kIfIndex + 2,
                                     kIfIndex + 10};
  for (size_t i = 0; i < out.size(); ++i) EXPECT_EQ(out[i].first, expected[i]);

  for (int n : {0, -5}) {
    Call none(kIfIndex);
    none.ctx.requestField2 = n;
    EXPECT_EQ(snmpGetBulk(none.ctx), 0u);
    EXPECT_TRUE(none.ctx.out.bytes().empty());
  }
  Call end(kIfMtu + 2);
  end.ctx.requestField2 = 5;
  end.ctx.out.startSeq(0x30);
  testing::internal::CaptureStderr();
  EXPECT_EQ(snmpGetBulk(end.ctx), 2u);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error 2\n");
}

TEST_F(PduOperations, SetScalarAnyInstanceStoresAndEchoesRequestedName) {
  for (const OID& name : {kSysContact + 0, kSysContact + 7, kSysContact}) {
    Call call(name, octets("ops"));
    testing::internal::CaptureStderr();
    ASSERT_EQ(snmpSet(call.ctx), 0u) << name;
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "snmpSet found 1.3.6.1.2.1.1.4\n");
    EXPECT_EQ(call.ctx.oid, name);
    EXPECT_EQ(written(call.ctx).at(0).first, name);
    EXPECT_EQ(written(call.ctx).at(0).second.second, "ops");
  }
  EXPECT_EQ(mib.contact.sets, 3);
}

TEST_F(PduOperations, SetScalarRunsProviderSetEvenWhenValueUndecodable) {
  Call call(kSysUpTime + 0, {0x02, 0x06, 1, 2, 3, 4, 5, 6});
  ASSERT_EQ(snmpSet(call.ctx), 0u);
  EXPECT_EQ(mib.upTime.sets, 1);
  EXPECT_EQ(written(call.ctx).at(0).second.second, intContent(4200));
}

TEST_F(PduOperations, SetRefusedOrWithoutRecordMissesAndWritesNothing) {
  Call readOnly(kSysLocation + 0, octets("lab"));
  EXPECT_EQ(snmpSet(readOnly.ctx), 2u);
  EXPECT_EQ(mib.location.sets, 1);
  EXPECT_TRUE(readOnly.ctx.out.bytes().empty());
  EXPECT_EQ(answer(snmpSet, kSysName + 0), OID());
  EXPECT_EQ(answer(snmpSet, kIfMtu + 3), OID());  // no such row
  EXPECT_EQ(answer(snmpSet, kIfMtu), OID());      // no index
  for (const OID& name : {OID("1.3.6"), OID("1.3.6.1.9.9"), OID()}) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(answer(snmpSet, name), OID());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << name;
  }
}

TEST_F(PduOperations, SetConstantScalarAnswersConstantUnchanged) {
  Call call(kSysDescr + 0, octets("switch"));
  ASSERT_EQ(snmpSet(call.ctx), 0u);
  EXPECT_EQ(written(call.ctx).at(0).second.second, "router");
}

TEST_F(PduOperations, SetColumnWritesRowNamedBySuffixIgnoringWriteBack) {
  Call call(kIfMtu + 2, {0x02, 0x01, 0x63});
  ASSERT_EQ(snmpSet(call.ctx), 0u);  // although the table's set said false
  EXPECT_EQ(mib.interfaces.sets, 1);
  EXPECT_EQ(mib.interfaces.lastSet, OID{2});
  EXPECT_EQ(mib.interfaces.rows[OID{2}].num, 0x63);
  EXPECT_EQ(written(call.ctx).at(0).first, kIfMtu + 2);
}

TEST_F(PduOperations, SetMatchesLongestRegisteredPrefix) {
  TextPacker packer("nested");
  ScalarLeaf nested(&packer, nullptr);
  addLeaf(kIfMtu + 2 + 5, &nested);
  Call call(kIfMtu + 2 + 5 + 9, octets("x"));
  testing::internal::CaptureStderr();
  ASSERT_EQ(snmpSet(call.ctx), 0u);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "snmpSet found 1.3.6.1.2.1.2.2.1.4.2.5\n");
  EXPECT_EQ(call.ctx.setSuffix, OID{9});

  // Beside the nested key, and far below it: the column and the nested
  // leaf, with every arc after the key in the suffix.
  OID deep = kIfMtu + 2 + 5;
  for (unsigned i = 0; i < 20000; ++i) deep += i;
  const std::vector<std::pair<OID, size_t>> cases = {{kIfMtu + 2 + 6, kIfMtu.size()},
                                                     {deep, kIfMtu.size() + 2}};
  for (const auto& [name, keyLength] : cases) {
    Call other(name, octets("x"));
    testing::internal::CaptureStderr();
    snmpSet(other.ctx);
    testing::internal::GetCapturedStderr();
    OID key = name;
    key.resize(keyLength);
    EXPECT_EQ(other.ctx.setPrefix, key);
    EXPECT_EQ(other.ctx.setSuffix, name.tail(keyLength));
  }
}

TEST_F(PduOperations, SetSuffixKeepsArcsOfEarlierBinding) {
  // Two bindings of one request share the context: the second search puts
  // its arcs in front of those the first left, and names row 1.2.
  Call call(kIfMtu + 2, {0x02, 0x01, 0x07, 0x02, 0x01, 0x08});
  ASSERT_EQ(snmpSet(call.ctx), 0u);
  call.ctx.oid = kIfMtu + 1;
  EXPECT_EQ(snmpSet(call.ctx), 2u);
  EXPECT_EQ(mib.interfaces.lastGet, (OID{1, 2}));
  EXPECT_EQ(mib.interfaces.rows[OID{1}].num, 1);
}

}  // namespace
}  // namespace engine_test
