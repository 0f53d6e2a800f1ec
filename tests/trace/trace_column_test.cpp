// Trace elements through a run: a basaltic column cooled from the top crystallizes, and its trace
// elements must keep their inventory, follow batch partitioning at every node, and behave as a
// petrologist knows they do in a crystallizing MORB.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "column/names.h"
#include "support/run_rig.h"
#include "trace/partition_preset.h"

namespace cx {
namespace {

int element(std::string_view symbol) {
  for (int k = 1; k <= kTraces; ++k)
    if (TraceNames[static_cast<std::size_t>(k)] == symbol) return k;
  ADD_FAILURE() << "no element " << symbol;
  return 1;
}

// An average mid-ocean-ridge basalt's trace elements, ppm (rounded from the compilations of Sun
// and McDonough 1989 and Gale et al. 2013); the elements not listed get 1 ppm.
struct Content {
  const char* symbol;
  double ppm;
};
constexpr Content kMorb[] = {
    {"Sc", 40},  {"V", 300},  {"Cr", 300}, {"Co", 45},   {"Ni", 150}, {"Rb", 2},    {"Sr", 120},
    {"Y", 30},   {"Zr", 95},  {"Nb", 4},   {"Ba", 15},   {"La", 4},   {"Ce", 11.5}, {"Nd", 10},
    {"Sm", 3.3}, {"Eu", 1.2}, {"Gd", 4.3}, {"Tb", 0.75}, {"Yb", 3.0}, {"Hf", 2.5},  {"Th", 0.25}};

struct TraceRig : test::RunRig {
  explicit TraceRig(double coolingPerDay) : RunRig(2) {
    settings.run.chkSkipEquilibration = 0;
    settings.run.chkSkipTrace = 0;
    settings.setMiscText(misc::kTStepTop, std::to_string(-coolingPerDay));
    column.TopCoolRate = -coolingPerDay / kSecondsPerDay;
    column.BigDFlags(0) = true;  // constant coefficients
    CorlettCoefsModule(column);
    for (int i = 1; i <= column.NumNodes; ++i) {
      for (int k = 1; k <= kTraces; ++k) column.InitBulkTrace(i, k) = 1.0;
      for (const Content& m : kMorb) column.InitBulkTrace(i, element(m.symbol)) = m.ppm;
    }
  }
  double nodeMass(int i) const {
    return column.MassLiq(i) + column.MassSolid(i) + column.MassWater(i);
  }
  // Micrograms of element k in the column (ppm times grams).
  double inventory(int k) const {
    double sum = 0.0;
    for (int i = 1; i <= column.NumNodes; ++i) sum += column.TraceBulk(i, k) * nodeMass(i);
    return sum;
  }
  // The bulk distribution coefficient of element k at node i from the node's phase masses, by
  // the definition: each crystal phase's and the gas's coefficient weighted by its share of the
  // non-liquid mass.
  double bulkD(int i, int k) const {
    const Column& c = column;
    double weighted = c.DCoef(kGasPhase, k) * c.MassWater(i);
    double previous = 0.0;
    for (int j = 1; j <= kPhaseOrderSize; ++j) {
      const double m = c.PhaseMass(i, j) - previous;
      previous = c.PhaseMass(i, j);
      if (c.PhaseOrder(j) > 0 && m > 1e-7) weighted += c.DCoef(c.PhaseOrder(j), k) * m;
    }
    return weighted / (c.MassSolid(i) + c.MassWater(i));
  }
  std::string events() const {
    std::string all;
    for (const auto& e : port.events) all += e + "\n";
    return all;
  }
};

// Eu/Eu* of the liquid of node i: europium over the geometric mean of its neighbours Sm and Gd,
// each normalized to the start, so that the starting liquid has no anomaly.
double europiumAnomaly(const Column& c, int i) {
  const int sm = element("Sm"), eu = element("Eu"), gd = element("Gd");
  auto normalized = [&](int k) { return c.TraceLiq(i, k) / c.InitBulkTrace(i, k); };
  return normalized(eu) / std::sqrt(normalized(sm) * normalized(gd));
}

TEST(TraceColumn, ACrystallizingColumnKeepsItsTracesAndPartitionsThemAsBatchCrystallization) {
  TraceRig rig(5.0);
  rig.column.FindInitialOnly = true;
  ASSERT_FALSE(rig.run(1).error);
  rig.column.FindInitialOnly = false;
  Column& c = rig.column;
  const int top = c.NumNodes;

  std::vector<double> before(kTraces + 1);
  for (int k = 1; k <= kTraces; ++k) before[k] = rig.inventory(k);
  const int la = element("La"), ba = element("Ba"), rb = element("Rb"), zr = element("Zr");
  const int sr = element("Sr"), ni = element("Ni");
  double srPeak = c.TraceLiq(top, sr);
  double previousF = c.FLiq(top);
  double niAtStart = c.TraceLiq(top, ni);
  for (int iteration = 1; iteration <= 60; ++iteration) {
    ASSERT_FALSE(rig.run(1).error);
    ASSERT_EQ(rig.events().find("Error returned from minimization"), std::string::npos)
        << rig.events();
    // The inventory of each element: only redistribution between parts of a node happens.
    for (int k = 1; k <= kTraces; ++k) {
      const double now = rig.inventory(k);
      EXPECT_NEAR(now, before[k], 1e-9 * before[k]) << TraceNames[k] << " at " << iteration;
      before[k] = now;
    }
    // Every node is a batch system: liquid = bulk / ((1 - F) D + F), with F the liquid's share
    // of the node's mass.
    for (int i = 1; i <= c.NumNodes; ++i) {
      const double F = c.MassLiq(i) / rig.nodeMass(i);
      if (F > 1.0 - 1e-8) continue;
      for (int k = 1; k <= kTraces; ++k) {
        const double expected = c.TraceBulk(i, k) / ((1.0 - F) * rig.bulkD(i, k) + F);
        ASSERT_NEAR(c.TraceLiq(i, k), expected, 1e-9 * expected)
            << TraceNames[k] << " node " << i << " iteration " << iteration;
      }
    }
    // Incompatible elements only gain in the liquid of a crystallizing node.
    const double F = c.FLiq(top);
    if (F < previousF) {
      for (int k : {la, ba, rb, zr}) EXPECT_GE(c.TraceLiq(top, k), c.TraceBulk(top, k) * 0.999);
    }
    previousF = F;
    srPeak = std::max(srPeak, c.TraceLiq(top, sr));
  }
  // The top node has crystallized substantially, plagioclase first among the phases in mass.
  const double F = c.MassLiq(top) / rig.nodeMass(top);
  ASSERT_LT(F, 0.6) << "the test needs a node well into crystallization";
  for (int k : {la, ba, rb, zr}) {
    SCOPED_TRACE(std::string(TraceNames[k]));
    // Incompatible in a gabbroic assemblage (bulk D well below 0.5, Ba the highest through
    // plagioclase): batch crystallization enriches the liquid at least by 1 / (F + 0.5 (1 - F))
    // and never beyond 1 / F.
    EXPECT_GT(c.TraceLiq(top, k), c.TraceBulk(top, k) / (F + 0.5 * (1.0 - F)));
    EXPECT_LT(c.TraceLiq(top, k), 1.0001 * c.TraceBulk(top, k) / F);
    EXPECT_LT(c.TraceSolid(top, k), c.TraceLiq(top, k));
  }
  // Strontium goes into plagioclase (D about 3): the liquid has less than the bulk.
  EXPECT_LT(c.TraceLiq(top, sr), c.TraceBulk(top, sr));
  EXPECT_LT(c.TraceLiq(top, sr), srPeak);
  // Nickel goes into olivine (D about 10).
  EXPECT_LT(c.TraceLiq(top, ni), 0.9 * niAtStart);
  // Plagioclase takes Eu (D 0.71) over Sm and Gd (0.06, 0.04): a negative anomaly.
  EXPECT_LT(europiumAnomaly(c, top), 0.97);
  // The lower node, barely cooled, keeps its liquid close to the bulk.
  EXPECT_NEAR(c.TraceLiq(1, la), c.TraceBulk(1, la), 0.25 * c.TraceBulk(1, la));
}

}  // namespace
}  // namespace cx
