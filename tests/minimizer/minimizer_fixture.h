// A model, a minimizer context and a state for one composition, ready to solve.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <string>

#include "solver/stable_phases.h"
#include "ui/recording_port.h"

namespace cx::test {

// Oxides in the program's order: SiO2 TiO2 Al2O3 Fe2O3 Cr2O3 FeO MnO MgO CaO Na2O K2O P2O5 H2O
// CO2 S (wt %).
using Oxides = std::array<double, 15>;

// A mid-ocean-ridge-like tholeiitic basalt.
inline constexpr Oxides kBasalt = {50.47, 1.68, 14.70, 1.16, 0.04, 9.39, 0.18, 7.58,
                                   11.39, 2.79, 0.16,  0.18, 0.20, 0.0,  0.0};
inline constexpr Oxides kAndesite = {58.50, 0.90, 17.00, 2.50, 0.01, 4.50, 0.12, 3.80,
                                     7.00,  3.60, 1.30,  0.20, 0.50, 0.0,  0.0};
inline constexpr Oxides kWetDacite = {65.00, 0.60, 16.00, 1.50, 0.0,  2.80, 0.08, 1.80,
                                      4.50,  4.00, 2.00,  0.15, 3.00, 0.0,  0.0};
inline constexpr Oxides kPicrite = {46.00, 1.00, 10.00, 1.50, 0.20, 10.00, 0.18, 20.00,
                                    8.50,  1.50, 0.30,  0.10, 0.20, 0.0,   0.0};

inline const ThermoTables& sharedTables() {
  static const ThermoTables tables = loadThermoTables();
  return tables;
}
inline const LiquidTables& sharedLiquidTables() {
  static const LiquidTables tables = loadLiquidTables();
  return tables;
}

struct MinimizerSetup {
  explicit MinimizerSetup(const Oxides& ox, double tempK, double pBar,
                          const ModelOptions& options = ModelOptions{})
      : model(sharedTables(), sharedLiquidTables(), options, diag, port), ctx(model, port) {
    Array1<double> wt(1, 15);
    for (int k = 1; k <= 15; ++k) wt(k) = ox[static_cast<std::size_t>(k - 1)];
    model.setConditions(tempK, pBar);
    model.setLiquidOxides(wt);
    for (int i = 1; i <= kLiquidComponents; ++i) st.BulkMoles(i) = model.BulkMoles(i);
    T = tempK;
    P = pBar;
  }
  MinimizerResult solve() {
    MinimizerResult r = solveStableAssemblage(ctx, st, T, P);
    T = r.T;
    P = r.P;
    return r;
  }
  // Grams of liquid and of each listed phase (by list position).
  double liquidMass() const {
    double m = 0.0;
    for (int i = 1; i <= kLiquidComponents; ++i) m += st.Xstable(i) * ctx.liquidMW(i);
    return m;
  }
  double phaseMass(int k) const {
    int c = kLiquidComponents;
    for (int q = 1; q < k; ++q) c += model.activity->PhaseEndCount(st.Phaselist(q));
    const int id = st.Phaselist(k);
    double m = 0.0;
    for (int j = 1; j <= model.activity->PhaseEndCount(id); ++j)
      m += st.Xstable(c + j) * model.phases.PhaseEndMW(id, j);
    return m;
  }
  std::string assemblage() const {
    // Appended piece by piece: GCC 12 warns falsely (-Wrestrict) on "text" + std::string&&.
    std::string s = "liq";
    for (int k = 1; k <= st.PhaseCount; ++k) {
      s += ' ';
      s += trimmedText(model.sat->abbrev(st.Phaselist(k)));
    }
    return s;
  }

  RecordingDiagnostics diag;
  RecordingPort port;
  EquilibriumModel model;
  MinimizerContext ctx;
  MinimizerState st;
  double T = 0.0, P = 0.0;
};

// The conditions of an equilibrium: mass balance per component (liquid plus solids, and the
// solids recomputed from the stoichiometry), no negative amount, listed phases saturated, none left
// out oversaturated, and the masses of the parts adding up to the bulk.
inline void expectEquilibrium(MinimizerSetup& s, const std::string& label) {
  SCOPED_TRACE(label + ": " + s.assemblage());
  const MinimizerState& st = s.st;
  // Mass balance per liquid component: liquid plus solids equal the bulk.
  for (int i = 1; i <= kLiquidComponents; ++i) {
    const double total = st.Xstable(i) + st.SolidMoles(i);
    EXPECT_NEAR(total, st.BulkMoles(i), 1e-10 * std::max(st.BulkMoles(i), 1e-3))
        << "component " << i;
    EXPECT_GE(st.Xstable(i), 0.0) << "component " << i;
  }
  // The solids' share recomputed independently from the phase stoichiometry.
  for (int i = 1; i <= kLiquidComponents; ++i) {
    double solid = 0.0;
    int c = kLiquidComponents;
    for (int k = 1; k <= st.PhaseCount; ++k) {
      const int id = st.Phaselist(k);
      for (int j = 1; j <= s.model.activity->PhaseEndCount(id); ++j)
        solid += s.model.phases.PhaseStoich(id, j, i) * st.Xstable(++c);
    }
    EXPECT_NEAR(solid, st.SolidMoles(i), 1e-12) << "component " << i;
  }
  for (int k = 1; k <= st.PhaseCount; ++k) {
    const int id = st.Phaselist(k);
    EXPECT_LT(std::fabs(s.model.sat->Affinity(id)), 100.0) << s.model.phases.PhaseNames(id);
    EXPECT_GT(s.phaseMass(k), 0.0) << s.model.phases.PhaseNames(id);
  }
  for (int id = 1; id <= thermo_data::kNumPhases; ++id) {
    bool listed = false;
    for (int k = 1; k <= st.PhaseCount; ++k) listed = listed || st.Phaselist(k) == id;
    if (listed || s.model.sat->PhaseExcluded(id)) continue;
    EXPECT_GE(s.model.sat->Affinity(id), -10.0) << "left out: " << s.model.phases.PhaseNames(id);
  }
  // The masses add up to those of the bulk (100 g unless a test changed it), to the agreement of
  // the endmembers' molar masses with the oxides'.
  double mass = s.liquidMass(), bulkMass = 0.0;
  for (int k = 1; k <= st.PhaseCount; ++k) mass += s.phaseMass(k);
  for (int i = 1; i <= kLiquidComponents; ++i) bulkMass += st.BulkMoles(i) * s.ctx.liquidMW(i);
  EXPECT_NEAR(mass, bulkMass, 1e-5);
}

}  // namespace cx::test
