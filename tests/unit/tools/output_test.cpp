#include "tools/output.h"

#include <gtest/gtest.h>

#include <sstream>

#include "kx/message.h"

namespace kxctl {
namespace {

kx::message replyWithTransportFields() {
  kx::message m;
  m.setU32Array(kx::kDstPath, {0x40000001});
  m.setU32Array(kx::kSrcPath, {20, 0});
  m.setU32(kx::kCommand, 0x10004);
  m.setU32(kx::kRequestId, 7);
  m.setBool(kx::kReplyFlag, true);
  m.setU32(kx::kObjId, 3);
  m.setString(0x20010006, "ether1");
  return m;
}

TEST(Output, ReplyLeavesOutEveryTransportField) {
  nlohmann::json j = replyJson(replyWithTransportFields());
  EXPECT_EQ(j, nlohmann::json::parse(R"({"0x08fe0001": 3, "0x20010006": "ether1"})"));
}

TEST(Output, EventKeepsItsKindAndPublisher) {
  nlohmann::json j = eventJson(replyWithTransportFields());
  EXPECT_EQ(j, nlohmann::json::parse(R"({"0x08fe0001": 3, "0x20010006": "ether1",
                                          "0x08ff0007": 65540, "0x88ff0002": [20, 0]})"));
}

TEST(Output, ListIsAnArrayInListOrder) {
  kx::message a, b;
  a.setU32(kx::kObjId, 9);
  b.setU32(kx::kObjId, 2);
  EXPECT_EQ(listJson({a, b}).dump(), R"([{"0x08fe0001":9},{"0x08fe0001":2}])");
  EXPECT_EQ(listJson({}).dump(), "[]");
}

TEST(Output, JsonLineIsOneCompleteLine) {
  std::ostringstream out;
  nlohmann::json j = {{"0x20000002", "two\nlines"}};
  writeJsonLine(out, j);
  const std::string text = out.str();
  ASSERT_FALSE(text.empty());
  EXPECT_EQ(text.back(), '\n');
  EXPECT_EQ(text.find('\n'), text.size() - 1) << "an embedded newline must stay escaped";
  EXPECT_EQ(nlohmann::json::parse(text), j);
}

TEST(Output, BadUtf8InAStringDoesNotStopThePrinting) {
  kx::message m;
  m.setString(0x20000002, std::string("caf\xc3", 4));
  std::ostringstream out;
  EXPECT_NO_THROW(writeJsonLine(out, replyJson(m)));
  EXPECT_NO_THROW(nlohmann::json::parse(out.str()));
  EXPECT_NE(out.str().find("caf"), std::string::npos);
}

TEST(Output, ErrorLineHasSixHexDigitsAndTheText) {
  EXPECT_EQ(errorLine(kx::errorMsg(0xfe0006, "community with such name already exists")),
            "error 0xfe0006: community with such name already exists");
  EXPECT_EQ(errorLine(kx::errorMsg(0xfe0004, "")), "error 0xfe0004: ");
  EXPECT_EQ(errorLine(kx::errorMsg(0xff0102, "no reply")), "error 0xff0102: no reply");
}

}  // namespace
}  // namespace kxctl
