// The example setups load and run.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <string>

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

// Whether the event log holds a repaired node or an error report.
bool troubled(const std::string& log) {
  for (const char* word : {"Interpolat", "Extrapolat", "Error", "error", "not equilibrated",
                           "Not equilibrated", "mass error"})
    if (log.find(word) != std::string::npos) return true;
  return false;
}

// A partly crystallized basalt pile under hot magma compacts: its matrix sinks, the liquid it
// expels rises, so the pile's liquid fraction falls and the node its top leaves fills with
// liquid; nothing fails on the way.
TEST(Examples, TheCompactingCumulateExpelsItsLiquid) {
  ExampleRig rig("compacting-cumulate.cxd");
  Column& c = rig.column;
  ASSERT_TRUE(rig.settings.optionCompact);
  ASSERT_EQ(rig.settings.run.chkSkipAdvection, 0);
  const auto outcome = rig.run(4);
  ASSERT_FALSE(outcome.error) << outcome.message;
  EXPECT_EQ(c.Iteration, 4);
  EXPECT_FALSE(troubled(rig.logText())) << rig.logText();
  // The pile top (node 12 at the start) has sunk into its top node.
  EXPECT_EQ(c.TopNode, 12);
  EXPECT_LT(c.PileTop, 12 * c.DeltaX);
  for (int i = 2; i <= 11; ++i) EXPECT_LT(c.Vsolid(i), 0.0) << "node " << i;
  // Liquid fraction (all nodes started alike): fallen at the base of the pile, where the
  // matrix has compacted most, risen in the top node the pile top is leaving.
  EXPECT_LT(c.FLiq(1), c.FLiq(10) - 0.01);
  EXPECT_GT(c.FLiq(12), c.FLiq(11) + 0.02);
  EXPECT_EQ(c.MassSolid(13), 0.0);
}

// A primitive melt infiltrates a cooler, partly crystalline basalt column from below: the bottom
// nodes take the infiltrant's liquid (MgO-rich) and heat up; the nodes far above are untouched.
TEST(Examples, TheInfiltrationReplacesTheBottomLiquid) {
  ExampleRig rig("infiltration.cxd");
  Column& c = rig.column;
  ASSERT_TRUE(rig.settings.optionInfiltrate);
  ASSERT_FALSE(rig.settings.optionUseFirstLiq);
  const auto outcome = rig.run(8);
  ASSERT_FALSE(outcome.error) << outcome.message;
  EXPECT_FALSE(troubled(rig.logText())) << rig.logText();
  EXPECT_GT(c.BulkOx(1, 8), c.InitBulkOx(1, 8) + 1.0);  // MgO: 7.6 wt % at the start, 12.0 in
  EXPECT_GT(c.Temp(1), c.Temp(15) + 10.0);
  EXPECT_GT(c.FLiq(1), c.FLiq(15));
  EXPECT_NEAR(c.BulkOx(18, 8), c.InitBulkOx(18, 8), 0.05);
}

}  // namespace
}  // namespace cx
