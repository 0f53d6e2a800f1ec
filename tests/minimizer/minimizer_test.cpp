// The stable-assemblage minimizer against conservation of mass, the equilibrium conditions
// (affinities of listed phases near zero, none left out oversaturated), thermodynamic identities
// and its own warm start.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "minimizer_fixture.h"

namespace cx::test {
namespace {

constexpr double kC = 273.15;

// The second liquid has no entries of its own in the state vector; it is kept out of the
// equilibrium cases so that they test the solids (see SecondLiquidIsReported).
ModelOptions withoutSecondLiquid() {
  ModelOptions o;
  o.PhaseExcluded(38) = true;
  return o;
}

struct Case {
  const char* name;
  Oxides ox;
  double tempC, pBar;
};

// Same list, entries within 1e-8 of their size (a liquid component at its floor or an absent
// endmember: within 1e-20 mol).
void expectSameState(const MinimizerState& a, const MinimizerState& b, const std::string& label) {
  SCOPED_TRACE(label);
  ASSERT_EQ(a.PhaseCount, b.PhaseCount);
  for (int k = 1; k <= a.PhaseCount; ++k) EXPECT_EQ(a.Phaselist(k), b.Phaselist(k));
  ASSERT_EQ(a.Ncomp, b.Ncomp);
  for (int i = 1; i <= a.Ncomp; ++i)
    EXPECT_NEAR(a.Xstable(i), b.Xstable(i), 1e-8 * std::fabs(a.Xstable(i)) + 1e-20)
        << "entry " << i;
}

TEST(StableAssemblage, EquilibriumOfRocksAcrossConditions) {
  // Four rocks between 900 and 1300 C and 1 bar to 5 kbar.  Among them the states where a floor
  // of the liquid repeated mass balance (basalt 1100 C at 1 bar and 2 kbar, 1050 C at 1 bar,
  // andesite 950 C at 500 bar) and those where a phase dropped on the way was left out
  // oversaturated (picrite 1300 C and basalt 1100 C at 1 bar with gas, andesite 950 C at 3 kbar).
  const Case cases[] = {
      {"basalt 1150 C 1 bar", kBasalt, 1150.0, 1.0},
      {"basalt 1100 C 1 bar", kBasalt, 1100.0, 1.0},
      {"basalt 1050 C 1 bar", kBasalt, 1050.0, 1.0},
      {"basalt 1100 C 2 kbar", kBasalt, 1100.0, 2000.0},
      {"basalt 1150 C 2 kbar", kBasalt, 1150.0, 2000.0},
      {"basalt 1250 C 1 bar", kBasalt, 1250.0, 1.0},
      {"andesite 950 C 500 bar", kAndesite, 950.0, 500.0},
      {"andesite 950 C 3 kbar", kAndesite, 950.0, 3000.0},
      {"andesite 1050 C 1 kbar", kAndesite, 1050.0, 1000.0},
      {"andesite 1000 C 3 kbar", kAndesite, 1000.0, 3000.0},
      {"wet dacite 900 C 2 kbar", kWetDacite, 900.0, 2000.0},
      {"wet dacite 1000 C 5 kbar", kWetDacite, 1000.0, 5000.0},
      {"picrite 1300 C 1 bar", kPicrite, 1300.0, 1.0},
      {"picrite 1200 C 5 kbar", kPicrite, 1200.0, 5000.0},
  };
  for (const Case& c : cases) {
    MinimizerSetup s(c.ox, c.tempC + kC, c.pBar);
    const MinimizerResult r = s.solve();
    EXPECT_TRUE(r.converged) << c.name << ": " << r.message;
    EXPECT_TRUE(s.diag.reports.empty()) << c.name << ": " << s.diag.reports.front();
    EXPECT_EQ(r.counters.hsqpDependentRows, 0) << c.name;
    EXPECT_EQ(s.T, c.tempC + kC) << "fixed T moved";
    EXPECT_EQ(s.P, c.pBar);
    EXPECT_GT(s.st.PhaseCount, 0) << c.name;
    expectEquilibrium(s, c.name);
    // The progress went through the port, once per inner step and once at exit.
    EXPECT_EQ(static_cast<int>(s.port.progress.size()), r.counters.innerSteps + 1);
    // A call warm from this result, at the same T and P, returns it.
    const MinimizerState first = s.st;
    const MinimizerResult warm = s.solve();
    EXPECT_TRUE(warm.converged) << c.name << " warm: " << warm.message;
    expectSameState(first, s.st, std::string(c.name) + " warm");
  }
}

TEST(StableAssemblage, AboveTheLiquidusTheLiquidStandsAlone) {
  MinimizerSetup s(kBasalt, 1400.0 + kC, 1000.0, withoutSecondLiquid());
  const MinimizerResult r = s.solve();
  ASSERT_TRUE(r.converged) << r.message;
  EXPECT_EQ(s.st.PhaseCount, 0);
  for (int i = 1; i <= kLiquidComponents; ++i) {
    EXPECT_EQ(s.st.Xstable(i), s.st.BulkMoles(i));
    EXPECT_EQ(s.st.SolidMoles(i), 0.0);
  }
  EXPECT_EQ(s.st.CpSystem, s.st.CpLiquid);
  // The liquid's heat capacity of 100 g lies near the published 1.2-1.5 J/g/K of basalt melts.
  EXPECT_GT(s.st.CpLiquid, 110.0);
  EXPECT_LT(s.st.CpLiquid, 160.0);
  // dH/dT = Cp by a difference of two solves.
  const double h0 = s.st.Hsystem, s0 = s.st.Ssystem;
  MinimizerSetup hot(kBasalt, 1401.0 + kC, 1000.0, withoutSecondLiquid());
  hot.solve();
  EXPECT_NEAR(hot.st.Hsystem - h0, s.st.CpSystem, 0.01 * s.st.CpSystem);
  // dS/dT = Cp/T.
  EXPECT_NEAR(hot.st.Ssystem - s0, s.st.CpSystem / (s.T + 0.5), 0.01 * s.st.CpSystem / s.T);
}

TEST(StableAssemblage, WarmStartFromAnotherStateIsSolvedAgain) {
  // A state handed in is returned as it stands only when it is the equilibrium of the call: a
  // result of 1150 C taken to 1160 C and back, or to another bulk, must be solved again.
  MinimizerSetup s(kBasalt, 1150.0 + kC, 1000.0);
  ASSERT_TRUE(s.solve().converged);
  const MinimizerState at1150 = s.st;
  s.T = 1160.0 + kC;
  MinimizerResult r = s.solve();
  ASSERT_TRUE(r.converged) << r.message;
  EXPECT_GT(r.counters.innerSteps, 0);
  expectEquilibrium(s, "warm at 1160 C");
  // Less crystallized 10 K higher.
  double liquid1150 = 0.0;
  for (int i = 1; i <= kLiquidComponents; ++i) liquid1150 += at1150.Xstable(i) * s.ctx.liquidMW(i);
  EXPECT_GT(s.liquidMass(), liquid1150 + 1.0);
  s.T = 1150.0 + kC;
  r = s.solve();
  ASSERT_TRUE(r.converged) << r.message;
  EXPECT_GT(r.counters.innerSteps, 0);
  ASSERT_EQ(s.st.PhaseCount, at1150.PhaseCount);
  // Back at the same state, within the precision of the inner iteration.
  for (int i = 1; i <= kLiquidComponents; ++i)
    EXPECT_NEAR(s.st.Xstable(i), at1150.Xstable(i), 1e-3 * at1150.Xstable(i) + 1e-7) << i;
  // The vector, list and bulk alone, as a column keeps them (no record of the call that left
  // them): still an equilibrium, of the same assemblage.
  MinimizerState kept;
  kept.Xstable = at1150.Xstable;
  kept.Phaselist = at1150.Phaselist;
  kept.PhaseCount = at1150.PhaseCount;
  kept.BulkMoles = at1150.BulkMoles;
  s.st = kept;
  r = s.solve();
  ASSERT_TRUE(r.converged) << r.message;
  expectEquilibrium(s, "from the kept arrays");
  ASSERT_EQ(s.st.PhaseCount, at1150.PhaseCount);
  for (int i = 1; i <= kLiquidComponents; ++i)
    EXPECT_NEAR(s.st.Xstable(i), at1150.Xstable(i), 1e-3 * at1150.Xstable(i) + 1e-7) << i;
  // Another bulk: 1 % of the silica taken away; the old vector no longer balances.
  s.st.BulkMoles(1) *= 0.99;
  r = s.solve();
  ASSERT_TRUE(r.converged) << r.message;
  EXPECT_GT(r.counters.innerSteps, 0);
  expectEquilibrium(s, "new bulk");
}

TEST(StableAssemblage, FixedEntropyAndEnthalpyFindTheirTemperature) {
  // The state at 1150 C gives the targets; a search from elsewhere must meet them and move T the
  // right way.  At 1 bar the basalt holds a gas, whose share moves with the state's precision:
  // there the secant ran out of passes chasing that error.
  struct Search {
    bool entropy;
    double startC, pBar;
  };
  for (const Search& q : {Search{true, 1165.0, 1000.0}, Search{false, 1140.0, 1000.0},
                          Search{true, 1165.0, 1.0}, Search{false, 1135.0, 1.0}}) {
    const std::string label = std::string(q.entropy ? "fixed S" : "fixed H") + " from " +
                              std::to_string(q.startC) + " C at " + std::to_string(q.pBar) + " bar";
    SCOPED_TRACE(label);
    MinimizerSetup ref(kBasalt, 1150.0 + kC, q.pBar);
    ASSERT_TRUE(ref.solve().converged);
    MinimizerSetup s(kBasalt, q.startC + kC, q.pBar);
    s.st.ConstantT = false;
    s.st.ConstantS = q.entropy;
    s.st.ConstantH = !q.entropy;
    s.st.Ssystem = ref.st.Ssystem;
    s.st.Hsystem = ref.st.Hsystem;
    const MinimizerResult r = s.solve();
    EXPECT_TRUE(r.converged) << r.message;
    EXPECT_GT(r.counters.outerPasses, 0);
    if (q.entropy)
      EXPECT_NEAR(s.st.Ssystem, ref.st.Ssystem, 1e-4);
    else
      EXPECT_NEAR(s.st.Hsystem, ref.st.Hsystem, 1.0);
    // The temperature moved toward the reference, and near it.
    if (q.startC > 1150.0)
      EXPECT_LT(s.T, q.startC + kC);
    else
      EXPECT_GT(s.T, q.startC + kC);
    EXPECT_NEAR(s.T, 1150.0 + kC, 2.0);
    expectEquilibrium(s, label);
    // Warm from its own result, the search returns it.
    const MinimizerState first = s.st;
    const MinimizerResult warm = s.solve();
    EXPECT_TRUE(warm.converged) << warm.message;
    expectSameState(first, s.st, label + ", warm");
  }
}

TEST(StableAssemblage, HaltEndsTheCallAtTheTopOfAnInnerIteration) {
  MinimizerSetup s(kBasalt, 1150.0 + kC, 1.0, withoutSecondLiquid());
  s.port.onTurn = [&](int turn) {
    if (turn == 5) s.diag.HaltFlag = true;
  };
  const MinimizerResult r = s.solve();
  EXPECT_TRUE(r.halted);
  EXPECT_FALSE(r.converged);
  EXPECT_EQ(s.port.turns, 5);
  // No exit processing: the progress shows only the inner steps done.
  EXPECT_EQ(static_cast<int>(s.port.progress.size()), r.counters.innerSteps);
}

TEST(StableAssemblage, FailuresAreNeverSilent) {
  // Every outcome either holds the equilibrium conditions or says why not.  A listed second
  // liquid has no entries of its own in the vector (the walks over the assemblage disagree).
  const Case cases[] = {
      {"wet dacite 900 C 2 kbar, second liquid allowed", kWetDacite, 900.0, 2000.0},
      {"andesite 950 C 500 bar, second liquid allowed", kAndesite, 950.0, 500.0},
  };
  for (const Case& c : cases) {
    ModelOptions options;
    options.PhaseExcluded(38) = false;
    MinimizerSetup s(c.ox, c.tempC + kC, c.pBar, options);
    const MinimizerResult r = s.solve();
    bool negative = false;
    for (int i = 1; i <= kLiquidComponents; ++i) negative |= s.st.Xstable(i) < 0.0;
    if (r.converged) {
      expectEquilibrium(s, c.name);
      continue;
    }
    EXPECT_FALSE(r.message.empty()) << c.name;
    if (negative) {
      EXPECT_EQ(r.message,
                "Negative liquid component found in computation!\nAt exit of subroutine MimimizeG.")
          << c.name;
      EXPECT_TRUE(s.diag.ErrorFlag) << c.name;
    }
  }
}

TEST(StableAssemblage, CoolingBasaltCrystallizesInSequence) {
  // 1 bar, from above the liquidus down to 1000 C in steps of 10 K, each call warm from the last.
  MinimizerSetup s(kBasalt, 1300.0 + kC, 1.0);
  double lastLiquid = 100.0 + 1e-9;
  int firstSolidStep = -1, cpxStep = -1, step = 0;
  for (double tc = 1300.0; tc >= 1000.0; tc -= 10.0, ++step) {
    s.T = tc + kC;
    const MinimizerResult r = s.solve();
    ASSERT_TRUE(r.converged) << tc << " C: " << r.message << " inner " << r.counters.innerSteps
                             << " bounded " << r.counters.boundedSteps << " polish "
                             << r.counters.polishSteps << " reviews " << r.counters.reviews;
    expectEquilibrium(s, std::to_string(tc) + " C");
    // Liquid and gas together: at 1 bar the gas redissolves a little as the liquid cools.
    double liquid = s.liquidMass();
    std::string table;
    for (int k = 1; k <= s.st.PhaseCount; ++k) {
      const int id = s.st.Phaselist(k);
      const std::string ab = trimmedText(s.model.sat->abbrev(id));
      char buf[64];
      std::snprintf(buf, sizeof buf, "  %s %.3f", ab.c_str(), s.phaseMass(k));
      table += buf;
      if (id == kGasPhase) liquid += s.phaseMass(k);
      if (ab != "gas" && firstSolidStep < 0) firstSolidStep = step;
      if (ab == "cpx" && cpxStep < 0) cpxStep = step;
    }
    std::printf("%7.1f  %8.3f %s\n", tc, s.liquidMass(), table.c_str());
    EXPECT_LE(liquid, lastLiquid + 1e-6) << tc << " C";
    lastLiquid = liquid;
  }
  EXPECT_GT(firstSolidStep, 0) << "the first state is above the liquidus";
  EXPECT_GT(cpxStep, firstSolidStep) << "clinopyroxene after the first solid";
}

}  // namespace
}  // namespace cx::test
