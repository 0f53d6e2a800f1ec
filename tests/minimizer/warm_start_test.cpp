// A state handed in for a bulk it cannot be balanced with: the answer must be the one a start
// from the liquid alone finds (the same phases, the same free energy), and keep the new bulk.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <string>

#include "minimizer_fixture.h"

namespace cx::test {
namespace {

constexpr double kC = 273.15;

std::set<int> phasesOf(const MinimizerState& st) {
  std::set<int> ids;
  for (int k = 1; k <= st.PhaseCount; ++k) ids.insert(st.Phaselist(k));
  return ids;
}

TEST(WarmStart, StateTheNewBulkCannotHoldIsSolvedAsFromTheLiquid) {
  // At two pressures; the component cut among all (chromium, nearly all in spinel) and among
  // the major ones (more than 0.01 mol).
  for (const double pBar : {1000.0, 3000.0})
    for (const double least : {0.0, 0.01}) {
      SCOPED_TRACE("1150 C, " + std::to_string(pBar) + " bar, components above " +
                   std::to_string(least) + " mol");
      MinimizerSetup s(kBasalt, 1150.0 + kC, pBar);
      ASSERT_TRUE(s.solve().converged);
      ASSERT_GT(s.st.PhaseCount, 0);
      // The component the crystals hold the largest share of; the new bulk has half of what the
      // crystals alone hold of it, so the liquid cannot give the difference.
      int richest = 1;  // SiO2, above either bound
      for (int i = 1; i <= kLiquidComponents; ++i)
        if (s.st.BulkMoles(i) > least &&
            s.st.SolidMoles(i) / std::max(s.st.BulkMoles(i), 1e-30) >
                s.st.SolidMoles(richest) / std::max(s.st.BulkMoles(richest), 1e-30))
          richest = i;
      ASSERT_GT(s.st.SolidMoles(richest), 1e-5);
      Array1<double> bulk = s.st.BulkMoles;
      bulk(richest) = 0.5 * s.st.SolidMoles(richest);
      s.st.BulkMoles = bulk;
      const MinimizerResult warm = s.solve();
      ASSERT_TRUE(warm.converged) << warm.message;
      expectEquilibrium(s, "warm");

      MinimizerSetup cold(kBasalt, 1150.0 + kC, pBar);
      cold.st.BulkMoles = bulk;
      const MinimizerResult r = cold.solve();
      ASSERT_TRUE(r.converged) << r.message;
      EXPECT_EQ(phasesOf(s.st), phasesOf(cold.st));
      EXPECT_NEAR(s.st.Gsystem, cold.st.Gsystem, 1.0);
      EXPECT_NEAR(s.liquidMass(), cold.liquidMass(), 1e-3);
    }
}

}  // namespace
}  // namespace cx::test
