#include "persist/event_log.h"

#include <gtest/gtest.h>

#include "persist/files.h"
#include "support/fixtures.h"
#include "ui/recording_port.h"

namespace cx {
namespace {

TEST(EventLog, EveryReportReachesTheViewTheStatusAndTheFile) {
  test::ScratchFolder work("log");
  RecordingPort port;
  EventLog log(port);
  log.ErrorReport("before the log is open", false);  // no failure when the log is closed
  EXPECT_EQ(port.status, "before the log is open");
  EXPECT_EQ(port.events.size(), 1u);
  log.open(work.path(), false);
  log.ErrorReport("Itr: 3  - Error in Thermal Diffusion subroutine.", false);
  log.append("Begin iteration: 4");
  EXPECT_EQ(port.status, "Itr: 3  - Error in Thermal Diffusion subroutine.");
  EXPECT_EQ(*readWholeFile(work.path() / "CXlog.txt"),
            "Itr: 3  - Error in Thermal Diffusion subroutine.\r\nBegin iteration: 4\r\n");
  // With a pause: a beep and the question; Yes sets the halt.
  port.answer = true;
  log.ErrorReport("trouble", true);
  EXPECT_EQ(port.beeps, 1);
  EXPECT_EQ(port.questions.back(), "trouble\n ... Abort?");
  EXPECT_TRUE(log.HaltFlag);
  // A run that continues appends; a new run starts the log anew; clearing empties it.
  log.close();
  log.open(work.path(), true);
  log.append("continued");
  EXPECT_NE(readWholeFile(work.path() / "CXlog.txt")->find("trouble\r\ncontinued\r\n"),
            std::string::npos);
  log.clearFile();
  EXPECT_EQ(*readWholeFile(work.path() / "CXlog.txt"), "");
  log.open(work.path(), false);
  EXPECT_EQ(*readWholeFile(work.path() / "CXlog.txt"), "");
}

}  // namespace
}  // namespace cx
