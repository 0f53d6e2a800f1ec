#include "transport/compaction.h"

#include <gtest/gtest.h>

#include <cmath>

#include "support/transport_fixture.h"
#include "ui/recording_port.h"

namespace cx {
namespace {

// A pile of `nodes` nodes of uniform porosity filling the whole column, its top at the top face.
Column uniformPile(int nodes, double height, double porosity) {
  Column c = test::liquidColumn(nodes, height / nodes);
  for (int i = 1; i <= nodes; ++i) test::giveCrystals(c, i, 1.0 - porosity);
  c.TopNode = nodes;
  c.PileTop = height;
  return c;
}

Settings constantProperties() {
  Settings s;
  s.chkConstantRho = 1;
  s.chkConstantVis = 1;
  return s;
}

// The analytic matrix velocity of a uniform pile with W = 0 at the base and dW/dz = 0 at the
// top H: W(z) = W0 (1 - cosh((H - z)/delta) / cosh(H/delta)), with the compaction length
// delta^2 = eta k (1 - phi) / mu and the Darcy velocity W0 = -g drho k (1 - phi) / mu.
struct Analytic {
  double delta, w0, height;
  double operator()(double z) const {
    return w0 * (1.0 - std::cosh((height - z) / delta) / std::cosh(height / delta));
  }
};

Analytic analyticFor(const Settings& s, double porosity, double height) {
  const double a = s.compact(compact::kGrainRadiusMm) * 0.1;
  const double eta = s.compact(compact::kSolidViscosity) * 10.0;
  const double mu = s.compact(compact::kLiquidViscosity) * 10.0;
  const double sol = 1.0 - porosity;
  const double k = a * a * s.compact(compact::kPermeability) * porosity * porosity * porosity /
                   (sol * sol);
  return Analytic{std::sqrt(eta * k * sol / mu),
                  -980.0 * s.compact(compact::kDensityDifference) * k * sol / mu, height};
}

double maxError(int nodes, double height, double porosity) {
  const Settings s = constantProperties();
  const Column c = uniformPile(nodes, height, porosity);
  RecordingPort port;
  const CompactionVelocities v = CompactPile(c, s, port);
  const Analytic w = analyticFor(s, porosity, height);
  double err = 0.0;
  for (int i = 1; i <= nodes; ++i)
    err = std::max(err, std::abs(v.VSolid(i) - w(i * c.DeltaX)) / std::abs(w.w0));
  return err;
}

TEST(CompactPile, UniformPileFollowsTheCoshProfileAtSecondOrder) {
  const Settings s = constantProperties();
  const double porosity = 0.3;
  // Two compaction lengths high, so both the boundary layer and the far field are resolved.
  const double height = 2.0 * analyticFor(s, porosity, 1.0).delta;
  const double e10 = maxError(10, height, porosity);
  const double e20 = maxError(20, height, porosity);
  const double e40 = maxError(40, height, porosity);
  EXPECT_LT(e40, 2e-3);
  EXPECT_NEAR(std::log2(e10 / e20), 2.0, 0.2);
  EXPECT_NEAR(std::log2(e20 / e40), 2.0, 0.2);
}

TEST(CompactPile, LiquidFluxBalancesMatrixFluxAndTheBaseHolds) {
  // A pile of varied porosity under magma, node viscosities and densities.
  Column c = test::liquidColumn(12, 50.0);
  const double solid[] = {0.75, 0.7, 0.72, 0.6, 0.65, 0.5, 0.55, 0.45};
  for (int i = 1; i <= 8; ++i) {
    test::giveCrystals(c, i, solid[i - 1]);
    c.LiqVisc(i) = 100.0 + 20.0 * i;
  }
  c.PileTop = 8 * c.DeltaX;
  Settings s;
  RecordingPort port;
  const CompactionVelocities v = CompactPile(c, s, port);
  EXPECT_EQ(v.TopNode, 8);
  for (int i = 1; i <= 12; ++i) {
    const double phi = i <= 8 ? 1.0 - solid[i - 1] : 0.0;
    EXPECT_NEAR(phi * v.VLiq(i) + (1.0 - phi) * v.VSolid(i), 0.0, 1e-12 * std::abs(v.VSolid(8)))
        << "node " << i;
    if (i > 8) {
      EXPECT_EQ(v.VSolid(i), 0.0);
    }
  }
  EXPECT_LE(v.VSolid(1), 0.0);
  EXPECT_LT(v.VSolid(8), v.VSolid(2));  // the matrix sinks faster towards the top
  EXPECT_GT(v.VLiq(8), 0.0);            // and the liquid is expelled upward
  EXPECT_GT(v.VRatio(8), 0.0);
}

TEST(CompactPile, ShortPileAndClampedPorosity) {
  {
    Column c = uniformPile(3, 300.0, 0.3);
    RecordingPort port;
    const CompactionVelocities v = CompactPile(c, Settings{}, port);
    for (int i = 1; i <= 3; ++i) EXPECT_EQ(v.VSolid(i), 0.0);
  }
  {
    // A node with no liquid at all: its porosity is clamped, so the system stays finite.
    Column c = uniformPile(6, 600.0, 0.3);
    c.MassSolid(3) += c.MassLiq(3);
    c.MassLiq(3) = 0.0;
    RecordingPort port;
    const CompactionVelocities v = CompactPile(c, constantProperties(), port);
    for (int i = 1; i <= 6; ++i) EXPECT_TRUE(std::isfinite(v.VSolid(i))) << i;
    EXPECT_LT(v.VSolid(6), 0.0);
  }
}

TEST(CompactPile, HadleyValuesOnlyOnYes) {
  Settings s;
  s.setCompactText(compact::kMinLiquidFraction, "0.05");
  NullPort no(false);
  EXPECT_FALSE(UseHadleyValues(s, no));
  EXPECT_DOUBLE_EQ(s.compact(compact::kMinLiquidFraction), 0.05);
  NullPort yes(true);
  EXPECT_TRUE(UseHadleyValues(s, yes));
  EXPECT_DOUBLE_EQ(s.compact(compact::kMinLiquidFraction), 0.001);
  EXPECT_DOUBLE_EQ(s.compact(compact::kSolidViscosity), 5e14);
  // The compaction length follows: sqrt(5e15 * 0.0015 / 110) * 0.03 cm.
  EXPECT_NEAR(s.compactionLength(), std::sqrt(5e15 * 0.0015 / 110.0) * 0.03, 1e-9);
}

}  // namespace
}  // namespace cx
