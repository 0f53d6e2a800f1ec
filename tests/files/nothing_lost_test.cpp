// The promise "nothing lost": what the folder held before a command stays whole whatever the
// command meets - a history edited out of order, a disk that fills, a setup that cannot run, a
// halt in the middle of an iteration.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <string>

#include "persist/files.h"
#include "persist/output_file.h"
#include "persist/setup_file.h"
#include "support/run_rig.h"
#include "transport/thermal_diffusion.h"
#include "ui/recording_port.h"

namespace cx::test {
namespace {

namespace fs = std::filesystem;

// A file-size limit for this process: writes beyond it fail with EFBIG as they would on a full
// disk (the signal that goes with it is ignored).  The old limit comes back at the end of scope.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) {
    getrlimit(RLIMIT_FSIZE, &old_);
    previousHandler_ = std::signal(SIGXFSZ, SIG_IGN);
    rlimit lim = old_;
    lim.rlim_cur = bytes;
    setrlimit(RLIMIT_FSIZE, &lim);
  }
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &old_);
    std::signal(SIGXFSZ, previousHandler_);
  }

 private:
  rlimit old_{};
  void (*previousHandler_)(int) = nullptr;
};

std::string replaceFirst(std::string text, const std::string& from, const std::string& to) {
  const auto at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  if (at != std::string::npos) text.replace(at, from.size(), to);
  return text;
}

// A run of 12 iterations saved every 5: blocks 0 to 5, 10 and 12.
struct SavedRun : RunRig {
  SavedRun() : RunRig(4) {
    settings.setMiscText(misc::kSaveInterval, "5");
    run(12);
  }
  fs::path outputPath() const { return folder.path() / "CXoutput.txt"; }
};

TEST(NothingLost, LoadKeepsExactlyTheBlocksUpToTheOneLoaded) {
  SavedRun rig;
  const std::string text = rig.output();
  ASSERT_EQ(listIterations(text), (std::vector<int>{0, 1, 2, 3, 4, 5, 10, 12}));
  for (int n : {10, 4, 0}) {
    ASSERT_TRUE(writeFileAtomically(rig.outputPath(), text));
    Column c = rig.column;
    RecordingPort yes;
    yes.answer = true;
    const LoadResult r = loadIteration(rig.folder.path(), n, c, rig.log, yes);
    ASSERT_TRUE(r.ok) << r.message;
    EXPECT_EQ(c.Iteration, n);
    // The kept file is the old one up to where the block after n began, byte for byte.
    const std::string kept = rig.output();
    const auto index = indexOutput(text, "CXoutput.txt");
    std::size_t cut = text.size();
    for (std::size_t k = 0; k + 1 < index.blocks.size(); ++k)
      if (index.blocks[k].iteration == n) cut = index.blocks[k + 1].offset;
    EXPECT_EQ(kept, text.substr(0, cut)) << "load " << n;
    EXPECT_EQ(listIterations(kept).back(), n);
  }
}

TEST(NothingLost, LoadRefusesHeadingsOutOfOrderAndChangesNothing) {
  SavedRun rig;
  const std::string good = rig.output();
  // The heading of block 5 edited to 50: cutting after "the first block above 20" would have
  // dropped blocks 10 and 12.
  for (const auto& [from, to] : {std::pair{"Iteration: 5\r\n", "Iteration: 50\r\n"},
                                 {"Iteration: 10\r\n", "Iteration: 3\r\n"},
                                 {"Iteration: 4\r\n", "Iteration: 4.5\r\n"},
                                 {"Iteration: 4\r\n", "Iteration: 1e10\r\n"}}) {
    const std::string damaged = replaceFirst(good, from, to);
    ASSERT_TRUE(writeFileAtomically(rig.outputPath(), damaged));
    const int line = indexOutput(damaged, "x").blocks.back().line;  // the last good heading
    Column c = rig.column;
    RecordingPort yes;
    yes.answer = true;
    const LoadResult r = loadIteration(rig.folder.path(), 10, c, rig.log, yes);
    EXPECT_FALSE(r.ok) << to;
    EXPECT_FALSE(r.declined);
    EXPECT_TRUE(yes.questions.empty()) << "refused before the question";
    EXPECT_NE(r.message.find("CXoutput.txt, line "), std::string::npos) << r.message;
    EXPECT_EQ(rig.output(), damaged) << "the file is left as it was";
    EXPECT_TRUE(c == rig.column);
    EXPECT_GT(line, 0);
  }
}

TEST(NothingLost, AnAppendThatTheDiskCutsShortIsTakenBack) {
  ScratchFolder work("append");
  const fs::path file = work.path() / "CXoutput.txt";
  const std::string first(3000, 'a'), second(5000, 'b');
  ASSERT_TRUE(appendToFile(file, first));
  {
    FileSizeLimit limit(4096);  // room for about a thousand more bytes only
    const WriteStatus w = appendToFile(file, second);
    EXPECT_FALSE(w.ok);
    EXPECT_EQ(w.reason, "File too large");  // the system's own words
    const WriteStatus whole = writeFileAtomically(work.path() / "other.txt", second);
    EXPECT_FALSE(whole.ok);
    EXPECT_FALSE(fs::exists(work.path() / "other.txt.part")) << "no temporary file left";
  }
  EXPECT_EQ(fs::file_size(file), first.size());
  EXPECT_EQ(*readWholeFile(file), first);
  ASSERT_TRUE(appendToFile(file, second));  // with room again the same append goes through
  EXPECT_EQ(*readWholeFile(file), first + second);
}

TEST(NothingLost, ARunOnAFullDiskLeavesWholeBlocksAndSaysWhy) {
  RunRig rig(4);
  rig.settings.setMiscText(misc::kSaveInterval, "1");
  ASSERT_FALSE(rig.run(1).error);
  const std::uintmax_t twoBlocks = fs::file_size(rig.folder.path() / "CXoutput.txt");
  Column atOne = rig.column;
  RunOutcome outcome;
  {
    // Room for about two and a half more blocks.
    FileSizeLimit limit(static_cast<rlim_t>(twoBlocks * 9 / 4));
    outcome = rig.run(10);
  }
  EXPECT_TRUE(outcome.error);
  const std::string text = rig.output();
  const auto iterations = listIterations(text);
  ASSERT_FALSE(iterations.empty());
  EXPECT_EQ(lastCompleteIteration(text, "CXoutput.txt", atOne), iterations.back())
      << "the file ends on a whole block";
  EXPECT_EQ(text.substr(text.size() - 2), "\r\n");
  EXPECT_TRUE(std::any_of(rig.port.events.begin(), rig.port.events.end(), [](const auto& e) {
    return e.find(" error writing CXoutput.txt: File too large") != std::string::npos;
  })) << "the message gives the system's reason";
}

TEST(NothingLost, ASetupThatCannotStartLeavesTheFolderAsItWas) {
  SavedRun rig;
  const std::string history = rig.output();
  const std::string setupBefore = *readWholeFile(rig.folder.path() / "CXsetup.cxd");
  // A new setup whose initial state cannot be found: neither the working copy of the setup nor
  // the history may be replaced by it.
  Column fresh;
  Settings freshSettings;
  makeBasaltColumn(fresh, freshSettings, 6, 1100.0);
  RecordingPort port;
  EventLog log(port);
  RunContext ctx{fresh, freshSettings, log, port, rig.folder.path()};
  ctx.processes.FindInitial = [](RunContext& c) { c.log.ErrorFlag = true; };
  ctx.iterationLimit = 3;
  const RunOutcome outcome = CmdStart(ctx);
  EXPECT_TRUE(outcome.error);
  EXPECT_EQ(*readWholeFile(rig.folder.path() / "CXsetup.cxd"), setupBefore);
  EXPECT_EQ(rig.output(), history);
}

TEST(NothingLost, AHaltInsideAProcessIsNotAnErrorAndKeepsTheLastWholeIteration) {
  for (int haltIn : {1, 3, 7}) {
    RunRig rig(4);
    rig.settings.setMiscText(misc::kSaveInterval, "10");
    rig.ctx.processes.TDiffusion = [&](RunContext& ctx) {
      if (ctx.column.Iteration == haltIn) {
        // What a solver does when the operator halts it: it stops part-way and says it failed.
        ctx.column.Temp(2) = -1.0;
        ctx.log.HaltFlag = true;
        ctx.log.ErrorFlag = true;
        return;
      }
      TDiffusion(ctx.column, ctx.settings, ctx.log, ctx.port);
    };
    const RunOutcome outcome = rig.run(20);
    EXPECT_FALSE(outcome.error) << "halt in iteration " << haltIn;
    EXPECT_TRUE(outcome.halted);
    EXPECT_EQ(rig.column.Iteration, haltIn - 1) << "the interrupted iteration is discarded";
    EXPECT_GT(rig.column.Temp(2), 0.0);
    EXPECT_FALSE(rig.logged("Itr: " + std::to_string(haltIn) +
                            "  - Error in Thermal Diffusion subroutine."));
    // The iteration the run says it reached is the file's last block.
    const auto iterations = listIterations(rig.output());
    ASSERT_FALSE(iterations.empty());
    EXPECT_EQ(iterations.back(), haltIn - 1);
    Column saved = rig.column;
    ASSERT_TRUE(parseIteration(rig.output(), "CXoutput.txt", haltIn - 1, saved).ok);
    EXPECT_NEAR(saved.Temp(3), rig.column.Temp(3), 1e-6);  // the file keeps seven decimals
  }
}

TEST(NothingLost, TheLastIterationIsSavedWhenARunEndsBetweenSaves) {
  RunRig rig(4);
  rig.settings.setMiscText(misc::kSaveInterval, "10");
  rig.run(13);
  EXPECT_EQ(listIterations(rig.output()), (std::vector<int>{0, 1, 2, 3, 4, 5, 10, 13}));
  // Going on, saves fall on the multiples of the interval again.
  rig.run(9);
  EXPECT_EQ(listIterations(rig.output()), (std::vector<int>{0, 1, 2, 3, 4, 5, 10, 13, 20, 22}));
}

TEST(NothingLost, FilesThatAreNotRegularOrTooLargeAreRefusedUnread) {
  const FileText dev = readTextFile("/dev/zero", kMaxSetupFileBytes);
  EXPECT_FALSE(dev.text);
  EXPECT_EQ(dev.problem, "not a regular file");
  ScratchFolder work("size");
  const FileText folder = readTextFile(work.path(), kMaxSetupFileBytes);
  EXPECT_FALSE(folder.text);
  EXPECT_EQ(folder.problem, "a folder, not a file");
  const fs::path big = work.path() / "big.cxd";
  ASSERT_TRUE(writeFileAtomically(big, std::string(2 << 20, 'x')));
  const FileText capped = readTextFile(big, 1 << 20);
  EXPECT_FALSE(capped.text);
  EXPECT_NE(capped.problem.find("too large"), std::string::npos);
  EXPECT_TRUE(readTextFile(big, 4 << 20).text);
  const FileText missing = readTextFile(work.path() / "none.cxd", kMaxSetupFileBytes);
  EXPECT_TRUE(missing.missing);
  EXPECT_EQ(missing.problem, "No such file or directory");
}

}  // namespace
}  // namespace cx::test
