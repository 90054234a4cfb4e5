#include "tools/output.h"

#include <gtest/gtest.h>

#include <sstream>

#include "kx/message.h"

namespace kxctl {
namespace {

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
