// The example setups load and run.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

#include "persist/setup_file.h"
#include "support/run_rig.h"

namespace cx {
namespace {

const std::filesystem::path kExamples = std::filesystem::path(CUMULEX_SOURCE_DIR) / "examples";

struct ExampleRig : test::RunRig {
  explicit ExampleRig(const char* name) {
    const SetupReadResult r = openSetup(folder.path(), kExamples / name, column, settings, port);
    EXPECT_TRUE(r.ok) << r.message;
  }
};

// Two liquids in contact, diffusion only: the basalt's MgO spreads into the dacite, smoothly and
// without loss, and every node's liquid stays at 100 wt %.
TEST(Examples, TheDiffusionCoupleDiffusesAcrossItsContact) {
  ExampleRig rig("diffusion-couple.cxd");
  Column& c = rig.column;
  ASSERT_EQ(c.NumNodes, 20);
  const auto outcome = rig.run(20);
  ASSERT_FALSE(outcome.error) << outcome.message;
  EXPECT_EQ(c.Iteration, 20);
  double mgo = 0.0;
  for (int i = 1; i <= 20; ++i) {
    mgo += c.LiqOx(i, 8);
    if (i > 1) {
      EXPECT_LE(c.LiqOx(i, 8), c.LiqOx(i - 1, 8)) << "node " << i;
    }
    double sum = 0.0;
    for (int j = 1; j <= kOxides; ++j) sum += c.LiqOx(i, j);
    EXPECT_NEAR(sum, 100.0, 1e-9);
  }
  // The two halves started at 7.58 and 2.30 wt % (equal densities within each half, equal
  // masses): the inventory sits between, weighted by the halves' liquid densities.
  EXPECT_GT(c.LiqOx(10, 8), c.LiqOx(11, 8));
  EXPECT_LT(c.LiqOx(10, 8), 7.57);
  EXPECT_GT(c.LiqOx(11, 8), 2.31);
  EXPECT_NEAR(c.LiqOx(1, 8), 7.578, 0.03);  // the far ends have hardly felt it yet
  EXPECT_GT(mgo, 20 * 2.3);
}

// A sill whose crystals settle: iteration 0 and the first iteration run, the magma above the
// pile is one mixed magma (each node then solved at its own temperature), and the pile holds
// the settled crystals.
TEST(Examples, TheSettlingChamberRuns) {
  ExampleRig rig("settling-chamber.cxd");
  Column& c = rig.column;
  ASSERT_TRUE(rig.settings.optionBottomAccum);
  ASSERT_EQ(rig.settings.run.chkSkipTrace, 0);
  const auto outcome = rig.run(1);
  ASSERT_FALSE(outcome.error) << outcome.message;
  EXPECT_EQ(c.Iteration, 1);
  ASSERT_LT(c.TopNode, c.NumNodes);
  EXPECT_GT(c.MassSolid(1), 0.0);
  for (int i = c.TopNode + 1; i < c.NumNodes; ++i)
    EXPECT_NEAR(c.LiqOx(i, 8), c.LiqOx(c.NumNodes - 1, 8), 1e-3) << "node " << i;
}

}  // namespace
}  // namespace cx
