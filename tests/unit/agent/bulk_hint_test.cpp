// The GetBulk hint: once per source and minute, for a bounded set of
// sources at a time.
#include "agent/bulk_hint.h"

#include <gtest/gtest.h>

namespace {

TEST(BulkHint, OncePerSourceAndMinuteAndNoFloodFromManySources) {
  BulkHint hint;
  testing::internal::CaptureStderr();
  const uint32_t a = 0x0100007f;  // 127.0.0.1 in network order
  EXPECT_TRUE(hint.note(a, 1000));
  EXPECT_FALSE(hint.note(a, 1000 + BulkHint::kQuietSeconds - 1));
  EXPECT_TRUE(hint.note(a, 1000 + BulkHint::kQuietSeconds));
  // Every slot taken within one minute: a further source waits for one
  // to fall quiet.
  const uint32_t now = 2000;
  for (uint32_t peer = 1; peer <= BulkHint::kSources; ++peer) EXPECT_TRUE(hint.note(peer, now));
  EXPECT_FALSE(hint.note(BulkHint::kSources + 1, now + BulkHint::kQuietSeconds - 1));
  EXPECT_TRUE(hint.note(BulkHint::kSources + 1, now + BulkHint::kQuietSeconds));
  const std::string text = testing::internal::GetCapturedStderr();
  EXPECT_EQ(text.substr(0, text.find('\n') + 1),
            "GetBulk from 127.0.0.1 is not answered by this agent: walk with GetNext instead "
            "(snmpwalk, snmptable -CB; turn bulk requests off in pollers)\n");
}

}  // namespace
