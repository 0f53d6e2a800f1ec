#include "transport/update_bulk.h"

#include <gtest/gtest.h>

#include <array>
#include <numeric>
#include <string>
#include <vector>

#include "base/diagnostics.h"
#include "run/column.h"
#include "run/names.h"
#include "thermo/thermo_tables.h"

namespace cx {
namespace {

const ThermoTables& tables() {
  static const ThermoTables t = loadThermoTables();
  return t;
}

double oxideMW(int j) {
  return OxideMW[static_cast<std::size_t>(j)];
}

// A basaltic liquid and a gabbroic solid, each summing to exactly 100 wt %.
constexpr std::array<double, 16> kLiquid = {0,   49.0, 1.5,  15.0, 1.5, 0.05, 9.0, 0.15,
                                            8.0, 11.0, 2.75, 0.5,  0.2, 1.2,  0.1, 0.05};
constexpr std::array<double, 16> kSolid = {0,    48.0, 0.5, 18.0, 1.0, 0.2, 8.0, 0.1,
                                           12.0, 11.0, 1.2, 0.0,  0.0, 0.0, 0.0, 0.0};

// A column of `nodes` nodes; gasSpecies 3 (the simple gas) or 6.
Column makeColumn(int nodes, int gasSpecies) {
  Column c;
  c.NumNodes = nodes;
  c.DimensionArrays(Settings{});
  c.ActivityFlags(kGasPhase) = gasSpecies == 3;
  return c;
}

struct Phases {
  double mL, mS, mG;        // masses, g (any basis)
  double rhoL, rhoS, rhoG;  // densities
  double sL, sS, sG;        // entropies per unit mass
};

void setNode(Column& c, int i, const Phases& p, const std::array<double, 7>& gas) {
  c.MassLiq(i) = p.mL;
  c.MassSolid(i) = p.mS;
  c.MassWater(i) = p.mG;
  c.RhoLiq(i) = p.rhoL;
  c.RhoSolid(i) = p.rhoS;
  c.RhoWater(i) = p.rhoG;
  c.SLiq(i) = p.sL;
  c.SSolid(i) = p.sS;
  c.SWater(i) = p.sG;
  for (int j = 1; j <= kOxides; ++j) {
    c.LiqOx(i, j) = kLiquid[static_cast<std::size_t>(j)];
    c.SolidOx(i, j) = kSolid[static_cast<std::size_t>(j)];
  }
  for (int k = 1; k <= 6; ++k) c.GasComp(i, k) = gas[static_cast<std::size_t>(k)];
  for (int k = 1; k <= kTraces; ++k) {
    c.TraceLiq(i, k) = 10.0 + k;
    c.TraceSolid(i, k) = 0.5 * k;
    c.TraceGasPpm(i, k) = 100.0 - k;
  }
}

// Moles of H, C, S, Fe, O in one mole of each oxide the gas may carry.
struct Elements {
  double h, c, s, fe, o;
};
Elements oxideElements(int j) {
  switch (j) {
    case 4:
      return {0, 0, 0, 2, 3};  // Fe2O3
    case 6:
      return {0, 0, 0, 1, 1};  // FeO
    case 13:
      return {2, 0, 0, 0, 1};  // H2O
    case 14:
      return {0, 1, 0, 0, 2};  // CO2
    case 15:
      return {0, 0, 1, 0, 0};  // S
    default:
      return {0, 0, 0, 0, 0};
  }
}

// What each gas species is carried as, in elements per mole of species.  The five simple ones
// are their formulae, so that iron nets to nothing and oxygen balances; methane is carried as
// one H2O less two oxygens (three Fe2O3 to six FeO), deliberately not CH4, and that is kept.
constexpr std::array<Elements, 7> kCarried = {{{0, 0, 0, 0, 0},
                                               {2, 0, 0, 0, 1},     // H2O
                                               {0, 1, 0, 0, 2},     // CO2
                                               {2, 0, 1, 0, 0},     // H2S
                                               {0, 0, 1, 0, 2},     // SO2
                                               {0, 1, 0, 0, 1},     // CO
                                               {2, 0, 0, 0, -2}}};  // CH4, as carried

// The gas's oxide vector holds exactly the elements of the species (element balance); the
// molecular weights of species and oxides are the tables' own.
TEST(GasOxideVector, CarriesTheElementsOfEachSpecies) {
  struct Case {
    int species;
    std::array<double, 7> gas;  // wt % of the gas, 1..6
  };
  const Case cases[] = {
      {3, {0, 60, 30, 10, 0, 0, 0}},
      {3, {0, 0, 0, 100, 0, 0, 0}},
      {6, {0, 40, 20, 10, 15, 15, 0}},
      {6, {0, 0, 0, 0, 100, 0, 0}},
      {6, {0, 0, 0, 0, 0, 100, 0}},
      {6, {0, 10, 10, 10, 10, 10, 50}},
      // Species 4..6 are ignored by the simple gas.
      {3, {0, 50, 20, 10, 7, 8, 5}},
  };
  for (const Case& tc : cases) {
    SCOPED_TRACE("species " + std::to_string(tc.species) + ", H2S " + std::to_string(tc.gas[3]));
    Column c = makeColumn(1, tc.species);
    for (int k = 1; k <= 6; ++k) c.GasComp(1, k) = tc.gas[static_cast<std::size_t>(k)];
    Array1<double> g(1, kOxides, -1.0);
    gasOxideVector(c, 1, tables(), g);
    Elements want{0, 0, 0, 0, 0}, got{0, 0, 0, 0, 0};
    for (int k = 1; k <= tc.species; ++k) {
      const double n = tc.gas[static_cast<std::size_t>(k)] / tables().PhaseEndMW(kGasPhase, k);
      const Elements& e = kCarried[static_cast<std::size_t>(k)];
      want = {want.h + n * e.h, want.c + n * e.c, want.s + n * e.s, want.fe, want.o + n * e.o};
    }
    for (int j : {4, 6, 13, 14, 15}) {
      const double n = g(j) / oxideMW(j);
      const Elements e = oxideElements(j);
      got = {got.h + n * e.h, got.c + n * e.c, got.s + n * e.s, got.fe + n * e.fe, got.o + n * e.o};
    }
    // H2O and CO2 enter by their own masses, so their weights as species and as oxides may
    // differ in the last digits of the tables.
    const double tol = 2e-4;
    EXPECT_NEAR(got.h, want.h, tol * (1 + want.h));
    EXPECT_NEAR(got.c, want.c, tol * (1 + want.c));
    EXPECT_NEAR(got.s, want.s, tol * (1 + want.s));
    EXPECT_NEAR(got.fe, 0.0, 1e-12);
    EXPECT_NEAR(got.o, want.o, tol * (1 + std::abs(want.o)));
    // The entries the gas does not touch keep what was there.
    for (int j : {1, 2, 3, 5, 7, 8, 9, 10, 11, 12}) EXPECT_EQ(g(j), -1.0);
  }
}

// Mass balance: the bulk of each oxide is the sum of what liquid, solid and gas hold, whatever
// the densities; the volume fractions sum to 1 and the node comes back at 100 g.
TEST(UpdateBulk, ConservesMassOfEveryOxideTraceAndEntropy) {
  struct Case {
    const char* name;
    int species;
    Phases p;
    std::array<double, 7> gas;
  };
  const Case cases[] = {
      {"pure liquid", 6, {100, 0, 0, 26.5, 0, 0, 3.0, 0, 0}, {0, 0, 0, 0, 0, 0, 0}},
      {"liquid + solid, not on 100 g",
       6,
       {40, 45, 0, 26.5, 31.0, 0, 3.1, 2.2, 0},
       {0, 0, 0, 0, 0, 0, 0}},
      {"liquid + solid + simple gas",
       3,
       {50, 30, 2, 26.0, 32.0, 4.0, 3.0, 2.0, 9.0},
       {0, 70, 29, 1, 0, 0, 0}},
      {"liquid + solid + six-species gas",
       6,
       {60, 35, 1.5, 25.0, 33.5, 2.5, 3.2, 1.9, 11.0},
       {0, 60, 20, 5, 5, 10, 0}},
      {"solid + gas, no liquid",
       6,
       {0, 98, 2, 26.0, 33.0, 3.0, 0, 2.0, 10.0},
       {0, 90, 10, 0, 0, 0, 0}},
  };
  for (const Case& tc : cases) {
    SCOPED_TRACE(tc.name);
    // Node 1 has the case; node 2 a pure liquid behind it, which the gas vector left over from
    // node 1 must not touch.
    Column c = makeColumn(2, tc.species);
    setNode(c, 1, tc.p, tc.gas);
    setNode(c, 2, {100, 0, 0, 27.0, 0, 0, 3.0, 0, 0}, {0, 0, 0, 0, 0, 0, 0});
    // Three solid phases of 10, 25 and the rest of the solid mass, cumulative.
    if (tc.p.mS > 0) {
      const double cum[] = {0.2 * tc.p.mS, 0.5 * tc.p.mS, tc.p.mS};
      for (int j = 1; j <= 10; ++j) c.PhaseMass(1, j) = cum[std::min(j, 3) - 1];
    }
    Array1<double> g(1, kOxides, 0.0);
    if (tc.p.mG > 0) gasOxideVector(c, 1, tables(), g);
    const Column before = c;
    RecordingDiagnostics diag;
    int first = 1, last = 2;
    UpdateBulk(c, first, last, tables(), diag);
    EXPECT_TRUE(diag.reports.empty()) << diag.reports.front();
    EXPECT_FALSE(diag.ErrorFlag);

    const Phases& p = tc.p;
    const double m = p.mL + p.mS + p.mG;
    const double wL = p.mL / m, wS = p.mS / m, wG = p.mG / m;
    const double vL = p.mL / p.rhoL;
    const double vS = p.mS > 0 ? p.mS / p.rhoS : 0.0;
    const double vG = p.mG > 0 ? p.mG / p.rhoG : 0.0;
    EXPECT_NEAR(c.FLiq(1), vL / (vL + vS + vG), 1e-14);
    double sum = 0.0;
    for (int j = 1; j <= kOxides; ++j) {
      const double want = wL * before.LiqOx(1, j) + wS * before.SolidOx(1, j) + wG * g(j);
      EXPECT_NEAR(c.BulkOx(1, j), want, 1e-12) << OxideNames[static_cast<std::size_t>(j)];
      sum += c.BulkOx(1, j);
    }
    EXPECT_NEAR(sum, 100.0, 0.1);
    for (int k = 1; k <= kTraces; ++k) {
      const double want =
          wL * before.TraceLiq(1, k) + wS * before.TraceSolid(1, k) + wG * before.TraceGasPpm(1, k);
      EXPECT_NEAR(c.TraceBulk(1, k), want, 1e-12) << k;
    }
    EXPECT_NEAR(c.STotal(1), wL * p.sL + wS * p.sS + wG * p.sG, 1e-13);
    // Masses on the basis of 100 g, the phase table scaled with the solid.
    EXPECT_NEAR(c.MassLiq(1), 100 * wL, 1e-12);
    EXPECT_NEAR(c.MassWater(1), 100 * wG, 1e-12);
    if (p.mS > 0) {
      EXPECT_NEAR(c.MassSolid(1), 100 * wS, 1e-12);
      EXPECT_NEAR(c.MassLiq(1) + c.MassSolid(1) + c.MassWater(1), 100.0, 1e-12);
      for (int j = 1; j <= 10; ++j)
        EXPECT_NEAR(c.PhaseMass(1, j), before.PhaseMass(1, j) * 100.0 / m, 1e-12);
    } else {
      EXPECT_EQ(c.MassSolid(1), before.MassSolid(1));
    }
    // The pure liquid behind: FLiq 1 and a bulk that is the liquid.
    EXPECT_EQ(c.FLiq(2), 1.0);
    for (int j = 1; j <= kOxides; ++j) EXPECT_NEAR(c.BulkOx(2, j), c.LiqOx(2, j), 1e-12);
    EXPECT_DOUBLE_EQ(c.STotal(2), 3.0);
    EXPECT_DOUBLE_EQ(c.MassLiq(2), 100.0);
  }
}

// A bulk off 100 wt % by more than 0.1 is renormalised and logged; a smaller error is left.
TEST(UpdateBulk, RenormalisesOnlyBeyondATenthOfAPercent) {
  struct Case {
    double offset;  // added to the liquid's SiO2
    const char* message;
  };
  const Case cases[] = {
      {0.05, nullptr},
      {-0.09, nullptr},
      {0.2, "Step: 2 - Bulk mass error: 0.20, Renormalized in UpdateBulk subroutine."},
      {-0.5, "Step: 2 - Bulk mass error: -0.50, Renormalized in UpdateBulk subroutine."},
      {12.3456, "Step: 2 - Bulk mass error: 12.35, Renormalized in UpdateBulk subroutine."},
  };
  for (const Case& tc : cases) {
    SCOPED_TRACE(tc.offset);
    Column c = makeColumn(2, 6);
    const Phases liquid{100, 0, 0, 27.0, 0, 0, 3.0, 0, 0};
    setNode(c, 1, liquid, {});
    setNode(c, 2, liquid, {});
    c.LiqOx(2, 1) += tc.offset;
    RecordingDiagnostics diag;
    int first = 1, last = 2;
    UpdateBulk(c, first, last, tables(), diag);
    double sum = 0.0;
    for (int j = 1; j <= kOxides; ++j) sum += c.BulkOx(2, j);
    if (tc.message) {
      ASSERT_EQ(diag.reports.size(), 1u);
      EXPECT_EQ(diag.reports[0], tc.message);
      EXPECT_NEAR(sum, 100.0, 1e-12);
      // Every oxide is scaled by the same factor.
      for (int j = 2; j <= kOxides; ++j)
        EXPECT_NEAR(c.BulkOx(2, j), c.LiqOx(2, j) * 100.0 / (100.0 + tc.offset), 1e-12);
    } else {
      EXPECT_TRUE(diag.reports.empty());
      EXPECT_NEAR(sum, 100.0 + tc.offset, 1e-12);
    }
    EXPECT_EQ(diag.pauses, 0);
  }
}

// A diagnostics channel on which the operator halts at the first report.
class HaltingDiagnostics : public RecordingDiagnostics {
 public:
  void ErrorReport(const std::string& msg, bool pause) override {
    RecordingDiagnostics::ErrorReport(msg, pause);
    HaltFlag = true;
  }
};

// Negative bulk oxides: rounding noise becomes 0 silently, a real deficit is set to 0 and
// logged, and a reducing gas that takes more Fe2O3 than the node holds loses its redox exchange.
TEST(UpdateBulk, NegativeOxidesAreRepairedAndLogged) {
  struct Case {
    const char* name;
    int species;
    Phases p;
    std::array<double, 7> gas;
    int oxide;          // the oxide made negative in the solid (0: none)
    double solidValue;  // its value
    std::vector<std::string> reports;
  };
  const Phases liqSol{95, 5, 0, 27.0, 30.0, 0, 3.0, 2.0, 0};
  const Phases withGas{80, 5, 15, 27.0, 30.0, 3.0, 3.0, 2.0, 10.0};
  const Case cases[] = {
      // The liquid holds 0.2 % P2O5: 0.19 % of the node, against 5 % of solid.
      {"noise", 6, liqSol, {}, 12, -3.8001, {}},
      {"P2O5 deficit",
       6,
       liqSol,
       {},
       12,
       -5.0,
       {"N: 1: Negative P2O5 set to 0.00 in subroutine UpdateBulk."}},
      {"Fe2O3 deficit without gas",
       6,
       liqSol,
       {},
       4,
       -1.0,
       {"N: 1: Negative Fe2O3 set to 0.00 in subroutine UpdateBulk."}},
      {"reducing simple gas",
       3,
       withGas,
       {0, 20, 10, 70, 0, 0, 0},
       0,
       0,
       {"N: 1: Negative Fe2O3 Ignoring Oxidation state of gas."}},
      {"reducing six-species gas",
       6,
       withGas,
       {0, 10, 10, 30, 10, 30, 10},
       0,
       0,
       {"N: 1: Negative Fe2O3 Ignoring Oxidation state of gas."}},
  };
  for (const Case& tc : cases) {
    SCOPED_TRACE(tc.name);
    Column c = makeColumn(1, tc.species);
    setNode(c, 1, tc.p, tc.gas);
    // Little Fe2O3 anywhere, so that a reducing gas drives it negative.
    c.LiqOx(1, 4) = 0.05;
    c.LiqOx(1, 1) += 1.45;
    c.SolidOx(1, 4) = 0.0;
    c.SolidOx(1, 1) += 1.0;
    if (tc.oxide) {
      c.SolidOx(1, tc.oxide) = tc.solidValue;
      c.SolidOx(1, 1) -= tc.solidValue;
    }
    const Column before = c;
    RecordingDiagnostics diag;
    diag.ErrorFlag = true;  // a "set to 0.00" repair clears it
    int first = 1, last = 1;
    UpdateBulk(c, first, last, tables(), diag);
    EXPECT_EQ(diag.reports, tc.reports);
    EXPECT_EQ(diag.pauses, 0);
    const double m = tc.p.mL + tc.p.mS + tc.p.mG;
    const double wL = tc.p.mL / m, wS = tc.p.mS / m, wG = tc.p.mG / m;
    if (tc.oxide) {
      EXPECT_EQ(c.BulkOx(1, tc.oxide), 0.0);
      EXPECT_EQ(diag.ErrorFlag, tc.reports.empty());
    }
    if (tc.p.mG > 0) {
      // The gas's species by their raw masses, without iron exchange.
      const auto x = [&](int k) { return tc.gas[static_cast<std::size_t>(k)]; };
      const bool many = tc.species > 3;
      const double gas[16] = {0,
                              0,
                              0,
                              0,
                              0,
                              0,
                              0,
                              0,
                              0,
                              0,
                              0,
                              0,
                              0,
                              x(1) + (many ? x(6) : 0),
                              x(2) + (many ? x(5) : 0),
                              x(3) + (many ? x(4) : 0)};
      for (int j = 1; j <= kOxides; ++j) {
        const double want = wL * before.LiqOx(1, j) + wS * before.SolidOx(1, j) + wG * gas[j];
        EXPECT_NEAR(c.BulkOx(1, j), want, 1e-12) << OxideNames[static_cast<std::size_t>(j)];
      }
    }
  }

  // A halt during the report ends the call: the rest of the node and the nodes above stay.
  Column c = makeColumn(2, 6);
  setNode(c, 1, liqSol, {});
  setNode(c, 2, liqSol, {});
  c.SolidOx(1, 12) = -5.0;
  c.TraceBulk(1, 1) = c.TraceBulk(2, 1) = -3.0;
  c.FLiq(2) = -7.0;
  HaltingDiagnostics halting;
  int first = 1, last = 2;
  UpdateBulk(c, first, last, tables(), halting);
  EXPECT_EQ(halting.reports.size(), 1u);
  EXPECT_EQ(c.TraceBulk(1, 1), -3.0);
  EXPECT_EQ(c.FLiq(2), -7.0);
}

// The call ends early at a node whose bulk density is exactly 1 (all densities at their floor),
// leaving the nodes above as they were; a node with no volume at all is a trapped fault.
TEST(UpdateBulk, EndsAtAnEmptyNode) {
  struct Case {
    const char* name;
    Phases node2;
    std::vector<std::string> reports;
    bool errorFlag;
  };
  const Case cases[] = {
      {"densities at the floor", {60, 40, 0, 0.0, 0.0001, -2.0, 3.0, 2.0, 0}, {}, false},
      {"no volume",
       {0, 0, 0, 27.0, 30.0, 1.0, 3.0, 2.0, 0},
       {"11 error in subroutine UpdateBulk."},
       true},
  };
  for (const Case& tc : cases) {
    SCOPED_TRACE(tc.name);
    Column c = makeColumn(3, 6);
    const Phases liquid{100, 0, 0, 27.0, 0, 0, 3.0, 0, 0};
    for (int i = 1; i <= 3; ++i) setNode(c, i, liquid, {});
    setNode(c, 2, tc.node2, {});
    for (int i = 1; i <= 3; ++i) c.STotal(i) = c.FLiq(i) = -7.0;
    RecordingDiagnostics diag;
    int first = 1, last = 3;
    UpdateBulk(c, first, last, tables(), diag);
    EXPECT_EQ(diag.reports, tc.reports);
    EXPECT_EQ(diag.ErrorFlag, tc.errorFlag);
    EXPECT_DOUBLE_EQ(c.STotal(1), 3.0);  // node 1 was done
    EXPECT_EQ(c.STotal(2), -7.0);
    EXPECT_EQ(c.FLiq(3), -7.0);
    EXPECT_EQ(c.STotal(3), -7.0);
  }
  // The floors: every density at or below 0.0001 became 1.0.
  Column c = makeColumn(1, 6);
  setNode(c, 1, {60, 40, 0, 0.0, 0.0001, -2.0, 3.0, 2.0, 0}, {});
  RecordingDiagnostics diag;
  int first = 1, last = 1;
  UpdateBulk(c, first, last, tables(), diag);
  EXPECT_EQ(c.RhoLiq(1), 1.0);
  EXPECT_EQ(c.RhoSolid(1), 1.0);
  EXPECT_EQ(c.RhoWater(1), 1.0);
  EXPECT_EQ(c.FLiq(1), 0.6);

  // Only the nodes asked for are touched.
  Column d = makeColumn(3, 6);
  for (int i = 1; i <= 3; ++i) setNode(d, i, {100, 0, 0, 27.0, 0, 0, 3.0, 0, 0}, {});
  const Column before = d;
  first = last = 2;
  UpdateBulk(d, first, last, tables(), diag);
  EXPECT_EQ(d.FLiq(2), 1.0);
  EXPECT_EQ(d.FLiq(1), before.FLiq(1));
  EXPECT_EQ(d.FLiq(3), before.FLiq(3));
}

}  // namespace
}  // namespace cx
