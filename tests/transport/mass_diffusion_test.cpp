#include "transport/mass_diffusion.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "support/transport_fixture.h"
#include "ui/recording_port.h"

#ifdef CUMULEX_HAVE_EIGEN
#include <Eigen/Dense>
#endif

namespace cx {
namespace {

using test::liquidColumn;

constexpr int kMgO = 8, kTiO2 = 2, kCaO = 9, kSiO2 = 1;

struct Rig {
  Column column;
  Settings settings;
  RecordingDiagnostics diag;
  RecordingPort port;
  explicit Rig(Column c) : column(std::move(c)) {
    settings.traceDiffusionText = "0";
    settings.gasDiffusionText = "0";
  }
  void step(int firstNode = 1) {
    MassDiffusion(column, settings, firstNode, test::thermoTables(), diag, port);
    ASSERT_FALSE(diag.ErrorFlag) << (diag.reports.empty() ? "" : diag.reports.back());
  }
};

// A step of `low` below the middle and `high` above it in oxide j; SiO2 takes up the difference.
void stepProfile(Column& c, int j, double low, double high) {
  for (int i = 1; i <= c.NumNodes; ++i) {
    const double v = i <= c.NumNodes / 2 ? low : high;
    c.LiqOx(i, kSiO2) += c.LiqOx(i, j) - v;
    c.LiqOx(i, j) = v;
  }
}

std::vector<double> profile(const Column& c, int j) {
  std::vector<double> x;
  for (int i = 1; i <= c.NumNodes; ++i) x.push_back(c.LiqOx(i, j));
  return x;
}

#ifdef CUMULEX_HAVE_EIGEN
// One backward-Euler step of dx/dt = D d2x/dz2 on n nodes whose ends reflect (the ghost node
// beyond an end mirrors its inner neighbour), solved densely.
std::vector<double> implicitStep(const std::vector<double>& old, double dz, double dt, double D) {
  const int n = static_cast<int>(old.size());
  const double r = D * dt / (dz * dz);
  Eigen::MatrixXd A = Eigen::MatrixXd::Zero(n, n);
  Eigen::VectorXd b(n);
  for (int k = 0; k < n; ++k) {
    A(k, k) = 1.0 + 2.0 * r;
    const int lo = k == 0 ? 1 : k - 1, hi = k == n - 1 ? n - 2 : k + 1;
    A(k, lo) -= r;
    A(k, hi) -= r;
    b(k) = old[static_cast<std::size_t>(k)];
  }
  const Eigen::VectorXd x = A.partialPivLu().solve(b);
  return {x.data(), x.data() + n};
}
#endif

// A step in MgO between two halves of a liquid column spreads exactly as the implicit scheme
// with reflecting ends says, step after step, whatever the ratio D dt / dz^2; the trace elements,
// which share one coefficient, likewise.  (The inventory rescaling is then the identity: the
// scheme keeps the end-weighted sum, and the plain sum moves only where the ends move.)
TEST(MassDiffusion, AStepSpreadsAsTheImplicitSchemeWithReflectingEndsSays) {
#ifndef CUMULEX_HAVE_EIGEN
  GTEST_SKIP() << "Eigen is not available";
#else
  for (double r : {0.3, 4.0, 40.0}) {
    Rig rig(liquidColumn(40, 2.0));
    Column& c = rig.column;
    c.MassDiffCoef(kMgO, kMgO) = 1e-6;
    c.DeltaT = r * 4.0 / 1e-6;
    rig.settings.traceDiffusionText = "2.00E-07";
    stepProfile(c, kMgO, 9.0, 3.0);
    for (int i = 1; i <= c.NumNodes; ++i) c.TraceLiq(i, 17) = i <= 20 ? 2.0 : 30.0;
    std::vector<double> mgo = profile(c, kMgO), la;
    for (int i = 1; i <= c.NumNodes; ++i) la.push_back(c.TraceLiq(i, 17));
    for (int s = 0; s < 5; ++s) {
      rig.step();
      mgo = implicitStep(mgo, 2.0, c.DeltaT, 1e-6);
      la = implicitStep(la, 2.0, c.DeltaT, 2e-7);
      double shift = 0.0;
      for (int i = 1; i <= c.NumNodes; ++i) shift += mgo[static_cast<std::size_t>(i - 1)] - 6.0;
      // The plain inventory is kept: rescale the reference the same way.
      const double keep = 6.0 * c.NumNodes / (6.0 * c.NumNodes + shift);
      for (double& x : mgo) x *= keep;
      for (int i = 1; i <= c.NumNodes; ++i) {
        ASSERT_NEAR(c.LiqOx(i, kMgO), mgo[static_cast<std::size_t>(i - 1)], 1e-12)
            << "r " << r << " step " << s << " node " << i;
        ASSERT_NEAR(c.TraceLiq(i, 17), la[static_cast<std::size_t>(i - 1)], 1e-11);
      }
    }
  }
#endif
}

// Far from the ends, the step follows the error function of the diffusion equation,
// c = (c1 + c2) / 2 + (c2 - c1) / 2 erf(z / (2 sqrt(D t))), to the scheme's accuracy (first
// order in time, second in space).
TEST(MassDiffusion, AStepFollowsTheErrorFunction) {
  const double D = 1e-6, dz = 0.05;
  Rig rig(liquidColumn(200, dz));
  Column& c = rig.column;
  c.MassDiffCoef(kMgO, kMgO) = D;
  c.DeltaT = 0.25 * dz * dz / D;
  stepProfile(c, kMgO, 9.0, 3.0);
  const int steps = 400;
  for (int s = 0; s < steps; ++s) rig.step();
  const double t = steps * c.DeltaT;
  double worst = 0.0;
  for (int i = 1; i <= c.NumNodes; ++i) {
    const double z = (i - 100.5) * dz;  // the contact lies between nodes 100 and 101
    const double exact = 6.0 - 3.0 * std::erf(z / (2.0 * std::sqrt(D * t)));
    worst = std::max(worst, std::fabs(c.LiqOx(i, kMgO) - exact));
  }
  EXPECT_LT(worst, 0.005) << "largest departure from the error function";
  EXPECT_GT(worst, 0.0);
}

// Each diffusing oxide keeps its inventory (each node's liquid weighted by its mass and
// density) whatever the gradients of liquid fraction and density do; the mass-balance oxide
// closes every node to 100; an oxide with D = 0 other than the mass-balance one stays as it is;
// nodes below the first node do not diffuse.
TEST(MassDiffusion, InventoriesAreKeptTheBalanceOxideClosesEachNodeAndAZeroCoefficientHolds) {
  Rig rig(liquidColumn(12, 10.0));
  Column& c = rig.column;
  for (int i = 1; i <= c.NumNodes; ++i) {
    // Partly crystallized nodes of varying liquid share and liquid density.
    test::giveCrystals(c, i, 0.05 + 0.03 * (i % 4));
    c.RhoLiq(i) = 26.0 + 0.2 * i;
    c.LiqOx(i, kMgO) = 5.0 + 0.4 * i + (i > 6 ? 2.0 : 0.0);
    c.LiqOx(i, kCaO) = 12.0 - 0.3 * i;
    c.LiqOx(i, kTiO2) = i > 6 ? 2.5 : 0.5;
  }
  for (int i = 1; i <= c.NumNodes; ++i) {
    double others = 0.0;
    for (int j = 2; j <= kOxides; ++j) others += c.LiqOx(i, j);
    c.LiqOx(i, kSiO2) = 100.0 - others;
  }
  test::composeBulk(c);
  for (int j : {kMgO, kCaO, 3, 6, 10}) c.MassDiffCoef(j, j) = 1e-6;
  c.DeltaT = 1e8;
  const int first = 3;
  auto weighted = [&](int j) {
    double q = 0.0, sum = 0.0;
    for (int i = 1; i <= c.NumNodes; ++i) q += c.RhoLiq(i);
    for (int i = 1; i <= c.NumNodes; ++i)
      sum += c.MassLiq(i) / 100.0 * c.RhoLiq(i) / q * c.LiqOx(i, j);
    return sum;
  };
  const double mgo = weighted(kMgO), cao = weighted(kCaO);
  const std::vector<double> tio2 = profile(c, kTiO2);
  const double belowFirst = c.LiqOx(1, kMgO) / c.LiqOx(2, kMgO);
  // The weights are taken before the step: the step rebuilds the masses afterwards.
  std::vector<double> w;
  {
    double q = 0.0;
    for (int i = 1; i <= c.NumNodes; ++i) q += c.RhoLiq(i);
    for (int i = 1; i <= c.NumNodes; ++i) w.push_back(c.MassLiq(i) / 100.0 * c.RhoLiq(i) / q);
  }
  rig.step(first);
  auto after = [&](int j) {
    double sum = 0.0;
    for (int i = 1; i <= c.NumNodes; ++i) sum += w[static_cast<std::size_t>(i - 1)] * c.LiqOx(i, j);
    return sum;
  };
  EXPECT_NEAR(after(kMgO), mgo, 1e-12 * mgo);
  EXPECT_NEAR(after(kCaO), cao, 1e-12 * cao);
  EXPECT_NE(c.LiqOx(6, kMgO), 5.0 + 2.4);  // it did diffuse
  for (int i = 1; i <= c.NumNodes; ++i) {
    double sum = 0.0;
    for (int j = 1; j <= kOxides; ++j) sum += c.LiqOx(i, j);
    EXPECT_NEAR(sum, 100.0, 1e-12) << "node " << i;
    EXPECT_EQ(c.LiqOx(i, kTiO2), tio2[static_cast<std::size_t>(i - 1)]);
  }
  // Below the first node only the inventory rescaling acts: one factor for both nodes.
  EXPECT_NEAR(c.LiqOx(1, kMgO) / c.LiqOx(2, kMgO), belowFirst, 1e-14);
  // The bulk follows the liquid.
  for (int i = 1; i <= c.NumNodes; ++i)
    for (int j = 1; j <= kOxides; ++j) EXPECT_NEAR(c.BulkOx(i, j), test::bulkOf(c, i, j), 1e-12);
}

TEST(MassDiffusion, TheMassBalanceOxideIsTheFirstWithAZeroCoefficientElseSiO2) {
  const struct {
    std::vector<int> zero;  // oxides whose coefficient is 0
    int expected;
  } cases[] = {{{3, 7}, 3}, {{14}, 14}, {{}, 1}, {{1, 2}, 1}};
  for (const auto& cs : cases) {
    Array2<double> d(1, kOxides, 1, kOxides);
    for (int j = 1; j <= kOxides; ++j) d(j, j) = 1e-6;
    for (int j : cs.zero) d(j, j) = 0.0;
    EXPECT_EQ(diffusion::MassBalanceOx(d), cs.expected);
    EXPECT_EQ(diffusion::UpdateDiffusion(d), cs.expected);
    EXPECT_EQ(d(cs.expected, cs.expected), 0.0);  // with none at zero SiO2's is cleared
  }
  // A balance oxide other than SiO2: SiO2 then diffuses, and CaO closes the nodes.
  Rig rig(liquidColumn(10, 1.0));
  Column& c = rig.column;
  for (int j = 1; j <= kOxides; ++j) c.MassDiffCoef(j, j) = 1e-6;
  c.MassDiffCoef(kCaO, kCaO) = 0.0;
  c.DeltaT = 1e6;
  for (int i = 1; i <= 10; ++i) {
    c.LiqOx(i, kSiO2) = i <= 5 ? 47.0 : 52.6;
    double others = 0.0;
    for (int j = 1; j <= kOxides; ++j)
      if (j != kCaO) others += c.LiqOx(i, j);
    c.LiqOx(i, kCaO) = 100.0 - others;
  }
  rig.step();
  EXPECT_GT(c.LiqOx(5, kSiO2), 47.0);
  EXPECT_LT(c.LiqOx(6, kSiO2), 52.6);
  for (int i = 1; i <= 10; ++i) {
    double sum = 0.0;
    for (int j = 1; j <= kOxides; ++j) sum += c.LiqOx(i, j);
    EXPECT_NEAR(sum, 100.0, 1e-12);
  }
}

// With Soret diffusion in a fixed temperature gradient the zero-flux state is the Soret
// equilibrium c ~ exp(-S T): an oxide with S > 0 gathers at the cold end.  The steady profile
// of the scheme (run to convergence) follows it to its accuracy (first order, set by the
// reflecting ends), and more closely on a finer grid.
TEST(MassDiffusion, WithSoretTheSteadyProfileIsTheSoretEquilibrium) {
  auto steadyError = [](int nodes) {
    const double S = 0.005, D = 1e-6, length = 10.0;
    Rig rig(liquidColumn(nodes, length / nodes));
    Column& c = rig.column;
    rig.settings.chkUseSoret = 1;
    c.MassDiffCoef(kMgO, kMgO) = D;
    c.SoretCoef(kMgO) = S;
    c.SoretCoef(kCaO) = -0.004;  // not diffusing: Soret does not move it
    c.DeltaT = 2.0 * c.DeltaX * c.DeltaX / D;
    for (int i = 1; i <= nodes; ++i) c.Temp(i) = 1373.15 + 100.0 * (i - 0.5) / nodes;  // 100 K
    for (int s = 0; s < 4 * nodes * nodes; ++s) rig.step();
    double worst = 0.0;
    for (int i = 1; i <= nodes; ++i) {
      const double predicted = std::exp(-S * (c.Temp(i) - c.Temp(1)));
      worst = std::max(worst, std::fabs(c.LiqOx(i, kMgO) / c.LiqOx(1, kMgO) - predicted));
    }
    EXPECT_EQ(c.LiqOx(5, kCaO), test::kMelt[kCaO]);
    // Colder end richer: exp(-0.5) = 0.61 of the cold end's content at the hot end.
    EXPECT_LT(c.LiqOx(nodes, kMgO), 0.65 * c.LiqOx(1, kMgO));
    return worst;
  };
  const double coarse = steadyError(20), fine = steadyError(40);
  EXPECT_LT(coarse, 0.003);
  EXPECT_LT(fine, 0.6 * coarse);
}

// Nothing moves with the first node at NumNodes - 1 or above; the gas diffuses only in runs of
// more than three gas-bearing nodes, and its species stay at 100 wt %.
TEST(MassDiffusion, ShortColumnsAndShortGasRunsAreLeftAlone) {
  for (int first : {9, 10}) {
    Rig rig(liquidColumn(10, 1.0));
    Column& c = rig.column;
    c.MassDiffCoef(kMgO, kMgO) = 1e-6;
    c.DeltaT = 1e6;
    stepProfile(c, kMgO, 9.0, 3.0);
    const Column before = c;
    rig.step(first);
    EXPECT_TRUE(c == before) << "first node " << first;
  }
  Rig rig(liquidColumn(12, 1.0));
  Column& c = rig.column;
  rig.settings.gasDiffusionText = "1.00E-04";
  c.DeltaT = 1e4;
  c.MassDiffCoef(kMgO, kMgO) = 1e-6;
  // A run of three gas nodes (2..4) and one of five (7..11).
  for (int i : {2, 3, 4, 7, 8, 9, 10, 11}) {
    c.MassWater(i) = 0.5;
    c.RhoWater(i) = 3.0;
    c.GasComp(i, 1) = i % 2 == 0 ? 90.0 : 60.0;
    c.GasComp(i, 2) = 100.0 - c.GasComp(i, 1);
  }
  rig.step();
  EXPECT_EQ(c.GasComp(2, 1), 90.0);
  EXPECT_EQ(c.GasComp(3, 1), 60.0);
  EXPECT_GT(c.GasComp(7, 1), 60.0);
  EXPECT_LT(c.GasComp(8, 1), 90.0);
  for (int i = 7; i <= 11; ++i) EXPECT_NEAR(c.GasComp(i, 1) + c.GasComp(i, 2), 100.0, 1e-12);
}

}  // namespace
}  // namespace cx
