#include "transport/update_bulk.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "column_fixture.h"

namespace cx {
namespace {

const ThermoTables& tables() {
  static const ThermoTables t = loadThermoTables();
  return t;
}

// A basaltic liquid and a gabbroic solid, each summing to exactly 100 wt %.
constexpr std::array<double, 16> kLiquid = {0,   49.0, 1.5,  15.0, 1.5, 0.05, 9.0, 0.15,
                                            8.0, 11.0, 2.75, 0.5,  0.2, 1.2,  0.1, 0.05};
constexpr std::array<double, 16> kSolid = {0,    48.0, 0.5, 18.0, 1.0, 0.2, 8.0, 0.1,
                                           12.0, 11.0, 1.2, 0.0,  0.0, 0.0, 0.0, 0.0};
using Gas = std::array<double, 7>;  // wt % of the gas, species 1..6

struct Phases {
  double mL, mS, mG;                                       // masses, g (any basis)
  double rhoL, rhoS, rhoG;                                 // densities
  double sL, sS, sG;                                       // entropies per unit mass
  double w(double m) const { return m / (mL + mS + mG); }  // mass fraction
};
const Phases kMelt{100, 0, 0, 27.0, 0, 0, 3.0, 0, 0};

void setNode(Column& c, int i, const Phases& p, const Gas& gas = {}) {
  c.MassLiq(i) = p.mL, c.MassSolid(i) = p.mS, c.MassWater(i) = p.mG;
  c.RhoLiq(i) = p.rhoL, c.RhoSolid(i) = p.rhoS, c.RhoWater(i) = p.rhoG;
  c.SLiq(i) = p.sL, c.SSolid(i) = p.sS, c.SWater(i) = p.sG;
  for (int j = 1; j <= kOxides; ++j) c.LiqOx(i, j) = kLiquid[j], c.SolidOx(i, j) = kSolid[j];
  for (int k = 1; k <= 6; ++k) c.GasComp(i, k) = gas[static_cast<std::size_t>(k)];
  for (int k = 1; k <= kTraces; ++k)
    c.TraceLiq(i, k) = 10.0 + k, c.TraceSolid(i, k) = 0.5 * k, c.TraceGasPpm(i, k) = 100.0 - k;
}

std::vector<std::string> reports(const std::string& one) {
  return one.empty() ? std::vector<std::string>{} : std::vector<std::string>{one};
}

// Moles of H, C, S, Fe, O per mole of each oxide the gas writes, and per mole of each species as
// carried: the five simple species by their formulae (iron nets to nothing, oxygen balances);
// methane as one H2O less two oxygens (three Fe2O3 to six FeO), deliberately not CH4.  Species:
// H2O, CO2, H2S, SO2, CO, CH4.
constexpr int kGasOxides[] = {4, 6, 13, 14, 15};  // Fe2O3, FeO, H2O, CO2, S
constexpr double kOxideElements[5][5] = {
    {0, 0, 0, 2, 3}, {0, 0, 0, 1, 1}, {2, 0, 0, 0, 1}, {0, 1, 0, 0, 2}, {0, 0, 1, 0, 0}};
constexpr double kCarried[7][5] = {{},
                                   {2, 0, 0, 0, 1},
                                   {0, 1, 0, 0, 2},
                                   {2, 0, 1, 0, 0},
                                   {0, 0, 1, 0, 2},
                                   {0, 1, 0, 0, 1},
                                   {2, 0, 0, 0, -2}};

// Element balance: the gas's oxide vector holds exactly the elements of its species.
TEST(GasOxideVector, CarriesTheElementsOfEachSpecies) {
  const std::pair<int, Gas> cases[] = {
      {3, {0, 60, 30, 10, 0, 0, 0}}, {3, {0, 0, 0, 100, 0, 0, 0}}, {6, {0, 40, 20, 10, 15, 15, 0}},
      {6, {0, 0, 0, 0, 100, 0, 0}},  {6, {0, 0, 0, 0, 0, 100, 0}}, {6, {0, 10, 10, 10, 10, 10, 50}},
      {3, {0, 50, 20, 10, 7, 8, 5}},  // species 4..6 are ignored by the simple gas
  };
  for (const auto& [species, gas] : cases) {
    SCOPED_TRACE("species " + std::to_string(species) + ", H2S " + std::to_string(gas[3]));
    Column c = makeColumn(1, species);
    for (int k = 1; k <= 6; ++k) c.GasComp(1, k) = gas[static_cast<std::size_t>(k)];
    Array1<double> g(1, kOxides, -1.0);
    gasOxideVector(c, 1, tables(), g);
    double want[5] = {}, got[5] = {};
    for (int e = 0; e < 5; ++e) {
      for (int k = 1; k <= species; ++k)
        want[e] += gas[std::size_t(k)] / tables().PhaseEndMW(kGasPhase, k) * kCarried[k][e];
      for (int o = 0; o < 5; ++o)
        got[e] += g(kGasOxides[o]) / OxideMW[std::size_t(kGasOxides[o])] * kOxideElements[o][e];
    }
    // H2O and CO2 enter by their own masses: species and oxide weights may differ in the last
    // digits of the tables.  Iron must net to nothing exactly.
    for (int e = 0; e < 5; ++e)
      EXPECT_NEAR(got[e], want[e], e == 3 ? 1e-12 : 2e-4 * (1 + std::abs(want[e]))) << e;
    for (int j : kGasOxides) g(j) = -1.0;
    for (int j = 1; j <= kOxides; ++j) EXPECT_EQ(g(j), -1.0) << "untouched oxide " << j;
  }
}

// Mass balance: each oxide, trace and the entropy of the node is what liquid, solid and gas hold
// by mass, whatever the densities; FLiq is the liquid's volume fraction; the node (and its phase
// table) comes back at 100 g.  Repairs, each logged without a pause: a bulk off 100 wt % by more
// than 0.1 is renormalised; a negative oxide is set to 0 (ErrorFlag cleared; rounding noise
// silently); a reducing gas that takes more Fe2O3 than the node holds is carried by its species'
// own masses, without iron exchange.
TEST(UpdateBulk, BulkIsTheMassWeightedSumOfThePhases) {
  struct Case {
    std::string report;
    int species;
    Phases p;
    Gas gas;
    int oxide = 0;  // a solid oxide shifted by delta against the solid's SiO2 (0: none)
    double delta = 0.0, liqSiO2 = 0.0;  // and a shift of the liquid's SiO2, off 100 wt %
  };
  const auto renorm = [](const char* e) {
    return std::string("Step: 1 - Bulk mass error: ") + e +
           ", Renormalized in UpdateBulk subroutine.";
  };
  const auto neg = [](const char* ox) {
    return std::string("N: 1: Negative ") + ox + " set to 0.00 in subroutine UpdateBulk.";
  };
  const std::string redox = "N: 1: Negative Fe2O3 Ignoring Oxidation state of gas.";
  const Phases mix{95, 5, 0, 27, 30, 0, 3, 2, 0}, gassy{80, 5, 15, 27, 30, 3, 3, 2, 10};
  // The liquid's 0.2 % P2O5 is 0.19 % of `mix`: a solid P2O5 of -3.8001 leaves -5e-6 (noise),
  // -3.802 leaves -1e-4 (a deficit).
  const Case cases[] = {
      {"", 6, {100, 0, 0, 26.5, 0, 0, 3.0, 0, 0}, {}},
      {"", 6, {40, 45, 0, 26.5, 31.0, 0, 3.1, 2.2, 0}, {}},  // not on 100 g
      {"", 3, {50, 30, 2, 26.0, 32.0, 4.0, 3.0, 2.0, 9.0}, {0, 70, 29, 1, 0, 0, 0}},
      {"", 6, {60, 35, 1.5, 25, 33.5, 2.5, 3.2, 1.9, 11}, {0, 60, 20, 5, 5, 10, 0}},
      {"", 6, {0, 98, 2, 26.0, 33.0, 3.0, 0, 2.0, 10.0}, {0, 90, 10, 0, 0, 0, 0}},
      {"", 6, kMelt, {}, 0, 0, 0.05},
      {"", 6, kMelt, {}, 0, 0, -0.09},
      {renorm("0.20"), 6, kMelt, {}, 0, 0, 0.2},
      {renorm("-0.50"), 6, kMelt, {}, 0, 0, -0.5},
      {renorm("12.35"), 6, kMelt, {}, 0, 0, 12.3456},
      {"", 6, mix, {}, 12, -3.8001},
      {neg("P2O5"), 6, mix, {}, 12, -3.802},
      {neg("Fe2O3"), 6, mix, {}, 4, -30.0},
      {redox, 3, gassy, {0, 20, 10, 70, 0, 0, 0}},
      {redox, 6, gassy, {0, 10, 10, 30, 10, 30, 10}},
  };
  for (const Case& tc : cases) {
    const Phases& p = tc.p;
    SCOPED_TRACE(testing::Message() << "case " << &tc - cases);
    // Node 2 is a pure liquid, which the gas vector left over from node 1 must not touch; node 3
    // is not asked for.
    Column c = makeColumn(3, tc.species);
    setNode(c, 1, p, tc.gas);
    setNode(c, 2, kMelt);
    if (tc.oxide) c.SolidOx(1, tc.oxide) += tc.delta, c.SolidOx(1, 1) -= tc.delta;
    c.LiqOx(1, 1) += tc.liqSiO2;
    const double cum[] = {0.2 * p.mS, 0.5 * p.mS, p.mS};  // three solids, cumulative
    for (int j = 1; j <= kPhaseOrderSize; ++j) c.PhaseMass(1, j) = cum[std::min(j, 3) - 1];
    Array1<double> g(1, kOxides, 0.0);
    if (p.mG > 0) gasOxideVector(c, 1, tables(), g);
    if (tc.report == redox) {
      const auto x = [&](int k) { return tc.species > 3 || k <= 3 ? tc.gas[std::size_t(k)] : 0; };
      g.fill(0.0), g(13) = x(1) + x(6), g(14) = x(2) + x(5), g(15) = x(3) + x(4);
    }
    const Column before = c;
    RecordingDiagnostics diag;
    diag.ErrorFlag = true;
    int first = 1, last = 2;
    UpdateBulk(c, first, last, tables(), diag);
    EXPECT_EQ(diag.reports, reports(tc.report));
    EXPECT_EQ(diag.pauses, 0);
    EXPECT_EQ(diag.ErrorFlag, tc.report.find("set to") == std::string::npos);

    const double wL = p.w(p.mL), wS = p.w(p.mS), wG = p.w(p.mG);
    const auto byMass = [&](double l, double s, double g) { return wL * l + wS * s + wG * g; };
    const double vL = p.mL / p.rhoL, vS = p.mS > 0 ? p.mS / p.rhoS : 0.0,
                 vG = p.mG > 0 ? p.mG / p.rhoG : 0.0;
    EXPECT_NEAR(c.FLiq(1), vL / (vL + vS + vG), 1e-14);
    const double scale = tc.report.starts_with("Step") ? 100.0 / (100.0 + tc.liqSiO2) : 1.0;
    for (int j = 1; j <= kOxides; ++j) {
      const double want = byMass(before.LiqOx(1, j), before.SolidOx(1, j), g(j)) * scale;
      EXPECT_NEAR(c.BulkOx(1, j), j == tc.oxide ? 0.0 : want, 1e-12) << j;
    }
    for (int k = 1; k <= kTraces; ++k) {
      const double want =
          byMass(before.TraceLiq(1, k), before.TraceSolid(1, k), before.TraceGasPpm(1, k));
      EXPECT_NEAR(c.TraceBulk(1, k), want, 1e-12) << k;
    }
    EXPECT_NEAR(c.STotal(1), byMass(p.sL, p.sS, p.sG), 1e-13);
    EXPECT_NEAR(c.MassLiq(1), 100 * wL, 1e-12);
    EXPECT_NEAR(c.MassWater(1), 100 * wG, 1e-12);
    EXPECT_NEAR(c.MassSolid(1), 100 * wS, 1e-12);
    for (int j = 1; j <= kPhaseOrderSize; ++j)
      EXPECT_NEAR(c.PhaseMass(1, j), before.PhaseMass(1, j) * 100.0 / (p.mL + p.mS + p.mG), 1e-12);
    EXPECT_EQ(c.FLiq(2), 1.0);
    for (int j = 1; j <= kOxides; ++j) EXPECT_NEAR(c.BulkOx(2, j), kLiquid[j], 1e-12);
    EXPECT_EQ(c.FLiq(3), 0.0);
  }
}

// The call ends early, leaving the rest of the node and the nodes above as they were: at an
// operator's halt after a report, at a node whose densities all sat at their floor (taken as
// 1.0, so the bulk density is exactly 1), and at a node with no volume (a trapped fault).
TEST(UpdateBulk, EndsEarly) {
  struct Case {
    Phases node2;
    std::string report;
    bool halt;
  };
  const Case cases[] = {
      {{95, 5, 0, 27, 30, 0, 3, 2, 0},
       "N: 2: Negative P2O5 set to 0.00 in subroutine UpdateBulk.",
       true},
      {{60, 40, 0, 0.0, 0.0001, -2.0, 3, 2, 0}, "", false},
      {{0, 0, 0, 27, 30, 1, 3, 2, 0}, "11 error in subroutine UpdateBulk.", false},
  };
  for (const Case& tc : cases) {
    SCOPED_TRACE(tc.report);
    Column c = makeColumn(3);
    for (int i = 1; i <= 3; ++i) setNode(c, i, i == 2 ? tc.node2 : kMelt);
    c.SolidOx(2, 12) = -5.0;  // a P2O5 deficit where there is solid
    for (int i = 1; i <= 3; ++i) c.STotal(i) = c.FLiq(i) = c.TraceBulk(i, 1) = -7.0;
    RecordingDiagnostics diag;
    diag.HaltFlag = tc.halt;  // the operator halts at the next report
    int first = 1, last = 3;
    UpdateBulk(c, first, last, tables(), diag);
    EXPECT_EQ(diag.reports, reports(tc.report));
    EXPECT_EQ(diag.ErrorFlag, tc.report[0] == '1');
    EXPECT_DOUBLE_EQ(c.STotal(1), 3.0);  // node 1 was done
    EXPECT_TRUE(tc.halt || c.STotal(2) == -7.0);
    EXPECT_EQ(c.TraceBulk(2, 1), -7.0);
    EXPECT_EQ(c.FLiq(3), -7.0);
    if (tc.node2.rhoL == 0.0) {
      EXPECT_EQ(c.RhoLiq(2) + c.RhoSolid(2) + c.RhoWater(2), 3.0);
      EXPECT_EQ(c.FLiq(2), 0.6);
    }
  }
}

}  // namespace
}  // namespace cx
