// The promise "exact restart": a run stopped and continued from its folder gives the same numbers
// as one that was never stopped, through the checkpoint beside the output file; without a
// checkpoint that belongs to the last block it goes on from the output file and says so.
#include <gtest/gtest.h>

#include <string>

#include "persist/checkpoint.h"
#include "persist/files.h"
#include "persist/output_file.h"
#include "persist/setup_file.h"
#include "support/run_rig.h"

namespace cx::test {
namespace {

namespace fs = std::filesystem;

// What `cumulex run --continue` does with a folder: the setup, the last block, the checkpoint.
struct Resumed {
  Column column;
  Settings settings;
  RecordingPort port;
  EventLog log{port};
  CheckpointUse checkpoint;

  explicit Resumed(const fs::path& folder) {
    EXPECT_TRUE(ReadSetup(folder, column, settings, port).ok);
    const std::string text = *readWholeFile(folder / "CXoutput.txt");
    const int last = lastCompleteIteration(text, "CXoutput.txt", column);
    EXPECT_TRUE(parseIteration(text, "CXoutput.txt", last, column).ok);
    checkpoint = restoreCheckpoint(folder, text, last, column);
    column.InitialNeeded = false;
    column.NodesAtInitial = column.NumNodes;
  }
  RunOutcome run(const fs::path& folder, int iterations) {
    RunContext ctx{column, settings, log, port, folder};
    ctx.iterationLimit = iterations;
    return CmdStart(ctx);
  }
};

// A column that cools through its top for a few iterations (thermal diffusion only).
void coolingColumn(RunRig& rig) {
  rig.settings.setMiscText(misc::kSaveInterval, "4");
  rig.settings.setMiscText(misc::kTStepTop, "-20");
  rig.column.TopCoolRate = -20.0 / kSecondsPerDay;
}

TEST(ExactRestart, AResumedRunGivesTheNumbersOfOneNeverStopped) {
  RunRig whole(5);
  coolingColumn(whole);
  ASSERT_FALSE(whole.run(14).error);

  for (int stopAt : {3, 9}) {  // within the first five saves, and between two saves
    RunRig first(5);
    coolingColumn(first);
    ASSERT_FALSE(first.run(stopAt).error);
    Resumed resumed(first.folder.path());
    EXPECT_TRUE(resumed.checkpoint.used) << resumed.checkpoint.note;
    ASSERT_FALSE(resumed.run(first.folder.path(), 14 - stopAt).error);
    EXPECT_EQ(resumed.column.Iteration, 14);
    EXPECT_TRUE(resumed.column == whole.column) << "stopped at " << stopAt;
    EXPECT_EQ(*readWholeFile(first.folder.path() / "CXcheckpoint.txt"),
              *readWholeFile(whole.folder.path() / "CXcheckpoint.txt"));
    // Blocks saved after the restart are the same text as the uninterrupted run's.
    EXPECT_EQ(blockTextOf(first.output(), 14), blockTextOf(whole.output(), 14));
  }
}

TEST(ExactRestart, WithoutAMatchingCheckpointTheOutputFileIsUsedWithANote) {
  RunRig first(5);
  coolingColumn(first);
  ASSERT_FALSE(first.run(6).error);
  const fs::path checkpoint = first.folder.path() / "CXcheckpoint.txt";
  const std::string saved = *readWholeFile(checkpoint);

  // Absent.
  fs::remove(checkpoint);
  {
    Resumed resumed(first.folder.path());
    EXPECT_FALSE(resumed.checkpoint.used);
    EXPECT_NE(resumed.checkpoint.note.find("CXcheckpoint.txt is absent"), std::string::npos);
  }
  // Belonging to another block: the last block edited after the checkpoint was written.
  ASSERT_TRUE(writeFileAtomically(checkpoint, saved));
  std::string text = first.output();
  const auto at = text.rfind("Iteration: 6\r\n");
  ASSERT_NE(at, std::string::npos);
  {  // the file as it was written: the checkpoint is back and used
    Resumed resumed(first.folder.path());
    EXPECT_TRUE(resumed.checkpoint.used) << resumed.checkpoint.note;
  }
  const auto digit = text.find_first_of("123456789", text.find("\r\n", at) + 2);
  text[digit] = text[digit] == '9' ? '8' : static_cast<char>(text[digit] + 1);
  ASSERT_TRUE(writeFileAtomically(first.folder.path() / "CXoutput.txt", text));
  {
    Resumed resumed(first.folder.path());
    EXPECT_FALSE(resumed.checkpoint.used);
    EXPECT_NE(resumed.checkpoint.note.find("belongs to another block"), std::string::npos)
        << resumed.checkpoint.note;
  }
  // Damaged: a value cut off.
  std::string damaged = saved;
  damaged.erase(damaged.find("Temp: ") + 10, 5);
  ASSERT_TRUE(writeFileAtomically(first.folder.path() / "CXoutput.txt", first.output()));
  ASSERT_TRUE(writeFileAtomically(checkpoint, damaged));
  Column before;
  Settings s;
  RecordingPort port;
  ASSERT_TRUE(ReadSetup(first.folder.path(), before, s, port).ok);
  Column c = before;
  const CheckpointUse use = restoreCheckpointText(damaged, first.output(), 6, c);
  EXPECT_FALSE(use.used);
  EXPECT_TRUE(c == before) << "a checkpoint that does not read leaves the column alone";
}

// The rounding of the output file is what the checkpoint is for: resumed from the file alone the
// run drifts from the uninterrupted one (so the test above can fail).
TEST(ExactRestart, TheOutputFileAloneDoesNotResumeExactly) {
  RunRig whole(5);
  coolingColumn(whole);
  ASSERT_FALSE(whole.run(14).error);
  RunRig first(5);
  coolingColumn(first);
  ASSERT_FALSE(first.run(6).error);
  fs::remove(first.folder.path() / "CXcheckpoint.txt");
  Resumed resumed(first.folder.path());
  ASSERT_FALSE(resumed.run(first.folder.path(), 8).error);
  EXPECT_FALSE(resumed.column == whole.column);
  EXPECT_NEAR(resumed.column.Temp(3), whole.column.Temp(3), 1e-3);
}

}  // namespace
}  // namespace cx::test
