#include <gtest/gtest.h>

#include <cmath>

#include "support/transport_fixture.h"
#include "trace/update_trace.h"
#include "transport/make_cumulate.h"
#include "ui/recording_port.h"

namespace cx {
namespace {

using test::thermoTables;

constexpr double kPhi = 0.3;  // the cumulate's liquid fraction
constexpr double kDx = 100.0;

// Ten nodes: a pile of two full nodes (crystals at 1 - kPhi) and node 3 half filled with pile,
// and a magma above it whose nodes hold a few per cent of crystals each, unequally.
Column chamber() {
  Column c = test::liquidColumn(10, kDx);
  test::giveCrystals(c, 1, 1.0 - kPhi);
  test::giveCrystals(c, 2, 1.0 - kPhi);
  test::giveCrystals(c, 3, 0.5 * (1.0 - kPhi));
  for (int i = 4; i <= 10; ++i) {
    c.LiqOx(i, 8) = 6.0 + 0.1 * i;  // magma liquids that differ
    c.LiqOx(i, 1) = 51.8 - 0.1 * i;
    c.TraceLiq(i, 8) = 90.0 + i;
    c.SLiq(i) = 3.0 + 0.01 * i;
    test::giveCrystals(c, i, 0.01 * (i - 3), 31.0 + 0.1 * i);
  }
  test::giveGas(c, 9, 0.3);
  test::composeBulk(c);
  c.TopNode = 3;
  c.PileTop = 2.5 * kDx;
  return c;
}

struct Inventory {
  double mass, mgo, sio2, ni, entropy;
  explicit Inventory(const Column& c)
      : mass(test::columnMass(c)),
        mgo(test::oxideInventory(c, 8)),
        sio2(test::oxideInventory(c, 1)),
        ni(test::traceInventory(c, 8)),
        entropy(test::entropyInventory(c)) {}
};
void expectKept(const Inventory& a, const Inventory& b) {
  EXPECT_NEAR(b.mgo, a.mgo, 1e-12 * a.mgo);
  EXPECT_NEAR(b.sio2, a.sio2, 1e-12 * a.sio2);
  EXPECT_NEAR(b.ni, a.ni, 1e-12 * a.ni);
  EXPECT_NEAR(b.entropy, a.entropy, 1e-12 * a.entropy);
}

int settle(Column& c, RecordingDiagnostics& diag) {
  int top = c.TopNode;
  MakeCumulate(c, c.NumNodes, kPhi, top, thermoTables(), diag);
  c.TopNode = top;
  EXPECT_FALSE(diag.ErrorFlag);
  return top;
}

// The magma's crystals settle as a layer of porosity kPhi on the pile: its thickness is their
// volume over (1 - kPhi).  The column keeps every oxide, trace element and its entropy; the
// magma left above the new pile holds no crystals and one mixed liquid; the new pile holds
// crystals at 1 - kPhi.
TEST(MakeCumulate, TheMagmasCrystalsSettleOnThePileAndEverythingIsKept) {
  Column c = chamber();
  RecordingDiagnostics diag;
  double crystals = 0.0;  // node volumes
  for (int i = 4; i <= 10; ++i) crystals += test::volumesOf(c, i).solid;
  const Inventory before(c);
  const int top = settle(c, diag);
  expectKept(before, Inventory(c));
  // Node 9 keeps its gas, so its node holds less room; the new layer stays below it.
  const double layer = crystals / (1.0 - kPhi);
  EXPECT_NEAR(c.PileTop, (2.5 + layer) * kDx, 1e-9);
  EXPECT_EQ(top, static_cast<int>(std::floor(2.5 + layer)) + 1);
  EXPECT_NEAR(test::volumesOf(c, top - 1).solid, 1.0 - kPhi, 1e-12);  // a full layer node
  for (int i = top + 1; i <= 10; ++i) {
    EXPECT_EQ(c.MassSolid(i), 0.0) << "node " << i;
    EXPECT_NEAR(c.LiqOx(i, 8), c.LiqOx(10, 8), 1e-12);
    EXPECT_NEAR(c.TraceLiq(i, 8), c.TraceLiq(10, 8), 1e-12);
  }
  EXPECT_NEAR(c.MassWater(9) / c.RhoWater(9), 0.3 / 4.0, 1e-3);  // the gas stays in its node
  for (int i = 1; i <= 10; ++i) {
    double sum = 0.0;
    for (int j = 1; j <= kOxides; ++j) sum += c.BulkOx(i, j);
    EXPECT_NEAR(sum, 100.0, 1e-9);
  }
}

// A magma without crystals adds nothing; a column that cannot hold the layer is filled to its
// top with a porosity reduced so that every crystal fits; the pile top at the source node ends
// the call at once.
TEST(MakeCumulate, NoCrystalsNothingToTheTopAFullColumn) {
  {
    Column c = chamber();
    for (int i = 4; i <= 10; ++i) test::giveCrystals(c, i, 0.0);
    test::composeBulk(c);
    const Column before = c;
    RecordingDiagnostics diag;
    settle(c, diag);
    EXPECT_TRUE(c == before);
  }
  {
    Column c = chamber();
    for (int i = 4; i <= 10; ++i) test::giveCrystals(c, i, 0.8);
    test::composeBulk(c);
    const Inventory before(c);
    RecordingDiagnostics diag;
    EXPECT_EQ(settle(c, diag), 10);
    expectKept(before, Inventory(c));
    EXPECT_NEAR(c.PileTop, 10 * kDx, 1e-9);
    // All the crystals, 0.8 of seven nodes, fit in the room above the old pile top only at a
    // porosity below kPhi.
    for (int i = 4; i <= 10; ++i) EXPECT_GT(test::volumesOf(c, i).solid, 1.0 - kPhi - 1e-12);
  }
  {
    Column c = chamber();
    c.TopNode = 10;
    const Column before = c;
    RecordingDiagnostics diag;
    settle(c, diag);
    EXPECT_TRUE(c == before);
  }
}

// Crystallization and settling in turns: the pile top rises with every settling, and the
// liquid above the pile evolves as fractional crystallization does.  A compatible element (Ni
// in olivine, Sr in plagioclase) is depleted there faster than batch crystallization of the same
// bulk would deplete it at the same liquid fraction, C / C0 = 1 / (D + F (1 - D)), and its
// column inventory is kept by every settling.
TEST(MakeCumulate, TheMagmaAboveThePileFractionatesACompatibleElement) {
  const struct {
    int phase, trace;
    double D;
  } cases[] = {{1, 8, 10.0}, {2, 11, 3.2487}};  // Ni in olivine, Sr in plagioclase
  for (const auto& cs : cases) {
    Column c = test::liquidColumn(12, kDx);
    c.BigDFlags(0) = true;
    c.PhaseOrder(1) = cs.phase;
    c.DCoef(cs.phase, cs.trace) = cs.D;
    c.TopNode = 1;
    c.PileTop = 0.0;
    RecordingDiagnostics diag;
    NullPort port;
    const double c0 = c.TraceBulk(1, cs.trace);
    double lastTop = c.PileTop, fBatch = 1.0, ratio = 1.0;
    for (int step = 0; step < 12; ++step) {
      // Each node with magma crystallizes 4 % of its liquid (at the liquid's density, so that
      // no volume changes); the element shares out between crystals and liquid in the node.
      for (int i = c.TopNode; i <= c.NumNodes; ++i) {
        const double grow = 0.04 * c.MassLiq(i);
        c.MassLiq(i) -= grow;
        c.MassSolid(i) += grow;
        c.RhoSolid(i) = c.RhoLiq(i);
        c.SSolid(i) = 2.0;
        for (int j = 1; j <= kOxides; ++j)
          c.SolidOx(i, j) = test::kCrystals[static_cast<std::size_t>(j)];
        for (int k = 1; k <= kPhaseOrderSize; ++k) c.PhaseMass(i, k) = c.MassSolid(i);
        c.FLiq(i) = c.MassLiq(i) / 100.0;
        Array1<double> liq(1, kOxides);
        ASSERT_TRUE(UpdateTrace(c, i, liq, diag, port));
      }
      const double before = test::traceInventory(c, cs.trace);
      c.TopNode = settle(c, diag);
      EXPECT_NEAR(test::traceInventory(c, cs.trace), before, 1e-12 * before);
      EXPECT_GE(c.PileTop, lastTop);
      lastTop = c.PileTop;
      if (c.TopNode >= c.NumNodes) break;
      // The liquid fraction of the whole column and the magma's concentration.
      double liquid = 0.0, total = 0.0;
      for (int i = 1; i <= c.NumNodes; ++i) {
        liquid += c.MassLiq(i);
        total += c.MassLiq(i) + c.MassSolid(i);
      }
      fBatch = liquid / total;
      ratio = c.TraceLiq(c.NumNodes, cs.trace) / c0;
      const double batch = 1.0 / (cs.D + fBatch * (1.0 - cs.D));
      // The first crystals are one batch; from the second settling on the removal tells.
      if (step == 0) {
        EXPECT_NEAR(ratio, batch, 1e-9);
      } else {
        EXPECT_LT(ratio, batch) << "phase " << cs.phase << " step " << step;
      }
    }
    EXPECT_GT(lastTop, 2.0 * kDx);
    EXPECT_LT(fBatch, 0.9);
    EXPECT_LT(ratio, 0.9 / (cs.D + fBatch * (1.0 - cs.D))) << "phase " << cs.phase;
  }
}

}  // namespace
}  // namespace cx
