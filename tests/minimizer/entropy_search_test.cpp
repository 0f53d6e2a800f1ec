// The search on temperature at a fixed entropy, judged by a round trip: the target is the
// entropy of the system equilibrated at a known temperature T1 (a fixed-T solve, which runs no
// search), so the search must return T1.  Entropy rises with temperature, about Cp/T = 0.09 J/K
// per K for 100 g of basalt liquid, so the search's tolerance of 1e-4 J/K is about 1e-3 K.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "minimizer_fixture.h"

namespace cx::test {
namespace {

constexpr double kT1 = 1650.0;  // K: above the basalt's liquidus at 1 kbar
constexpr double kP = 1000.0;   // bar: the water all dissolved

ModelOptions withoutSecondLiquid() {
  ModelOptions o;
  o.PhaseExcluded(38) = true;
  return o;
}

// The entropy (J/K per 100 g) of the basalt equilibrated at T1.
double entropyAtT1() {
  MinimizerSetup s(kBasalt, kT1, kP, withoutSecondLiquid());
  const MinimizerResult r = s.solve();
  EXPECT_TRUE(r.converged) << r.message;
  EXPECT_EQ(s.st.PhaseCount, 0) << "the reference temperature is meant to be above the liquidus";
  return s.st.Ssystem;
}

void startSearch(MinimizerSetup& s, double target) {
  s.st = MinimizerState{};
  for (int i = 1; i <= kLiquidComponents; ++i) s.st.BulkMoles(i) = s.model.BulkMoles(i);
  s.st.ConstantT = false;
  s.st.ConstantS = true;
  s.st.Ssystem = target;
}

TEST(EntropySearch, FindsTheTemperatureOfItsEntropyFromNearAndFar) {
  const double S1 = entropyAtT1();
  // Starts: just off (within the band where a state is polished before the next secant pass:
  // a liquid alone has nothing to polish, and the search once stopped there 0.004 J/K short),
  // 25 K either side, and 120 K below, through the crystallization interval (beyond what
  // passes of at most 10 K could walk).
  for (const double offset : {0.03, -0.03, 25.0, -25.0, -120.0}) {
    SCOPED_TRACE("start T1 + " + std::to_string(offset) + " K");
    MinimizerSetup s(kBasalt, kT1 + offset, kP, withoutSecondLiquid());
    startSearch(s, S1);
    const MinimizerResult r = s.solve();
    EXPECT_TRUE(r.converged) << r.message;
    EXPECT_NEAR(s.T, kT1, 5e-3);
    EXPECT_EQ(s.st.PhaseCount, 0);
  }
}

TEST(EntropySearch, OneContextAnswersAsAFreshOne) {
  // The column hands one context node after node.  A call that met its entropy target left the
  // system's sums in the context; a liquid-only call after it, with the same target but from
  // another temperature, read them as its own and stopped at once, off its target.
  const double S1 = entropyAtT1();
  MinimizerSetup s(kBasalt, kT1, kP, withoutSecondLiquid());
  startSearch(s, S1);
  ASSERT_TRUE(s.solve().converged);
  const double first = s.T;
  for (const double offset : {-20.0, 15.0}) {
    SCOPED_TRACE("again from T1 + " + std::to_string(offset) + " K");
    startSearch(s, S1);
    s.T = kT1 + offset;
    const MinimizerResult r = s.solve();
    EXPECT_TRUE(r.converged) << r.message;
    EXPECT_NEAR(s.T, kT1, 5e-3);
    MinimizerSetup fresh(kBasalt, kT1 + offset, kP, withoutSecondLiquid());
    startSearch(fresh, S1);
    ASSERT_TRUE(fresh.solve().converged);
    EXPECT_NEAR(s.T, fresh.T, 1e-3);
  }
  EXPECT_NEAR(first, kT1, 5e-3);
}

}  // namespace
}  // namespace cx::test
