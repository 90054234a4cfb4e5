// createReply: drops and their lines, the community checks, the binding
// loop and the error fields of the response.
#include <gtest/gtest.h>

#include "engine/pdu_operations.h"
#include "test_mib.h"

namespace engine_test {
namespace {

constexpr unsigned kGet = 0xA0, kGetNext = 0xA1, kSet = 0xA3;
const OID kMissing("1.3.6.1.2.1.1.2.0");
const char* const kAuthFailed = " authentification failed\n";

class Dispatch : public testing::Test {
 protected:
  FakeMib mib;
};

TEST_F(Dispatch, SuccessThenMissingAnswersBothWithStatusAndIndexByteExact) {
  Outcome o = dispatch(request(1, "public", kGet, {kSysDescr + 0, kMissing}, 0x1234));
  const std::vector<unsigned char> expected = {
      0x30, 0x3B, 0x02, 0x01, 0x01,                              // v2c
      0x04, 0x06, 'p',  'u',  'b',  'l',  'i', 'c',              //
      0xA2, 0x2E, 0x02, 0x02, 0x12, 0x34,                        // response, id
      0x02, 0x01, 0x02, 0x02, 0x01, 0x02,                        // noSuchName at 2
      0x30, 0x22,                                                //
      0x30, 0x12, 0x06, 0x08, 0x2B, 6,    1,   2,   1, 1, 1, 0,  //
      0x04, 0x06, 'r',  'o',  'u',  't',  'e', 'r',              //
      0x30, 0x0C, 0x06, 0x08, 0x2B, 6,    1,   2,   1, 1, 2, 0, 0x05, 0x00};
  EXPECT_EQ(o.bytes, expected);
  EXPECT_EQ(o.log, "");
}

TEST_F(Dispatch, ReadOnlyKeepsErrorIndexZeroByteExactInV1AndV2c) {
  for (int version : {0, 1}) {
    Outcome o = dispatch(
        request(version, "public", kSet, {{kSysContact + 0, "x"}, {kSysContact + 0, "y"}}, 5));
    const std::vector<unsigned char> expected = {
        0x30, 0x26, 0x02, 0x01, static_cast<unsigned char>(version),  //
        0x04, 0x06, 'p',  'u',  'b',
        'l',  'i',  'c',               //
        0xA2, 0x19, 0x02, 0x01, 0x05,  //
        0x02, 0x01, 0x04, 0x02, 0x01,
        0x00,        // readOnly, index 0
        0x30, 0x0E,  //
        0x30, 0x0C, 0x06, 0x08, 0x2B,
        6,    1,    2,    1,    1,
        4,    0,    0x05, 0x00};
    EXPECT_EQ(o.bytes, expected) << version;
  }
  EXPECT_EQ(mib.contact.sets, 0);
}

TEST_F(Dispatch, BindingsAfterTheFailingOneAreNeitherRunNorEchoed) {
  Outcome o = dispatch(
      request(1, "private", kSet,
              {{kSysContact + 0, "first"}, {OID("1.3.6.1.9"), "x"}, {kSysContact + 0, "third"}}));
  EXPECT_EQ(o.reply.status, 2);
  EXPECT_EQ(o.reply.index, 2);
  ASSERT_EQ(o.reply.bindings.size(), 2u);
  EXPECT_EQ(o.reply.bindings[0].second.second, "first");
  EXPECT_EQ(o.reply.bindings[1].first, OID("1.3.6.1.9"));
  EXPECT_EQ(o.reply.bindings[1].second.first, 0x05);
  // The first SET stays applied (no undo); the third never ran.
  EXPECT_EQ(mib.contact.record.text, "first");
  EXPECT_EQ(mib.contact.sets, 1);

  // A failing binding is echoed as asked, even when the lookup got as far
  // as splitting it into key and instance.
  o = dispatch(request(0, "public", kGet, {kSysDescr + 1, kSysDescr + 0}));
  EXPECT_EQ(o.reply.index, 1);
  ASSERT_EQ(o.reply.bindings.size(), 1u);
  EXPECT_EQ(o.reply.bindings[0].first, kSysDescr + 1);
}

TEST_F(Dispatch, GetNextAnswersEveryBindingAndMissesPastTheEndInV2c) {
  Outcome o = dispatch(request(1, "public", kGetNext, {kSysDescr, kIfIndex, kIfDescr + 2}));
  EXPECT_EQ(o.reply.status, 0);
  ASSERT_EQ(o.reply.bindings.size(), 3u);
  EXPECT_EQ(o.reply.bindings[0].first, kSysDescr + 0);
  EXPECT_EQ(o.reply.bindings[1].first, kIfIndex + 1);
  EXPECT_EQ(o.reply.bindings[2].first, kIfDescr + 10);

  const OID beyond = kIfMtu + 10;  // the last instance of the MIB
  o = dispatch(request(1, "public", kGetNext, {kSysDescr, beyond}));
  EXPECT_EQ(o.reply.status, 2);
  EXPECT_EQ(o.reply.index, 2);
  ASSERT_EQ(o.reply.bindings.size(), 2u);
  EXPECT_EQ(o.reply.bindings[1].first, beyond);
  EXPECT_EQ(o.reply.bindings[1].second, std::make_pair(0x05, std::string()));
}

TEST_F(Dispatch, NoReadRightIsAnsweredAsNoSuchName) {
  Outcome o = dispatch(request(1, "nobody", kGet, {kSysDescr + 0}));
  EXPECT_EQ(o.reply.status, 2);
  EXPECT_EQ(o.reply.index, 1);
}

TEST_F(Dispatch, VersionsZeroToTwoAreAnsweredWithTheirOwnNumber) {
  for (int version : {0, 1, 2}) {
    Outcome o = dispatch(request(version, "public", kGet, {kSysDescr + 0}, -3));
    EXPECT_EQ(o.reply.version, version);
    EXPECT_EQ(o.reply.community, "public");
    EXPECT_EQ(o.reply.pduTag, 0xA2);
    EXPECT_EQ(o.reply.requestId, -3);
  }
}

TEST_F(Dispatch, DroppedRequestsWriteTheirOneLine) {
  const auto get = [](int version, const std::string& community) {
    return request(version, community, kGet, {kSysDescr + 0});
  };
  const int lan = ip(10, 1, 0, 1), elsewhere = ip(192, 0, 2, 7);
  const struct {
    std::vector<unsigned char> bytes;
    int peer;
    const char* log;
  } cases[] = {
      {get(4, "public"), lan, "version not supported\n"},
      {get(99, "public"), lan, "version not supported\n"},
      {get(-2, "public"), lan, "version not supported\n"},
      // A v3 message without the local engine's data is not for this path.
      {{0x30, 0x0E, 0x02, 0x01, 0x03, 0x30, 0x09, 0x02, 0x01, 0x01, 0x02, 0x01, 0x00, 0x04, 0x01,
        0x04},
       lan,
       ""},
      // No GetBulk answer, nor to traps and responses.
      {request(1, "public", 0xA5, {kSysDescr}), lan, "unknown request command\n"},
      {request(1, "public", 0xA2, {kSysDescr}), lan, "unknown request command\n"},
      {request(1, "public", 0xA4, {kSysDescr}), lan, "unknown request command\n"},
      {request(1, "public", 0xA6, {kSysDescr}), lan, "unknown request command\n"},
      {request(1, "public", 0xA7, {kSysDescr}), lan, "unknown request command\n"},
      {get(1, "Public"), lan, kAuthFailed},
      {get(1, "publi"), lan, kAuthFailed},
      {get(1, "public "), lan, kAuthFailed},
      {get(1, ""), lan, kAuthFailed},
      {get(1, std::string("public\0x", 8)), lan, kAuthFailed},
      {get(1, "v3user"), lan, kAuthFailed},                // right name, but reserved for v3
      {{0x30, 0x03, 0x02, 0x01, 0x01}, lan, kAuthFailed},  // no community at all
      {get(1, "lan"), ip(10, 2, 0, 1), kAuthFailed},
      {get(1, "lan"), ip(11, 1, 0, 1), kAuthFailed},
      {get(1, "lan"), elsewhere, kAuthFailed},
  };
  for (const auto& c : cases) {
    Outcome o = dispatch(c.bytes, c.peer);
    EXPECT_FALSE(o.answered) << c.log;
    EXPECT_EQ(o.log, c.log) << c.bytes.size();
  }
  // The network's own sources, and any source for a mask of 0, are answered.
  for (int peer : {lan, ip(10, 1, 255, 254)}) EXPECT_TRUE(dispatch(get(1, "lan"), peer).answered);
  EXPECT_TRUE(dispatch(get(1, "public"), -1).answered);
  // No keeper yet.
  communityKeep = nullptr;
  EXPECT_EQ(dispatch(get(1, "public"), lan).log, kAuthFailed);
}

TEST_F(Dispatch, UnreadableMessagesDropSilently) {
  const std::vector<unsigned char> full = request(1, "public", kGet, {kSysDescr + 0}, 0x1234);
  std::vector<std::vector<unsigned char>> inputs = {{}, {0x30}, {0x30, 0x05, 0x02, 0x01}};
  // Cut the PDU inside request-id (15-18), error-status, error-index or
  // before the binding list (25), keeping the enclosing lengths right.
  ASSERT_EQ(full[13], kGet);
  for (size_t cut = 15; cut <= 25; ++cut) {
    std::vector<unsigned char> bytes(full.begin(), full.begin() + cut);
    bytes[1] = static_cast<unsigned char>(cut - 2);
    bytes[14] = static_cast<unsigned char>(cut - 15);
    inputs.push_back(bytes);
  }
  // A binding whose OID runs past the end of the message.
  std::vector<unsigned char> badOid = full;
  ASSERT_EQ(badOid[29], 0x06);
  badOid[30] = 0x7F;
  inputs.push_back(badOid);
  for (const auto& bytes : inputs) {
    Outcome o = dispatch(bytes);
    EXPECT_FALSE(o.answered) << bytes.size();
    EXPECT_EQ(o.log, "") << bytes.size();
  }
}

// A module's leaf reporting through PathNotExists.
class RaisingLeaf : public Leaf {
 public:
  bool get(Context& ctx) override {
    PathNotExists().apply(ctx);
    ctx.out.addOID(ctx.name + ctx.oid, 6);
    ctx.out.addNull(5);
    return true;
  }
  bool getNext(Context&) override { return false; }
  bool set(Context&) override { return false; }
};

TEST_F(Dispatch, PathNotExistsSetsStatusAndEndsTheLoopWithIndexZero) {
  RaisingLeaf raising;
  addLeaf(OID("1.3.6.1.2.1.1.2"), &raising);
  Outcome o = dispatch(request(1, "public", kGet, {kSysDescr + 0, kMissing, kSysDescr + 0}));
  EXPECT_EQ(o.reply.status, 2);
  EXPECT_EQ(o.reply.index, 0);
  EXPECT_EQ(o.reply.bindings.size(), 2u);
}

}  // namespace
}  // namespace engine_test
