// createReply: the community path, drops, the binding loop and the error
// fields of the response.
#include <gtest/gtest.h>

#include <algorithm>

#include "engine/access_error.h"

#include "test_mib.h"

namespace engine_test {
namespace {

constexpr unsigned kGet = 0xA0;
constexpr unsigned kGetNext = 0xA1;
constexpr unsigned kSet = 0xA3;
constexpr unsigned kGetBulk = 0xA5;
constexpr unsigned kResponse = 0xA2;

const OID kMissing("1.3.6.1.2.1.1.2.0");

Reply answer(const std::vector<unsigned char>& req,
             int peer = peerAddress(192, 0, 2, 7)) {
  Outcome out = dispatch(req, peer);
  Reply reply;
  EXPECT_TRUE(out.answered) << out.stderrText;
  EXPECT_TRUE(decode(out.bytes, &reply));
  return reply;
}

class Dispatch : public testing::Test {
 protected:
  TestMib mib;
};

// --- the reply, byte for byte ---------------------------------------------

TEST_F(Dispatch, SuccessThenMissingAnswersBothWithStatusAndIndexByteExact) {
  Outcome out = dispatch(request(1, "public", kGet,
                                 {{kSysDescr + 0}, {kMissing}}, 0x1234));
  ASSERT_TRUE(out.answered);
  const std::vector<unsigned char> expected = {
      0x30, 0x3B,                                      // message
      0x02, 0x01, 0x01,                                // version 2c
      0x04, 0x06, 'p', 'u', 'b', 'l', 'i', 'c',        // community
      0xA2, 0x2E,                                      // response
      0x02, 0x02, 0x12, 0x34,                          // request-id
      0x02, 0x01, 0x02,                                // noSuchName
      0x02, 0x01, 0x02,                                // second binding
      0x30, 0x22,                                      // bindings
      0x30, 0x12, 0x06, 0x08, 0x2B, 6, 1, 2, 1, 1, 1, 0,  //
      0x04, 0x06, 'r', 'o', 'u', 't', 'e', 'r',        //
      0x30, 0x0C, 0x06, 0x08, 0x2B, 6, 1, 2, 1, 1, 2, 0,  //
      0x05, 0x00};
  EXPECT_EQ(out.bytes, expected);
  EXPECT_EQ(out.stderrText, "");
}

TEST_F(Dispatch, SetWithoutWriteAccessIsReadOnlyWithIndexZeroByteExact) {
  Outcome out = dispatch(request(0, "public", kSet,
                                 {{kSysContact + 0, 0x04, "x"},
                                  {kSysContact + 0, 0x04, "y"}},
                                 5));
  ASSERT_TRUE(out.answered);
  const std::vector<unsigned char> expected = {
      0x30, 0x26,                                      //
      0x02, 0x01, 0x00,                                // version 1
      0x04, 0x06, 'p', 'u', 'b', 'l', 'i', 'c',        //
      0xA2, 0x19,                                      //
      0x02, 0x01, 0x05,                                // request-id
      0x02, 0x01, 0x04,                                // readOnly
      0x02, 0x01, 0x00,                                // index stays 0
      0x30, 0x0E,                                      //
      0x30, 0x0C, 0x06, 0x08, 0x2B, 6, 1, 2, 1, 1, 4, 0, 0x05, 0x00};
  EXPECT_EQ(out.bytes, expected);
  EXPECT_EQ(mib.contact.sets, 0);
  EXPECT_EQ(mib.contact.record.text, "noc");
}

// --- the binding loop -----------------------------------------------------

TEST_F(Dispatch, BindingsAfterTheFailingOneAreNeitherProcessedNorEchoed) {
  Reply r = answer(request(1, "private", kSet,
                           {{kSysContact + 0, 0x04, "first"},
                            {OID("1.3.6.1.9"), 0x04, "x"},
                            {kSysContact + 0, 0x04, "third"}}));
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.index, 2);
  ASSERT_EQ(r.bindings.size(), 2u);
  EXPECT_EQ(r.bindings[0].first, kSysContact + 0);
  EXPECT_EQ(r.bindings[0].second.raw, "first");
  EXPECT_EQ(r.bindings[1].first, OID("1.3.6.1.9"));
  EXPECT_EQ(r.bindings[1].second.tag, 0x05);
  // The first SET stays applied (no undo) and the third never ran.
  EXPECT_EQ(mib.contact.record.text, "first");
  EXPECT_EQ(mib.contact.sets, 1);
}

TEST_F(Dispatch, FirstBindingMissingAnswersOnlyThatBinding) {
  Reply r = answer(request(0, "public", kGet,
                           {{kMissing}, {kSysDescr + 0}, {kSysUpTime + 0}}));
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.index, 1);
  ASSERT_EQ(r.bindings.size(), 1u);
  EXPECT_EQ(r.bindings[0].first, kMissing);
}

TEST_F(Dispatch, AllBindingsAnsweredInOrderOnSuccess) {
  Reply r = answer(request(1, "public", kGetNext,
                           {{kSysDescr}, {kIfIndex}, {kIfDescr + 2}}));
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.index, 0);
  ASSERT_EQ(r.bindings.size(), 3u);
  EXPECT_EQ(r.bindings[0].first, kSysDescr + 0);
  EXPECT_EQ(r.bindings[1].first, kIfIndex + 1);
  EXPECT_EQ(r.bindings[2].first, kIfDescr + 10);
  EXPECT_EQ(r.bindings[2].second.raw, "eth10");
}

TEST_F(Dispatch, GetNextPastTheEndIsNoSuchNameInV2cToo) {
  const OID beyond("1.3.6.1.4.1.99");
  Reply r = answer(request(1, "public", kGetNext, {{kSysDescr}, {beyond}}));
  EXPECT_EQ(r.version, 1);
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.index, 2);
  ASSERT_EQ(r.bindings.size(), 2u);
  EXPECT_EQ(r.bindings[1].first, beyond);
  EXPECT_EQ(r.bindings[1].second.tag, 0x05);
  EXPECT_EQ(r.bindings[1].second.raw, "");
}

TEST_F(Dispatch, NoReadAccessAnswersNoSuchNameWithIndex) {
  Reply r = answer(request(1, "nobody", kGet, {{kSysDescr + 0}}));
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.index, 1);
  ASSERT_EQ(r.bindings.size(), 1u);
  EXPECT_EQ(r.bindings[0].second.tag, 0x05);
}

TEST_F(Dispatch, WriteCommunityMaySet) {
  Reply r = answer(request(1, "private", kSet, {{kSysContact + 0, 0x04, "ops"}}));
  EXPECT_EQ(r.status, 0);
  ASSERT_EQ(r.bindings.size(), 1u);
  EXPECT_EQ(r.bindings[0].second.raw, "ops");
  EXPECT_EQ(mib.contact.record.text, "ops");
}

TEST_F(Dispatch, EmptyBindingListAnswersEmptyResponse) {
  Reply r = answer(request(1, "public", kGet, {}, 9));
  EXPECT_EQ(r.pduTag, static_cast<int>(kResponse));
  EXPECT_EQ(r.requestId, 9);
  EXPECT_EQ(r.status, 0);
  EXPECT_TRUE(r.bindings.empty());
}

TEST_F(Dispatch, FailedStatusIndexKeepsOnlyItsLowByte) {
  // 300 bindings, the last one missing: the index field is one octet.
  std::vector<Binding> many(299, Binding{kSysDescr + 0});
  many.push_back(Binding{kMissing});
  Reply r = answer(request(1, "public", kGet, many));
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.index, 300 & 0xFF);
  EXPECT_EQ(r.bindings.size(), 300u);
}

// --- versions and header ----------------------------------------------------

TEST_F(Dispatch, VersionIsEchoed) {
  for (int version : {0, 1, 2}) {
    Reply r = answer(request(version, "public", kGet, {{kSysDescr + 0}}, 3));
    EXPECT_EQ(r.version, version);
    EXPECT_EQ(r.community, "public");
    EXPECT_EQ(r.pduTag, static_cast<int>(kResponse));
    EXPECT_EQ(r.requestId, 3);
    EXPECT_EQ(r.status, 0);
  }
}

TEST_F(Dispatch, NegativeAndLargeRequestIdsEchoed) {
  for (int id : {-1, 0, 0x7FFFFFFF, -2147483647 - 1}) {
    Reply r = answer(request(1, "public", kGet, {{kSysDescr + 0}}, id));
    EXPECT_EQ(r.requestId, id);
  }
}

TEST_F(Dispatch, UnsupportedVersionsDropWithLine) {
  for (int version : {4, 99, -2}) {
    Outcome out = dispatch(request(version, "public", kGet, {{kSysDescr + 0}}));
    EXPECT_FALSE(out.answered) << version;
    EXPECT_EQ(out.stderrText, "version not supported\n");
  }
}

TEST_F(Dispatch, UnreadableMessagesDropSilently) {
  const std::vector<std::vector<unsigned char>> inputs = {
      {},                                   // nothing
      {0x30},                               // no length
      {0x30, 0x05, 0x02, 0x01},             // sequence past the end
      {0x30, 0x03, 0x02, 0x01, 0x01},       // no community: logged below
  };
  for (size_t i = 0; i + 1 < inputs.size(); ++i) {
    Outcome out = dispatch(inputs[i]);
    EXPECT_FALSE(out.answered) << i;
    EXPECT_EQ(out.stderrText, "") << i;
  }
  Outcome out = dispatch(inputs.back());
  EXPECT_FALSE(out.answered);
  EXPECT_EQ(out.stderrText, " authentification failed\n");
}

TEST_F(Dispatch, TruncatedPduHeaderDropsSilently) {
  const std::vector<unsigned char> full =
      request(1, "public", kGet, {{kSysDescr + 0}}, 0x1234);
  // Offsets: message header 0-1, version 2-4, community 5-12, PDU header
  // 13-14, request-id 15-18, error-status 19-21, error-index 22-24, binding
  // list from 25.  Each cut keeps the enclosing lengths consistent, so only
  // the PDU field at the cut is unreadable.
  ASSERT_EQ(full[13], 0xA0);
  for (size_t cut = 15; cut <= 25; ++cut) {
    std::vector<unsigned char> bytes(full.begin(), full.begin() + cut);
    bytes[1] = static_cast<unsigned char>(cut - 2);
    bytes[14] = static_cast<unsigned char>(cut - 15);
    Outcome out = dispatch(bytes);
    EXPECT_FALSE(out.answered) << cut;
    EXPECT_EQ(out.stderrText, "") << cut;
  }
}

TEST_F(Dispatch, UnreadableBindingOidDropsSilently) {
  std::vector<unsigned char> bytes =
      request(1, "public", kGet, {{kSysDescr + 0}});
  // The binding's OID tag and length sit after the 0x30 0x0E binding
  // header; give the OID a length past the end of the message.
  auto oid = std::find(bytes.begin() + 20, bytes.end(), 0x06);
  ASSERT_NE(oid, bytes.end());
  oid[1] = 0x7F;
  Outcome out = dispatch(bytes);
  EXPECT_FALSE(out.answered);
  EXPECT_EQ(out.stderrText, "");
}

TEST_F(Dispatch, Version3IsDroppedWithoutAnswer) {
  // A minimal v3 message: version 3 and a header sequence.
  std::vector<unsigned char> v3 = {0x30, 0x0E, 0x02, 0x01, 0x03, 0x30, 0x09,
                                   0x02, 0x01, 0x01, 0x02, 0x01, 0x00,
                                   0x04, 0x01, 0x04};
  Outcome out = dispatch(v3);
  EXPECT_FALSE(out.answered);
  EXPECT_EQ(out.stderrText, "");
}

// --- request types --------------------------------------------------------

TEST_F(Dispatch, GetBulkGetsNoAnswer) {
  Outcome out =
      dispatch(request(1, "public", kGetBulk, {{kSysDescr}}, 1, 0, 10));
  EXPECT_FALSE(out.answered);
  EXPECT_EQ(out.stderrText, "unknown request command\n");
}

TEST_F(Dispatch, TrapAndResponseTagsGetNoAnswer) {
  for (unsigned tag : {0xA2u, 0xA4u, 0xA6u, 0xA7u, 0x30u}) {
    Outcome out = dispatch(request(1, "public", tag, {{kSysDescr + 0}}));
    EXPECT_FALSE(out.answered) << tag;
    EXPECT_EQ(out.stderrText, "unknown request command\n") << tag;
  }
}

// --- communities ----------------------------------------------------------

TEST_F(Dispatch, UnknownCommunityDrops) {
  for (const char* name : {"Public", "publi", "public ", ""}) {
    Outcome out = dispatch(request(1, name, kGet, {{kSysDescr + 0}}));
    EXPECT_FALSE(out.answered) << name;
    EXPECT_EQ(out.stderrText, " authentification failed\n") << name;
  }
}

TEST_F(Dispatch, CommunityWithEmbeddedNulIsComparedByteForByte) {
  Outcome out = dispatch(
      request(1, std::string("public\0x", 8), kGet, {{kSysDescr + 0}}));
  EXPECT_FALSE(out.answered);
  EXPECT_EQ(out.stderrText, " authentification failed\n");
}

TEST_F(Dispatch, V3OnlyCommunityRefusedEvenWithRightName) {
  Outcome out = dispatch(request(1, "v3user", kGet, {{kSysDescr + 0}}));
  EXPECT_FALSE(out.answered);
  EXPECT_EQ(out.stderrText, " authentification failed\n");
}

TEST_F(Dispatch, AddressMaskAdmitsOnlyItsNetwork) {
  std::vector<unsigned char> req = request(1, "lan", kGet, {{kSysDescr + 0}});
  EXPECT_TRUE(dispatch(req, peerAddress(10, 1, 0, 1)).answered);
  EXPECT_TRUE(dispatch(req, peerAddress(10, 1, 255, 254)).answered);
  for (int outside : {peerAddress(10, 2, 0, 1), peerAddress(11, 1, 0, 1),
                      peerAddress(192, 0, 2, 7)}) {
    Outcome out = dispatch(req, outside);
    EXPECT_FALSE(out.answered);
    EXPECT_EQ(out.stderrText, " authentification failed\n");
  }
}

TEST_F(Dispatch, ZeroMaskAdmitsEverySource) {
  std::vector<unsigned char> req = request(1, "public", kGet, {{kSysDescr + 0}});
  for (int peer : {0, -1, peerAddress(10, 9, 8, 7)}) {
    EXPECT_TRUE(dispatch(req, peer).answered);
  }
}

TEST_F(Dispatch, FirstItemOfDuplicateNamesDecides) {
  auto* second = new CommunityList::Item;
  second->name = "nobody";
  second->readAccess = true;
  mib.communities.items.push_back(second);
  Reply r = answer(request(1, "nobody", kGet, {{kSysDescr + 0}}));
  EXPECT_EQ(r.status, 2);  // the first "nobody" has no read right
}

TEST_F(Dispatch, NoKeeperDropsLikeUnknownCommunity) {
  communityKeep = nullptr;
  Outcome out = dispatch(request(1, "public", kGet, {{kSysDescr + 0}}));
  EXPECT_FALSE(out.answered);
  EXPECT_EQ(out.stderrText, " authentification failed\n");
}

// --- error classes ----------------------------------------------------------

// A leaf that reports through PathNotExists, as a loadable module may.
class RaisingLeaf : public Leaf {
 public:
  bool get(Context& ctx) override {
    PathNotExists().apply(ctx);
    ctx.out.addOID(ctx.name + ctx.oid, 0x06);
    ctx.out.addNull(0x05);
    return true;
  }
  bool getNext(Context&) override { return false; }
  bool set(Context&) override { return false; }
};

TEST_F(Dispatch, PathNotExistsEndsTheBindingLoop) {
  RaisingLeaf raising;
  addLeaf(OID("1.3.6.1.2.1.1.2"), &raising);
  Reply r = answer(request(1, "public", kGet,
                           {{kSysDescr + 0}, {kMissing}, {kSysDescr + 0}}));
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.index, 0);  // apply sets the status only
  EXPECT_EQ(r.bindings.size(), 2u);
}

}  // namespace
}  // namespace engine_test
