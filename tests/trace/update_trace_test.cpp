#include "trace/update_trace.h"

#include <gtest/gtest.h>

#include <cmath>

#include "base/port.h"

namespace cx {
namespace {

// One node: liquid, two crystal phases in PhaseOrder slots 1 and 2, and a gas, on 100 g.
Column crystallizingNode(double liq, double ol, double pl, double gas) {
  Column c;
  c.NumNodes = 1;
  c.DimensionArrays(Settings{});
  c.BigDFlags(0) = true;  // constant coefficients
  c.PhaseOrder(1) = 1;    // olivine
  c.PhaseOrder(2) = 2;    // plagioclase
  c.MassLiq(1) = liq;
  c.MassSolid(1) = ol + pl;
  c.MassWater(1) = gas;
  c.PhaseMass(1, 1) = ol;
  for (int j = 2; j <= kPhaseOrderSize; ++j) c.PhaseMass(1, j) = ol + pl;
  c.RhoLiq(1) = 27.0;
  c.RhoSolid(1) = 31.0;
  c.RhoWater(1) = 5.0;
  c.Press(1) = 1000.0;
  c.FLiq(1) = liq / (liq + ol + pl + gas);  // a mass fraction, as a solve leaves it
  for (int k = 1; k <= kTraces; ++k) {
    c.TraceBulk(1, k) = 10.0 * k;
    c.DCoef(1, k) = 0.01 * k;     // olivine
    c.DCoef(2, k) = 2.0 / k;      // plagioclase
    c.DCoef(kGasPhase, k) = 0.5;  // gas
  }
  return c;
}

// The batch closed form against the node's masses, and the mass balance of the three parts.
TEST(UpdateTrace, BatchClosedFormAndMassBalanceHoldForEveryElement) {
  struct Case {
    double liq, ol, pl, gas;
  };
  for (const Case& k :
       {Case{70, 10, 20, 0}, Case{40, 25, 30, 5}, Case{95, 4.9, 0, 0.1}, Case{5, 60, 35, 0}}) {
    Column c = crystallizingNode(k.liq, k.ol, k.pl, k.gas);
    RecordingDiagnostics diag;
    NullPort port;
    Array1<double> liqOx(1, kOxides);
    ASSERT_TRUE(UpdateTrace(c, 1, liqOx, diag, port));
    EXPECT_FALSE(diag.ErrorFlag);
    const double total = k.liq + k.ol + k.pl + k.gas;
    const double F = k.liq / total, nonLiquid = total - k.liq;
    for (int e = 1; e <= kTraces; ++e) {
      const double D = (c.DCoef(1, e) * k.ol + c.DCoef(2, e) * k.pl + 0.5 * k.gas) / nonLiquid;
      const double liquid = c.TraceBulk(1, e) / ((1.0 - F) * D + F);
      EXPECT_NEAR(c.TraceLiq(1, e), liquid, 1e-12 * liquid) << "element " << e;
      EXPECT_NEAR(c.TraceGasPpm(1, e), k.gas > 0 ? 0.5 * liquid : 0.0, 1e-12 * liquid);
      // Mass balance: what the three parts hold is the bulk.
      const double held = (c.TraceLiq(1, e) * k.liq + c.TraceSolid(1, e) * (k.ol + k.pl) +
                           c.TraceGasPpm(1, e) * k.gas) /
                          total;
      EXPECT_NEAR(held, c.TraceBulk(1, e), 1e-9 * c.TraceBulk(1, e)) << "element " << e;
    }
  }
}

TEST(UpdateTrace, PureLiquidHoldsEverythingAndAnEmptyNodeFails) {
  Column c = crystallizingNode(100, 0, 0, 0);
  for (int k = 1; k <= kTraces; ++k) c.TraceSolid(1, k) = c.TraceGasPpm(1, k) = 3.0;
  RecordingDiagnostics diag;
  NullPort port;
  Array1<double> liqOx(1, kOxides);
  ASSERT_TRUE(UpdateTrace(c, 1, liqOx, diag, port));
  for (int k = 1; k <= kTraces; ++k) {
    EXPECT_EQ(c.TraceLiq(1, k), c.TraceBulk(1, k));
    EXPECT_EQ(c.TraceSolid(1, k), 0.0);
    EXPECT_EQ(c.TraceGasPpm(1, k), 0.0);
  }
  // All densities at their floor: nothing to share out.
  Column empty = crystallizingNode(50, 25, 25, 0);
  empty.RhoLiq(1) = empty.RhoSolid(1) = empty.RhoWater(1) = 0.0;
  EXPECT_FALSE(UpdateTrace(empty, 1, liqOx, diag, port));
  EXPECT_TRUE(diag.ErrorFlag);
  ASSERT_FALSE(diag.reports.empty());
  EXPECT_EQ(diag.reports.back(), "0 error in subroutine UpdateTrace.");
}

}  // namespace
}  // namespace cx
