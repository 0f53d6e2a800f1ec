#include "base/clock.h"

#include <gtest/gtest.h>

namespace cx {
namespace {

TEST(Clock, TheLogsTimeLineIsRecognizedAndNothingElseIs) {
  EXPECT_TRUE(isClockLine(clockLine()));
  EXPECT_TRUE(isClockLine("  00:00:00"));
  for (const char* other : {"", "  Node: 3", "  12:3a:00", " 12:30:00 ", "Begin iteration: 1",
                            "  12:30:001"})
    EXPECT_FALSE(isClockLine(other)) << other;
}

}  // namespace
}  // namespace cx
