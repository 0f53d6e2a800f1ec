#include "transport/mix_magma.h"

#include <gtest/gtest.h>

#include "support/run_rig.h"
#include "support/transport_fixture.h"

namespace cx {
namespace {

using test::thermoTables;

constexpr double kDx = 100.0;

// Eight nodes: a pile of three, its top in node 3 at `pileTop` node heights, and a magma above
// with crystals, gas, temperatures, entropies and compositions that differ from node to node.
Column chamber(double pileTop) {
  Column c = test::liquidColumn(8, kDx);
  test::giveCrystals(c, 1, 0.7);
  test::giveCrystals(c, 2, 0.7);
  test::giveCrystals(c, 3, 0.4);
  for (int i = 3; i <= 8; ++i) {
    c.RhoLiq(i) = 26.0 + 0.15 * i;
    c.LiqOx(i, 8) = 5.0 + 0.3 * i;
    c.LiqOx(i, 1) = 52.8 - 0.3 * i;
    c.TraceLiq(i, 8) = 80.0 + 2 * i;
    c.SLiq(i) = 3.0 + 0.02 * i;
    c.Temp(i) = 1460.0 - 3 * i;
    test::giveCrystals(c, i, i == 3 ? 0.4 : 0.01 * (i % 3), 30.0 + 0.2 * i);
  }
  test::giveGas(c, 7, 0.3);
  test::composeBulk(c);
  for (int i = 1; i <= 8; ++i) {
    for (int k = 1; k <= kTraces; ++k) {
      const test::Volumes v = test::volumesOf(c, i);
      const double ml = v.liquid * c.RhoLiq(i), ms = v.solid * c.RhoSolid(i);
      c.TraceBulk(i, k) = (ml * c.TraceLiq(i, k) + ms * c.TraceSolid(i, k)) / (ml + ms);
    }
    const test::Volumes v = test::volumesOf(c, i);
    const double ml = v.liquid * c.RhoLiq(i), ms = v.solid * c.RhoSolid(i);
    c.STotal(i) = (ml * c.SLiq(i) + ms * c.SSolid(i)) / (ml + ms);
  }
  c.TopNode = 3;
  c.PileTop = pileTop * kDx;
  return c;
}

void mix(Column& c) {
  RecordingDiagnostics diag;
  NullPort port;
  MixMagma(c, thermoTables(), diag, port);
  ASSERT_FALSE(diag.ErrorFlag) << (diag.reports.empty() ? "" : diag.reports.back());
}

// The column's content of oxide j (or of the entropy) carried by the nodes' bulk.
double bulkContent(const Column& c, int j) {
  double m = 0.0;
  for (int i = 1; i <= c.NumNodes; ++i) {
    const test::Volumes v = test::volumesOf(c, i);
    const double rho = v.solid * c.RhoSolid(i) + v.liquid * c.RhoLiq(i) + v.gas * c.RhoWater(i);
    m += c.DeltaX * rho * (j == 0 ? c.STotal(i) : c.BulkOx(i, j));
  }
  return m;
}

// One call leaves the magma uniform: every node above the pile the same magma, the free
// liquid of the pile-top node the same liquid.  A second call changes nothing.  The column keeps
// its mass, its oxides and its entropy.
TEST(MixMagma, OneCallMakesTheMagmaUniformAndASecondChangesNothing) {
  Column c = chamber(2.6);
  const double mass = test::columnMass(c), mgo = bulkContent(c, 8), s = bulkContent(c, 0);
  const Column pile = c;
  mix(c);
  for (int i = 5; i <= 8; ++i) {
    for (int j = 1; j <= kOxides; ++j) {
      EXPECT_NEAR(c.BulkOx(i, j), c.BulkOx(4, j), 1e-12) << "node " << i;
      EXPECT_NEAR(c.LiqOx(i, j), c.LiqOx(4, j), 1e-12);
    }
    EXPECT_NEAR(c.TraceBulk(i, 8), c.TraceBulk(4, 8), 1e-12);
    EXPECT_NEAR(c.STotal(i), c.STotal(4), 1e-12);
    EXPECT_NEAR(c.RhoLiq(i), c.RhoLiq(4), 1e-12);
    EXPECT_EQ(c.MassSolid(i), 0.0);
  }
  for (int j = 1; j <= kOxides; ++j) EXPECT_NEAR(c.LiqOx(3, j), c.LiqOx(4, j), 1e-12);
  EXPECT_NEAR(test::volumesOf(c, 3).solid, test::volumesOf(pile, 3).solid, 1e-12);
  EXPECT_EQ(c.SolidOx(3, 8), pile.SolidOx(3, 8));
  for (int i = 1; i <= 2; ++i) EXPECT_EQ(c.LiqOx(i, 8), pile.LiqOx(i, 8));
  EXPECT_NEAR(test::columnMass(c), mass, 1e-12 * mass);
  EXPECT_NEAR(bulkContent(c, 8), mgo, 1e-12 * mgo);
  EXPECT_NEAR(bulkContent(c, 0), s, 1e-12 * s);

  const Column once = c;
  mix(c);
  const auto [worst, field] = test::largestDifference(once, c);
  EXPECT_LT(worst, 1e-12) << field;
}

// With the pile top on the upper face of its node nothing of that node is free: it takes no
// part.  With the pile top at the column's top there is no magma.
TEST(MixMagma, APileTopOnANodesUpperFaceLeavesThatNodeOut) {
  Column c = chamber(3.0);
  const Column before = c;
  mix(c);
  for (int j = 1; j <= kOxides; ++j) EXPECT_EQ(c.LiqOx(3, j), before.LiqOx(3, j));
  EXPECT_EQ(c.MassSolid(3), before.MassSolid(3));
  EXPECT_EQ(c.STotal(3), before.STotal(3));
  // The magma is the four nodes above: node 4's bulk takes part, node 3's liquid does not.
  double mass = 0.0, mgo = 0.0;
  for (int i = 4; i <= 8; ++i) {
    const test::Volumes v = test::volumesOf(before, i);
    const double rho =
        v.solid * before.RhoSolid(i) + v.liquid * before.RhoLiq(i) + v.gas * before.RhoWater(i);
    mass += rho;
    mgo += rho * before.BulkOx(i, 8);
  }
  EXPECT_NEAR(c.BulkOx(6, 8), mgo / mass, 1e-12);

  Column full = chamber(3.0);
  full.TopNode = 8;
  full.PileTop = 8 * kDx;
  const Column fullBefore = full;
  mix(full);
  EXPECT_TRUE(full == fullBefore);
}

// The process the driver and the nodes' equilibrium call: it reports to the event log.
TEST(MixMagma, TheProcessLogsTheMixing) {
  test::RunRig rig;
  rig.column = chamber(2.6);
  rig.ctx.processes.MixMagma(rig.ctx);
  EXPECT_FALSE(rig.log.ErrorFlag);
  EXPECT_TRUE(rig.logged("  Magma mixing completed."));
  EXPECT_EQ(rig.port.moduleId, "Adiabatic mix magma...");
}

}  // namespace
}  // namespace cx
