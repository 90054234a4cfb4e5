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

TEST(Output, EventKeepsItsKindAndPublisher) {
  nlohmann::json j = eventJson(replyWithTransportFields());
  EXPECT_EQ(j, nlohmann::json::parse(R"({"0x08fe0001": 3, "0x20010006": "ether1",
                                          "0x08ff0007": 65540, "0x88ff0002": [20, 0]})"));
}

TEST(Output, BadUtf8InAStringDoesNotStopThePrinting) {
  kx::message m;
  m.setString(0x20000002, std::string("caf\xc3", 4));
  std::ostringstream out;
  EXPECT_NO_THROW(writeJsonLine(out, replyJson(m)));
  EXPECT_NO_THROW(nlohmann::json::parse(out.str()));
  EXPECT_NE(out.str().find("caf"), std::string::npos);
}

}  // namespace
}  // namespace kxctl
