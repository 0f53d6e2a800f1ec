#include "transport/adjust_nodes.h"

#include <gtest/gtest.h>

#include <cmath>

#include "support/transport_fixture.h"
#include "ui/recording_port.h"

namespace cx {
namespace {

// Ten nodes of 50 cm: a pile of crystal-rich nodes below, magma with a few crystals above, gas
// in two nodes, temperatures, pressures and compositions varying from node to node.
Column mixedColumn() {
  Column c = test::liquidColumn(10, 50.0);
  for (int i = 1; i <= 10; ++i) {
    test::giveCrystals(c, i, i <= 3 ? 0.7 : 0.02 * (i % 3));
    c.Temp(i) = 1400.0 - 5.0 * i;
    c.Press(i) = 1010.0 - i;
    c.RhoLiq(i) = 26.0 + 0.1 * i;
    c.SLiq(i) = 3.0 + 0.01 * i;
    c.STotal(i) = 2.8 + 0.02 * i;
    c.LiqOx(i, 8) += 0.2 * i;
    c.LiqOx(i, 1) -= 0.2 * i;
    c.TraceLiq(i, 8) = 100.0 + 10 * i;
    // The masses and FLiq from the crystals' volume at this liquid density.
    test::giveCrystals(c, i, i <= 3 ? 0.7 : 0.02 * (i % 3));
  }
  test::giveGas(c, 6, 0.4);
  test::giveGas(c, 7, 0.2);
  test::composeBulk(c);
  c.TopNode = 3;
  c.PileTop = 2.6 * 50.0;
  return c;
}

struct Rig {
  Column column = mixedColumn();
  Settings settings;
  RecordingDiagnostics diag;
  RecordingPort port;
  Array1<double> stretch{1, 10, 1.0};
  void adjust() {
    int top = column.TopNode;
    AdjustNodes(column, settings, stretch, top, diag, port);
    column.TopNode = top;
    ASSERT_FALSE(diag.ErrorFlag) << (diag.reports.empty() ? "" : diag.reports.back());
  }
};

// No change of volume: the grid and every node's state stay as they were.  A uniform stretch s
// scales the column, the spacing and the pile top by s and keeps every intensive quantity.
TEST(AdjustNodes, NoStretchChangesNothingAndAUniformStretchOnlyScalesTheGrid) {
  for (double s : {1.0, 1.1, 0.95}) {
    Rig rig;
    rig.settings.optionCompact = true;
    rig.stretch.fill(s);
    const Column before = rig.column;
    rig.adjust();
    const Column& c = rig.column;
    EXPECT_NEAR(c.LengthR8, s * 500.0, 1e-12 * 500.0);
    EXPECT_NEAR(c.DeltaX, s * 50.0, 1e-12 * 50.0);
    EXPECT_NEAR(c.PileTop, s * 130.0, 1e-12 * 130.0);
    EXPECT_EQ(c.TopNode, 3);
    const auto [worst, field] = test::largestDifference(before, c);
    EXPECT_LT(worst, 1e-12) << "stretch " << s << ": " << field;
  }
}

// Nodes that stretch unequally: the new nodes take overlap shares of their old neighbours.  The
// column keeps its mass, every oxide and trace element and its entropy (each old node holding its
// material over d0 times its stretch), and a node between two stretched ones takes a share of
// each.
TEST(AdjustNodes, UnequalStretchesKeepTheColumnsContent) {
  Rig rig;
  for (int i = 1; i <= 10; ++i) rig.stretch(i) = 1.0 + 0.03 * std::sin(1.7 * i);
  const Column before = rig.column;
  auto stretched = [&](auto content) {  // the old content, each node over d0 * Stretch(i)
    double sum = 0.0;
    for (int i = 1; i <= 10; ++i) sum += rig.stretch(i) * content(before, i);
    return sum;
  };
  auto nodeMass = [](const Column& c, int i) {
    const test::Volumes v = test::volumesOf(c, i);
    return c.DeltaX * (v.solid * c.RhoSolid(i) + v.liquid * c.RhoLiq(i) + v.gas * c.RhoWater(i));
  };
  auto bulkMgO = [&](const Column& c, int i) { return nodeMass(c, i) * c.BulkOx(i, 8); };
  auto liquidNi = [](const Column& c, int i) {
    const test::Volumes v = test::volumesOf(c, i);
    return c.DeltaX * v.liquid * c.RhoLiq(i) * c.TraceLiq(i, 8);
  };
  auto entropy = [&](const Column& c, int i) { return nodeMass(c, i) * c.STotal(i); };
  const double mass0 = stretched(nodeMass), mgo0 = stretched(bulkMgO), ni0 = stretched(liquidNi),
               s0 = stretched(entropy);
  rig.adjust();
  const Column& c = rig.column;
  double mass = 0.0, mgo = 0.0, ni = 0.0, s = 0.0;
  for (int i = 1; i <= 10; ++i) {
    mass += nodeMass(c, i);
    mgo += bulkMgO(c, i);
    ni += liquidNi(c, i);
    s += entropy(c, i);
  }
  EXPECT_NEAR(mass, mass0, 1e-12 * mass0);
  EXPECT_NEAR(mgo, mgo0, 1e-12 * mgo0);
  EXPECT_NEAR(ni, ni0, 1e-12 * ni0);
  EXPECT_NEAR(s, s0, 1e-12 * s0);
  // Each node stays a whole node: its masses on 100 g, its oxides on 100 wt %.
  for (int i = 1; i <= 10; ++i) {
    EXPECT_NEAR(c.MassLiq(i) + c.MassSolid(i) + c.MassWater(i), 100.0, 1e-10);
    double sum = 0.0;
    for (int j = 1; j <= kOxides; ++j) sum += c.BulkOx(i, j);
    EXPECT_NEAR(sum, 100.0, 1e-10);
    EXPECT_NEAR(c.PhaseMass(i, kPhaseOrderSize), c.MassSolid(i), 1e-10);
  }
  // Node 4 lies between the pile and the magma: its temperature lies between theirs.
  EXPECT_GE(c.Temp(4), std::min({before.Temp(3), before.Temp(4), before.Temp(5)}));
  EXPECT_LE(c.Temp(4), std::max({before.Temp(3), before.Temp(4), before.Temp(5)}));
}

// The pile-top node left without solids passes the pile top to the node below; a node without
// solids stays without.
TEST(AdjustNodes, APileTopNodeWithoutSolidsDropsTheTopNode) {
  Rig rig;
  Column& c = rig.column;
  c.MassSolid(3) = 5e-5;
  for (int k = 1; k <= kPhaseOrderSize; ++k) c.PhaseMass(3, k) = 5e-5;
  c.MassLiq(3) = 100.0 - 5e-5;
  rig.adjust();
  EXPECT_EQ(c.TopNode, 2);
  EXPECT_EQ(c.MassSolid(3), 0.0);
  EXPECT_EQ(c.MassSolid(9), 0.0);
}

TEST(AdjustNodes, TheStretchOfANodeIsTheCubeRootOfItsLiquidDensityRatio) {
  EXPECT_NEAR(nodeStretch(27.0, 26.0), std::cbrt(27.0 / 26.0), 1e-7);
  EXPECT_EQ(nodeStretch(27.0, 27.0), 1.0);
  EXPECT_EQ(nodeStretch(0.0, 27.0), 1.0);  // a node without a density keeps its length
}

}  // namespace
}  // namespace cx
