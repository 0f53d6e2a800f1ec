#include "transport/advection.h"

#include <gtest/gtest.h>

#include <cmath>

#include "base/diagnostics.h"
#include "support/transport_fixture.h"
#include "thermo/constants.h"
#include "transport/compaction.h"
#include "ui/recording_port.h"

namespace cx {
namespace {

using test::thermoTables;

constexpr double kDx = 10.0;   // cm
constexpr double kDt = 100.0;  // s

// Advection of liquid alone: no pile, no gas, no trace redistribution, no inflow.
Settings liquidOnly() {
  Settings s;
  s.optionCompact = false;
  s.optionInfiltrate = false;
  s.run.chkSkipCompaction = 1;
  s.run.chkSkipGas = 1;
  s.run.chkSkipTrace = 1;
  return s;
}

struct Step {
  Column& c;
  const Settings& s;
  RecordingDiagnostics diag{};
  RecordingPort port{};
  double vgas = 0.0;
  void operator()() {
    Advect(c, s, c.Vliquid, c.Vsolid, vgas, c.PhaseX, 1, c.TopNode, thermoTables(), diag, port);
  }
};

Column liquidColumn(int n) {
  Column c = test::liquidColumn(n, kDx);
  c.DeltaT = kDt;
  c.TopNode = 1;
  c.PileTop = 0.0;
  return c;
}

// MgO raised by `extra` at the expense of SiO2, so that the liquid still sums to 100 wt %.
void enrich(Column& c, int i, double extra) {
  c.LiqOx(i, 8) += extra;
  c.LiqOx(i, 1) -= extra;
}

// The sub-steps: a velocity that crosses exactly one node in the step takes one, and upwind with
// a Courant number of 1 moves a profile by exactly one node; a hair faster takes two half steps,
// which smear it.
TEST(Advect, SubStepsKeepEachStepWithinOneNode) {
  EXPECT_EQ(advectionSubSteps(kDx / kDt, kDt, kDx), 1);
  EXPECT_EQ(advectionSubSteps(-kDx / kDt, kDt, kDx), 1);
  EXPECT_EQ(advectionSubSteps(0.0, kDt, kDx), 1);
  EXPECT_EQ(advectionSubSteps(1.0000001 * kDx / kDt, kDt, kDx), 2);
  EXPECT_EQ(advectionSubSteps(2.6 * kDx / kDt, kDt, kDx), 4);  // 3.6 rounds to 4
  EXPECT_EQ(advectionSubSteps(1.5 * kDx / kDt, kDt, kDx), 2);  // 2.5 rounds to even
  EXPECT_EQ(advectionSubSteps(2.5 * kDx / kDt, kDt, kDx), 4);  // 3.5 rounds to even

  for (const double factor : {1.0, 1.0000001}) {
    Column c = liquidColumn(12);
    const Settings s = liquidOnly();
    for (int i = 1; i <= 4; ++i) enrich(c, i, 2.0);
    for (int i = 1; i <= 12; ++i) c.Vliquid(i) = factor * kDx / kDt;
    Step step{c, s};
    step();
    ASSERT_FALSE(step.diag.ErrorFlag);
    if (factor == 1.0) {
      // Nodes 1..5 now hold the enriched liquid, the rest the old.
      for (int i = 1; i <= 12; ++i)
        EXPECT_NEAR(c.LiqOx(i, 8), i <= 5 ? 10.0 : 8.0, 1e-12) << "node " << i;
    } else {
      // Two steps at Courant number 1/2: node 5 gets 3/4 of the step, node 6 a quarter.
      EXPECT_NEAR(c.LiqOx(5, 8), 8.0 + 2.0 * 0.75, 1e-6);
      EXPECT_NEAR(c.LiqOx(6, 8), 8.0 + 2.0 * 0.25, 1e-6);
    }
    // The liquid moved at the velocity it was given: VLiq returns unchanged without gas.
    EXPECT_DOUBLE_EQ(c.Vliquid(7), factor * kDx / kDt);
  }
}

// The liquid sweep keeps each oxide's column inventory (liquid plus crystals) where no material
// crosses the ends.  With a uniform velocity, porosity and density it is exact: the upwind
// differences telescope.  With the Darcy velocity q / FLiq through a porosity gradient the terms
// in the fraction gradient add h V (dF/dz)(dx/dz) / F per node, a physical term rather than a
// truncation error, so the change does not shrink as the nodes are refined; it stays within
// 1e-3 of the oxide the bump carries (1e-4 here) on 40 and 80 nodes alike.
TEST(Advect, LiquidSweepConservesEachOxideWithClosedEnds) {
  {
    Column c = liquidColumn(40);
    for (int i = 1; i <= 40; ++i) test::giveCrystals(c, i, 0.2);
    for (int i = 12; i <= 20; ++i) enrich(c, i, 1.5 * std::sin((i - 11) * 3.14159265 / 10.0));
    for (int i = 1; i <= 40; ++i) c.Vliquid(i) = 0.3 * kDx / kDt;
    const Settings s = liquidOnly();
    std::array<double, kOxides + 1> before{};
    for (int j = 1; j <= kOxides; ++j) before[j] = test::oxideInventory(c, j);
    Step step{c, s};
    for (int n = 0; n < 20; ++n) step();
    ASSERT_FALSE(step.diag.ErrorFlag);
    for (int j = 1; j <= kOxides; ++j)
      EXPECT_NEAR(test::oxideInventory(c, j), before[j], 1e-12 * (1.0 + before[j])) << j;
    EXPECT_GT(c.LiqOx(24, 8), 8.05);  // the bump did move
  }
  // Varying porosity: the same physical problem on 40 and 80 nodes.
  auto relativeLoss = [](int n) {
    const double dx = 400.0 / n;
    Column c = test::liquidColumn(n, dx);
    c.DeltaT = 0.25 * dx / 0.01;  // Courant number 1/4 at the fastest (porosity 0.4) liquid
    for (int i = 1; i <= n; ++i) {
      const double z = (i - 0.5) * dx;
      test::giveCrystals(c, i, 0.6 - 0.4 * z / 400.0);
      const double bump = z > 80.0 && z < 200.0 ? std::sin((z - 80.0) * 3.14159265 / 120.0) : 0.0;
      enrich(c, i, 2.0 * bump * bump);
      c.Vliquid(i) = 0.004 / c.FLiq(i);
    }
    const double before = test::oxideInventory(c, 8);
    const Settings s = liquidOnly();
    Step step{c, s};
    const int steps = static_cast<int>(std::lround(8000.0 / c.DeltaT));
    for (int k = 0; k < steps; ++k) step();
    EXPECT_FALSE(step.diag.ErrorFlag);
    // Relative to the oxide that the bump carried.
    return std::fabs(test::oxideInventory(c, 8) - before) / (2.0 * 0.5 * 120.0 * 0.6 * 26.7 / 100);
  };
  EXPECT_LT(relativeLoss(40), 1e-3);
  EXPECT_LT(relativeLoss(80), 1e-3);
}

// An infiltrant carries a trace element the column lacks: its front (half the infiltrant's
// content) advances at the liquid's velocity, within two nodes of v t after 30 nodes.  The
// infiltrant enters only when the bottom node's own liquid is not the source.
TEST(Advect, InfiltratedTracerAdvancesAtTheLiquidVelocity) {
  for (const bool useFirstLiquid : {false, true}) {
    Column c = liquidColumn(60);
    for (int i = 1; i <= 60; ++i) {
      c.TraceLiq(i, 5) = 0.0;
      c.Vliquid(i) = 0.5 * kDx / kDt;
    }
    for (int j = 1; j <= kOxides; ++j) c.InfiltrantOx(j) = test::kMelt[static_cast<std::size_t>(j)];
    c.InfiltrantTrace(5) = 100.0;
    c.InfiltrantRho = c.RhoLiq(1);
    c.InfiltrantS = c.SLiq(1);
    c.InfiltrantT = c.Temp(1) - kKelvinOffset;
    Settings s = liquidOnly();
    s.optionInfiltrate = true;
    s.optionUseFirstLiq = useFirstLiquid;
    Step step{c, s};
    const int iterations = 60;
    for (int n = 0; n < iterations; ++n) step();
    ASSERT_FALSE(step.diag.ErrorFlag);
    if (useFirstLiquid) {
      for (int i = 1; i <= 60; ++i) EXPECT_EQ(c.TraceLiq(i, 5), 0.0);
      continue;
    }
    // The node where the content falls through 50 ppm, interpolated.
    double front = 0.0;
    for (int i = 1; i < 60; ++i)
      if (c.TraceLiq(i, 5) >= 50.0 && c.TraceLiq(i + 1, 5) < 50.0)
        front = i + (c.TraceLiq(i, 5) - 50.0) / (c.TraceLiq(i, 5) - c.TraceLiq(i + 1, 5));
    const double vt = 0.5 * iterations;  // v t in nodes: half a node per step, 30 nodes
    EXPECT_NEAR(front, vt, 2.0);
    EXPECT_NEAR(c.TraceLiq(1, 5), 100.0, 1e-6);
    EXPECT_LT(c.TraceLiq(45, 5), 0.1);          // nothing runs far ahead of the front
    EXPECT_NEAR(c.Temp(20), c.Temp(40), 1e-9);  // an infiltrant at the column's temperature
  }
}

// With the vapor velocity parameter at -10 the gas crosses one node per iteration, whatever the
// gas velocity handed in; node 1 loses all its gas to node 2.
TEST(Advect, GasCrossesOneNodePerIterationWithTheMinusTenRule) {
  for (const double vgas : {0.0, 1e-4, 5.0}) {
    Column c = liquidColumn(10);
    test::giveGas(c, 1, 0.5);
    test::giveGas(c, 4, 0.3);
    Settings s = liquidOnly();
    s.run.chkSkipGas = 0;
    s.setMiscText(misc::kVaporVelocity, "-10");
    Step step{c, s};
    step.vgas = vgas;
    step();
    ASSERT_FALSE(step.diag.ErrorFlag);
    EXPECT_EQ(c.MassWater(1), 0.0);
    EXPECT_NEAR(c.MassWater(2), 0.5, 1e-6);
    EXPECT_EQ(c.MassWater(4), 0.0);
    EXPECT_NEAR(c.MassWater(5), 0.3, 1e-6);
    EXPECT_NEAR(c.RhoWater(5), 4.0, 1e-12);
    EXPECT_NEAR(c.GasComp(5, 1), 80.0, 1e-9);
    step();
    EXPECT_EQ(c.MassWater(5), 0.0);
    EXPECT_NEAR(c.MassWater(6), 0.3, 1e-6);
    EXPECT_NEAR(c.MassWater(3), 0.5, 1e-6);
    for (const int i : {1, 2, 4, 5, 7}) EXPECT_EQ(c.MassWater(i), 0.0) << "node " << i;
    // Rising gas pushes its volume of liquid down: the returned liquid velocity says so.
    EXPECT_LT(c.Vliquid(5), 0.0);
    EXPECT_EQ(c.Vliquid(8), 0.0);
  }
}

// The top of a compacting pile sinks with the matrix; when it falls into the node below, that
// node becomes the pile top and the node above it is cleared of crystals.  Where the pile deforms
// the liquid fraction falls, and the matrix's solid volume is kept to within a few per cent.
TEST(Advect, CompactingPileTopSinksAndClearsTheNodeAbove) {
  Column c = liquidColumn(20);
  for (int i = 1; i <= 10; ++i) test::giveCrystals(c, i, 0.5);
  test::giveCrystals(c, 11, 0.5 * 0.02);  // the pile top, 2 % into node 11
  c.TopNode = 11;
  c.PileTop = 10.02 * kDx;
  test::composeBulk(c);
  Settings s;
  s.optionCompact = true;
  s.run.chkSkipCompaction = 0;
  s.run.chkSkipGas = 1;
  s.run.chkSkipTrace = 1;
  s.chkConstantRho = 1;
  s.chkConstantVis = 1;
  RecordingPort port;
  const CompactionVelocities v = CompactPile(c, s, port);
  c.Vsolid = v.VSolid;
  c.Vliquid = v.VLiq;
  ASSERT_LT(c.Vsolid(10), 0.0);
  // A step that moves the top by half a node.
  c.DeltaT = 0.5 * kDx / std::fabs(c.Vsolid(10));
  double solidBefore = 0.0;
  for (int i = 1; i <= 20; ++i) solidBefore += test::volumesOf(c, i).solid;
  Step step{c, s};
  step();
  ASSERT_FALSE(step.diag.ErrorFlag) << (step.diag.reports.empty() ? "" : step.diag.reports.back());
  EXPECT_EQ(c.TopNode, 10);
  EXPECT_NEAR(c.PileTop, 10.02 * kDx - 0.5 * kDx, 0.05 * kDx);
  for (int i = 11; i <= 20; ++i) {
    EXPECT_EQ(c.MassSolid(i), 0.0) << "node " << i;
    EXPECT_EQ(c.SolidOx(i, 1), 0.0) << "node " << i;
  }
  double lowest = 1.0;
  for (int i = 2; i <= 8; ++i) lowest = std::min(lowest, c.FLiq(i));
  EXPECT_LT(lowest, 0.5);
  double solidAfter = 0.0;
  for (int i = 1; i <= 20; ++i) solidAfter += test::volumesOf(c, i).solid;
  // The pile-top bookkeeping is not exactly conservative: 1.7 % of the crystals' volume goes
  // with this half-node step.
  EXPECT_NEAR(solidAfter, solidBefore, 0.025 * solidBefore);
}

// A fault inside (a liquid fraction of zero met by the sweep) is trapped and reported.
TEST(Advect, FaultIsTrappedAndReported) {
  Column c = liquidColumn(6);
  for (int i = 1; i <= 6; ++i) c.Vliquid(i) = 0.1 * kDx / kDt;
  c.MassLiq(4) = 0.0;
  c.MassSolid(4) = 100.0;
  c.RhoSolid(4) = 30.0;
  const Settings s = liquidOnly();
  Step step{c, s};
  step.diag.TrapErrors = true;
  step();
  EXPECT_TRUE(step.diag.ErrorFlag);
  ASSERT_FALSE(step.diag.reports.empty());
  EXPECT_EQ(step.diag.reports.back(), "11 error in subroutine Advect.");
}

}  // namespace
}  // namespace cx
