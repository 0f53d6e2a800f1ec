// A column run is a function of its setup: the default column run twice from the same setup
// writes the same output and checkpoint files, byte for byte, whether its solver is new or has
// already solved a whole run (the solver reused by a second run in the same context).  A node's
// solve that read anything the context kept from an earlier solve would show here, in the
// numbers of some block.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "persist/checkpoint.h"
#include "persist/default_setup.h"
#include "persist/files.h"
#include "persist/output_file.h"
#include "persist/setup_file.h"
#include "support/run_rig.h"

namespace cx::test {
namespace {

namespace fs = std::filesystem;

constexpr int kIterations = 50;

void loadDefault(RunRig& rig) {
  Column c;
  Settings s;
  ASSERT_TRUE(parseSetup(std::string(defaultSetupText()), "default", c, s).ok);
  rig.column = c;
  rig.settings = s;
}

std::string fileText(const RunRig& rig, std::string_view name) {
  return readWholeFile(rig.folder.path() / std::string(name)).value_or("");
}

TEST(ColumnHistory, TheDefaultColumnRunTwiceWritesTheSameFiles) {
  RunRig first;
  loadDefault(first);
  ASSERT_FALSE(first.run(kIterations).error);
  ASSERT_EQ(first.column.Iteration, kIterations);
  const std::string output = fileText(first, kOutputFileName);
  const std::string checkpoint = fileText(first, kCheckpointFileName);
  ASSERT_FALSE(output.empty());
  ASSERT_FALSE(checkpoint.empty());

  // A second run in a context of its own.
  RunRig second;
  loadDefault(second);
  ASSERT_FALSE(second.run(kIterations).error);
  EXPECT_TRUE(fileText(second, kOutputFileName) == output);
  EXPECT_TRUE(fileText(second, kCheckpointFileName) == checkpoint);

  // The same setup again in the second run's context: its solver has solved 50 iterations of
  // nodes already.
  ASSERT_TRUE(second.ctx.solver != nullptr);
  const auto used = second.ctx.solver;
  loadDefault(second);
  for (std::string_view name : {kOutputFileName, kCheckpointFileName})
    fs::remove(second.folder.path() / std::string(name));
  ASSERT_FALSE(second.run(kIterations).error);
  EXPECT_EQ(second.ctx.solver, used);  // the same solver, not a new one
  EXPECT_EQ(second.column.Iteration, kIterations);
  EXPECT_TRUE(fileText(second, kOutputFileName) == output);
  EXPECT_TRUE(fileText(second, kCheckpointFileName) == checkpoint);
  EXPECT_TRUE(second.column == first.column);
}

}  // namespace
}  // namespace cx::test
