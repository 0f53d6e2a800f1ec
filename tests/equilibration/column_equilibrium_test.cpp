// The column's equilibrium: the initial state, the walk of Equilibrate over the nodes and the
// repair of failed nodes, checked against conservation of mass, thermodynamic identities,
// published densities of basaltic liquid and the program's own messages.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>

#include "persist/files.h"
#include "run/initial_state.h"
#include "run/node_equilibrium.h"
#include "run/run_driver.h"
#include "support/run_rig.h"

namespace cx {
namespace {

// The test column with equilibration on.
struct Rig : test::RunRig {
  explicit Rig(int nodes, double tempC = 1200.0) : RunRig(nodes, tempC) {
    settings.run.chkSkipEquilibration = 0;
  }
  double nodeMass(int i) const {
    return column.MassLiq(i) + column.MassSolid(i) + column.MassWater(i);
  }
  // Grams of oxide k in the whole column.
  double oxideMass(int k) const {
    double sum = 0.0;
    for (int i = 1; i <= column.NumNodes; ++i) sum += column.BulkOx(i, k) * nodeMass(i) / 100.0;
    return sum;
  }
};

TEST(ColumnEquilibrium, InitialStateKeepsTheBulkAndHasPhysicalProperties) {
  Rig rig(3);
  rig.column.FindInitialOnly = true;
  const RunOutcome outcome = rig.run(1);
  ASSERT_FALSE(outcome.error) << outcome.message;
  const Column& c = rig.column;
  double entered = 0.0;
  for (int k = 1; k <= kOxides; ++k) entered += c.InitBulkOx(1, k);
  for (int i = 1; i <= 3; ++i) {
    SCOPED_TRACE("node " + std::to_string(i));
    // The assemblage holds the entered bulk (normalized), on 100 g.
    for (int k = 1; k <= kOxides; ++k)
      EXPECT_NEAR(c.BulkOx(i, k), c.InitBulkOx(i, k) * 100.0 / entered, 1e-8) << k;
    EXPECT_NEAR(rig.nodeMass(i), 100.0, 1e-9);
    EXPECT_NEAR(c.FLiq(i), c.MassLiq(i) / 100.0, 1e-12);
    // A basalt a little below its liquidus: mostly liquid, some crystals.
    EXPECT_GT(c.FLiq(i), 0.8);
    EXPECT_GT(c.PhaseCount(i), 0);
    // The phase table from the endmembers' molar masses agrees with the oxides' mass.
    EXPECT_NEAR(c.PhaseMass(i, kPhaseOrderSize), c.MassSolid(i), 1e-3);
    // Basaltic liquid at 1200 C is 2.6-2.8 g/cm3 (Lange and Carmichael 1987); densities are
    // kept in g per J/bar, ten times g/cm3.
    EXPECT_GT(c.RhoLiq(i), 26.0);
    EXPECT_LT(c.RhoLiq(i), 28.0);
    // Oxygen fugacity of a MORB near QFM at 1200 C: log fO2 about -8 to -10.5.
    EXPECT_GT(c.FO2(i), -11.0);
    EXPECT_LT(c.FO2(i), -7.5);
    // Its viscosity: 10-1000 Pa s, i.e. 1e2-1e4 poise.
    EXPECT_GT(c.LiqVisc(i), 1e2);
    EXPECT_LT(c.LiqVisc(i), 1e4);
    // The entropy is the mass-weighted mean of its parts.
    const double parts =
        (c.MassLiq(i) * c.SLiq(i) + c.MassSolid(i) * c.SSolid(i) + c.MassWater(i) * c.SWater(i)) /
        100.0;
    EXPECT_NEAR(c.STotal(i), parts, 1e-6);
  }
  // The pressure grows downwards by the weight of each node above.
  EXPECT_EQ(c.Press(3), 1000.0);
  EXPECT_GT(c.Press(1), c.Press(2));
  // Iteration 0 is written and nothing else.
  const auto out = readWholeFile(rig.folder.path() / "CXoutput.txt");
  ASSERT_TRUE(out.has_value());
}

TEST(ColumnEquilibrium, HeatCapacityAndEntropyOfALiquidNodeAgree) {
  // Above the liquidus the node is all liquid; T dS/dT between two initial states is its Cp.
  const double t0 = 1350.0, dt = 0.5;
  Rig a(2, t0), b(2, t0 + dt);
  a.column.FindInitialOnly = b.column.FindInitialOnly = true;
  ASSERT_FALSE(a.run(1).error);
  ASSERT_FALSE(b.run(1).error);
  ASSERT_EQ(a.column.FLiq(2), 1.0);
  ASSERT_EQ(a.column.PhaseCount(2), 0);
  const double tMid = t0 + dt / 2 + kKelvinOffset;
  const double cpFromS = (b.column.STotal(2) - a.column.STotal(2)) / dt * tMid;
  const double cpMean = (a.column.CpBulk(2) + b.column.CpBulk(2)) / 2;
  // The liquid's standard states keep S and H at their 1-bar values (and silica's S without its
  // empirical correction), so T dS/dT and dH/dT part by about 1 % at 1 kbar; a slip of units
  // between the entropy and the heat capacity would part them by orders of magnitude.
  EXPECT_NEAR(cpFromS, cpMean, 0.02 * cpMean);
  // A basaltic liquid holds about 1.5 J/K per gram (Lange and Navrotsky 1992).
  EXPECT_GT(cpMean, 1.3);
  EXPECT_LT(cpMean, 1.8);
}

TEST(ColumnEquilibrium, CoolingFromTheTopConservesEveryOxideAndCrystallizes) {
  // Thermal diffusion and equilibration only: no mass moves between the nodes.
  Rig rig(2);
  rig.settings.setMiscText(misc::kTStepTop, "-2.0");
  rig.column.TopCoolRate = -2.0 / kSecondsPerDay;
  rig.column.FindInitialOnly = true;
  ASSERT_FALSE(rig.run(1).error);
  rig.column.FindInitialOnly = false;
  double start[kOxides + 1], before[kOxides + 1];
  for (int k = 1; k <= kOxides; ++k) start[k] = before[k] = rig.oxideMass(k);
  const double solid0 = rig.column.MassSolid(2);
  const double top0 = rig.column.Temp(2);
  int iterations = 0;
  for (int step = 0; step < 25; ++step) {
    const RunOutcome outcome = rig.run(4);
    ASSERT_FALSE(outcome.error) << outcome.message;
    // A repaired node takes its neighbours' bulk: conservation holds only without failures.
    std::string events;
    for (const auto& e : rig.port.events) events += e + "\n";
    ASSERT_EQ(events.find("Error returned from minimization"), std::string::npos) << events;
    iterations += 4;
    for (int k = 1; k <= kOxides; ++k) {
      const double now = rig.oxideMass(k);
      const double tol = std::max(start[k], 1e-3);
      EXPECT_NEAR(now, before[k], 4e-6 * tol) << "oxide " << k << " at " << iterations;
      before[k] = now;
    }
  }
  for (int k = 1; k <= kOxides; ++k)
    EXPECT_NEAR(rig.oxideMass(k), start[k], 1e-4 * std::max(start[k], 1e-3)) << "oxide " << k;
  // The top node follows the imposed cooling at fixed temperature and crystallizes.
  EXPECT_LT(rig.column.Temp(2), top0 - 20.0);
  EXPECT_GT(rig.column.MassSolid(2), solid0 + 5.0);
  EXPECT_LT(rig.column.FLiq(2), rig.column.FLiq(1));
}

TEST(ColumnEquilibrium, AUniformColumnWithoutCoolingStaysPut) {
  Rig rig(3);
  rig.settings.optionCompact = false;
  rig.settings.optionInfiltrate = true;
  rig.settings.optionUseFirstLiq = true;
  rig.column.MassDiffCoef(1, 1) = 1e-6;  // the time step of infiltration without advection
  rig.settings.setMiscText(misc::kTStepTop, "0");
  rig.column.TopCoolRate = 0.0;
  rig.column.FindInitialOnly = true;
  ASSERT_FALSE(rig.run(1).error);
  rig.column.FindInitialOnly = false;
  const Column initial = rig.column;
  const RunOutcome outcome = rig.run(50);
  ASSERT_FALSE(outcome.error) << outcome.message;
  ASSERT_EQ(rig.column.Iteration, 50);
  for (int i = 1; i <= 3; ++i) {
    SCOPED_TRACE("node " + std::to_string(i));
    EXPECT_NEAR(rig.column.Temp(i), initial.Temp(i), 0.05);
    // The entropy search's tolerance is 1e-4 J/K on 100 g.
    EXPECT_NEAR(rig.column.STotal(i), initial.STotal(i), 2e-6);
    EXPECT_NEAR(rig.column.MassSolid(i), initial.MassSolid(i), 0.05);
    ASSERT_EQ(rig.column.PhaseCount(i), initial.PhaseCount(i));
    for (int k = 1; k <= initial.PhaseCount(i); ++k)
      EXPECT_EQ(rig.column.PhaseList(i, k), initial.PhaseList(i, k));
  }
}

// A bulk the liquid components cannot be formed from: too little silica for its MgO.
void spoil(Column& c, int i) {
  c.BulkOx(i, 1) = 1.0;
}

TEST(ColumnEquilibrium, FailedNodesAreRepairedFromTheirNeighbours) {
  Rig rig(5);
  rig.column.FindInitialOnly = true;
  ASSERT_FALSE(rig.run(1).error);
  Column& c = rig.column;
  c.Iteration = 7;
  // Give the neighbours distinct temperatures so that the repair shows.
  c.Temp(2) -= 2.0;
  c.Temp(4) -= 6.0;
  spoil(c, 3);
  spoil(c, 5);
  Equilibrate(rig.ctx);
  EXPECT_FALSE(rig.log.ErrorFlag);
  EXPECT_TRUE(rig.logged("Itr: 7 Node: 3 - Error returned from minimization."));
  EXPECT_TRUE(rig.logged("  Node: 3  Interpolated between adjacent nodes"));
  EXPECT_TRUE(rig.logged("  Node: 5  Extrapolated from adjacent nodes"));
  EXPECT_NEAR(c.Temp(3), 0.5 * (c.Temp(2) + c.Temp(4)), 1e-9);
  // The repaired node holds a bulk again, and a start for its next solve.
  double sum = 0.0;
  for (int k = 1; k <= kOxides; ++k) sum += c.BulkOx(3, k);
  EXPECT_NEAR(sum, 100.0, 0.5);
  EXPECT_EQ(c.PhaseCount(3), c.PhaseCount(2));
  EXPECT_FALSE(rig.logged("4 problem nodes in a row."));

  // Two failures side by side are not repaired; four in a row are reported.
  Rig row(5);
  row.column.FindInitialOnly = true;
  ASSERT_FALSE(row.run(1).error);
  for (int i = 1; i <= 4; ++i) spoil(row.column, i);
  const double t2 = row.column.Temp(2);
  Equilibrate(row.ctx);
  EXPECT_TRUE(row.logged("4 problem nodes in a row."));
  EXPECT_FALSE(row.logged("  Node: 2  Interpolated between adjacent nodes"));
  EXPECT_EQ(row.column.Temp(2), t2);
}

TEST(ColumnEquilibrium, ANodeAtTheLiquidLimitIsSkipped) {
  Rig rig(3);
  rig.column.FindInitialOnly = true;
  ASSERT_FALSE(rig.run(1).error);
  Column& c = rig.column;
  const Column before = c;
  rig.settings.setMiscText(misc::kMinFLiqEquilibration, std::to_string(c.FLiq(2)));
  c.FLiq(2) = rig.settings.misc(misc::kMinFLiqEquilibration);  // exactly at the limit
  Equilibrate(rig.ctx);
  EXPECT_TRUE(rig.logged("  Node: 2  - F(liq) below limit, equilibration skipped"));
  EXPECT_EQ(c.Temp(2), before.Temp(2));
  EXPECT_EQ(c.STotal(2), before.STotal(2));
}

TEST(ColumnEquilibrium, InitialStateChecksStopBeforeAnythingIsWritten) {
  {
    Rig rig(3);
    rig.column.Temp(2) = 200.0 + kKelvinOffset;
    const RunOutcome outcome = rig.run(1);
    EXPECT_TRUE(outcome.error);
    ASSERT_FALSE(rig.port.messages.empty());
    EXPECT_EQ(rig.port.messages.back(),
              "Ndde: 2, temperatures not set or out of range!!\n  Check that bulk compositons "
              "and temepratures have been set correctly.\n    .....aborting calculation.");
    EXPECT_EQ(rig.port.status, "");
    EXPECT_FALSE(std::filesystem::exists(rig.folder.path() / "CXoutput.txt"));
  }
  {
    // The limits themselves are accepted.
    Rig rig(2);
    rig.column.Temp(1) = 2773.14;
    rig.column.Temp(2) = 573.14;
    rig.settings.run.chkSkipEquilibration = 1;
    rig.column.FindInitialOnly = true;
    rig.run(1);
    EXPECT_TRUE(rig.port.messages.empty() ||
                rig.port.messages.back().find("temperatures not set") == std::string::npos);
  }
  {
    // A zero trace element, with trace elements on.
    Rig rig(3);
    rig.settings.run.chkSkipTrace = 0;
    rig.column.InitBulkTrace(3, 5) = 0.0;
    FindInitial(rig.ctx);
    EXPECT_TRUE(rig.log.ErrorFlag);
    ASSERT_FALSE(rig.port.messages.empty());
    EXPECT_EQ(rig.port.messages.back(),
              "A trace element at node 3 is <= 0.\nCheck that all trace elments have been set "
              "correctly!");
  }
}

TEST(ColumnEquilibrium, TwoRunsOfOneSetupWriteTheSameBytes) {
  Rig a(3), b(3);
  ASSERT_FALSE(a.run(3).error);
  ASSERT_FALSE(b.run(3).error);
  const auto fa = readWholeFile(a.folder.path() / "CXoutput.txt");
  const auto fb = readWholeFile(b.folder.path() / "CXoutput.txt");
  ASSERT_TRUE(fa.has_value());
  ASSERT_TRUE(fb.has_value());
  EXPECT_EQ(*fa, *fb);
}

}  // namespace
}  // namespace cx
