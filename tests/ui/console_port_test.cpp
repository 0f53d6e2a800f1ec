#include "ui/console_port.h"

#include <gtest/gtest.h>

#include <sstream>

#include "base/clock.h"

namespace cx {
namespace {

// The terminal shows each report once and none of the routine lines; the log keeps everything.
TEST(ConsolePort, ShowsEachReportOnceAndNoRoutineLines) {
  std::ostringstream out;
  ConsolePort port(out, false, nullptr, nullptr, false);
  for (int itr = 1; itr <= 3; ++itr) {
    port.appendEvent("Begin iteration: " + std::to_string(itr));
    port.appendEvent(clockLine());
    port.appendEvent("  Node: 20  - F(liq) below limit, equilibration skipped");
    port.appendEvent("  Saved iteration: " + std::to_string(itr));
  }
  port.appendEvent("Itr: 3 Node: 19 - Error returned from minimization.");
  EXPECT_EQ(out.str(),
            "(each report is shown once here; CXlog.txt has them all)\n"
            "  Node: 20  - F(liq) below limit, equilibration skipped\n"
            "Itr: 3 Node: 19 - Error returned from minimization.\n");
}

}  // namespace
}  // namespace cx
