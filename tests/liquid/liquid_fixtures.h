// Shared set-up of the liquid tests: the tables, a few natural compositions, and the standard
// states of one temperature and pressure.
#pragma once

#include <array>
#include <memory>

#include "base/diagnostics.h"
#include "base/scalar_minimizer.h"
#include "thermo/gibbs.h"
#include "thermo/silicate_liquid.h"
#include "thermo/thermo_tables.h"

namespace cx::test {

inline const ThermoTables& thermoTables() {
  static const ThermoTables t = loadThermoTables();
  return t;
}

inline const LiquidTables& liquidTables() {
  static const LiquidTables t = loadLiquidTables();
  return t;
}

// wt % of the 15 oxides in their order: SiO2 TiO2 Al2O3 Fe2O3 Cr2O3 FeO MnO MgO CaO Na2O K2O
// P2O5 H2O CO2 S.
using Oxides = std::array<double, 15>;

// A mid-ocean ridge basalt, a calc-alkaline andesite, a rhyolite and a picrite.
inline constexpr Oxides kMorb = {50.4, 1.5, 15.3, 1.2,  0.05, 8.6, 0.18, 8.0,
                                 11.4, 2.7, 0.15, 0.15, 0.0,  0.0, 0.0};
inline constexpr Oxides kAndesite = {59.5, 0.8, 17.2, 2.0, 0.01, 4.1, 0.12, 3.3,
                                     6.6,  3.6, 1.5,  0.2, 0.0,  0.0, 0.0};
inline constexpr Oxides kRhyolite = {76.2, 0.1, 12.6, 0.5,  0.0, 0.7, 0.05, 0.1,
                                     0.6,  4.0, 4.8,  0.02, 0.0, 0.0, 0.0};
inline constexpr Oxides kPicrite = {46.0, 0.9, 10.5, 1.0,  0.3, 10.0, 0.17, 20.0,
                                    8.5,  1.5, 0.1,  0.08, 0.0, 0.0,  0.0};

inline Array1<double> toArray(const Oxides& ox) {
  Array1<double> a(1, 15);
  for (int i = 1; i <= 15; ++i) a(i) = ox[static_cast<std::size_t>(i - 1)];
  return a;
}

// Moles of liquid components of 100 g of the composition.
inline Array1<double> componentsOf(const Oxides& ox) {
  Array1<double> wt = toArray(ox), m(1, 15), c(1, 15);
  NormalizeOxides(wt);
  OxidesToMoles(thermoTables(), wt, m);
  RecordingDiagnostics diag;
  MolesComponents(thermoTables(), diag, m, c);
  return c;
}

inline std::unique_ptr<StandardState> standardStates(double T, double P) {
  auto ss = std::make_unique<StandardState>(MachEps());
  RecordingDiagnostics diag;
  Gibbs(thermoTables(), *ss, diag, T, P, P);
  return ss;
}

}  // namespace cx::test
