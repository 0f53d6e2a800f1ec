#include "transport/drip.h"

#include <gtest/gtest.h>

#include "support/transport_fixture.h"
#include "ui/recording_port.h"

namespace cx {
namespace {

using test::thermoTables;

constexpr double kDx = 100.0;

// Ten nodes: a pile of three (node 3 partly filled), magma above whose top node has grown
// crystal-rich and dense, every node distinct.
Column column() {
  Column c = test::liquidColumn(10, kDx);
  test::giveCrystals(c, 1, 0.7);
  test::giveCrystals(c, 2, 0.7);
  test::giveCrystals(c, 3, 0.3);
  for (int i = 4; i <= 9; ++i) {
    test::giveCrystals(c, i, 0.02 * (i - 3));
    c.Temp(i) = 1450.0 - i;
    c.LiqOx(i, 8) = 6.0 + 0.1 * i;
    c.LiqOx(i, 1) = 51.8 - 0.1 * i;
    c.TraceLiq(i, 8) = 90.0 + i;
  }
  test::giveCrystals(c, 10, 0.45, 33.0);
  c.Temp(10) = 1380.0;
  test::giveGas(c, 10, 0.2);
  for (int i = 1; i <= 10; ++i) {
    c.PhaseCount(i) = i;
    c.Xstable(i, 1) = 1000.0 + i;
  }
  test::composeBulk(c);
  c.TopNode = 3;
  c.PileTop = 2.5 * kDx;
  return c;
}

void drip(Column& c, RecordingDiagnostics& diag) {
  RecordingPort port;
  int top = c.TopNode;
  Drip(c, top, thermoTables(), diag, port);
  c.TopNode = top;
  EXPECT_FALSE(diag.ErrorFlag);
}

TEST(Drip, NothingFallsWithThePileTopAtTheTopNodeOrTheOneBelow) {
  for (int top : {9, 10}) {
    Column c = column();
    c.TopNode = top;
    const Column before = c;
    RecordingDiagnostics diag;
    drip(c, diag);
    EXPECT_TRUE(c == before) << "TopNode " << top;
  }
}

// The top node falls onto the pile: the magma between moves up one node (node NumNodes then
// holds what node NumNodes - 1 held, assemblage and all), the fallen node is shared between the
// pile-top node and the node above it, and the column keeps its mass, its oxides, trace
// elements and entropy.  The pile top rises by one node, the pile-top node holding at least its
// own crystals.
TEST(Drip, TheTopNodeFallsOntoThePileAndTheColumnKeepsItsMass) {
  for (double pileShare : {0.5, 0.2}) {  // 0.2 holds less than node 3's own crystals
    Column c = column();
    c.PileTop = (2.0 + pileShare) * kDx;
    const Column before = c;
    const double mass = test::columnMass(c);
    const double mgo = test::oxideInventory(c, 8), sio2 = test::oxideInventory(c, 1);
    const double ni = test::traceInventory(c, 8), s = test::entropyInventory(c);
    RecordingDiagnostics diag;
    drip(c, diag);
    EXPECT_EQ(c.TopNode, 4);
    const double share = std::max(pileShare, 0.3 * 1.01);
    EXPECT_NEAR(c.PileTop, (3.0 + share) * kDx, 1e-9);
    for (int i = 5; i <= 10; ++i) {
      for (int j = 1; j <= kOxides; ++j) EXPECT_EQ(c.LiqOx(i, j), before.LiqOx(i - 1, j));
      EXPECT_EQ(c.Temp(i), before.Temp(i - 1));
      EXPECT_EQ(c.MassSolid(i), before.MassSolid(i - 1));
      EXPECT_EQ(c.Xstable(i, 1), before.Xstable(i - 1, 1));
    }
    // The gas has no part in the comparison of masses of liquid and crystals, but is kept too.
    double gas = 0.0, gas0 = 0.0;
    for (int i = 1; i <= 10; ++i) {
      gas += kDx * test::volumesOf(c, i).gas * c.RhoWater(i);
      gas0 += kDx * test::volumesOf(before, i).gas * before.RhoWater(i);
    }
    EXPECT_NEAR(test::columnMass(c), mass, 1e-12 * mass);
    EXPECT_NEAR(gas, gas0, 1e-12 * gas0);
    EXPECT_NEAR(test::oxideInventory(c, 8), mgo, 1e-12 * mgo);
    EXPECT_NEAR(test::oxideInventory(c, 1), sio2, 1e-12 * sio2);
    EXPECT_NEAR(test::traceInventory(c, 8), ni, 1e-12 * ni);
    EXPECT_NEAR(test::entropyInventory(c), s, 1e-12 * s);
    // The new pile-top node starts its next solve from the pile below it.
    EXPECT_EQ(c.Xstable(4, 1), c.Xstable(3, 1));
    // Temperatures mix by volume: both blended nodes between the old ones.
    EXPECT_LT(c.Temp(3), before.Temp(3));
    EXPECT_GT(c.Temp(3), before.Temp(10));
  }
}

// A column without a pile receives the fallen node at its bottom, whole, with its assemblage.
TEST(Drip, WithoutAPileTheNodeFallsToTheBottom) {
  Column c = column();
  c.TopNode = 0;
  c.PileTop = 0.0;
  const Column before = c;
  const double mass = test::columnMass(c);
  RecordingDiagnostics diag;
  drip(c, diag);
  EXPECT_EQ(c.TopNode, 1);
  EXPECT_NEAR(c.PileTop, kDx, 1e-12);
  EXPECT_EQ(c.Temp(1), before.Temp(10));
  EXPECT_NEAR(c.LiqOx(1, 8), before.LiqOx(10, 8), 1e-12);
  EXPECT_NEAR(c.MassSolid(1), before.MassSolid(10), 1e-12);
  EXPECT_EQ(c.Xstable(1, 1), before.Xstable(10, 1));
  EXPECT_EQ(c.LiqOx(10, 8), before.LiqOx(9, 8));
  EXPECT_EQ(c.LiqOx(2, 8), before.LiqOx(1, 8));
  EXPECT_NEAR(test::columnMass(c), mass, 1e-12 * mass);
}

}  // namespace
}  // namespace cx
