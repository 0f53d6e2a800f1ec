// Eight natural magma compositions that span the program's range: from a picrite to a rhyolite,
// dry to wet, tholeiitic to alkaline.  The solve grid and the minimizer's regression cases run
// over these.  Oxides in the program's order: SiO2 TiO2 Al2O3 Fe2O3 Cr2O3 FeO MnO MgO CaO Na2O
// K2O P2O5 H2O CO2 S (wt %).
#pragma once

#include <array>

namespace cx::grid {

using OxideList = std::array<double, 15>;

struct NaturalComposition {
  const char* name;
  OxideList oxides;
};

inline constexpr std::array<NaturalComposition, 8> kNaturalCompositions = {{
    {"MORB", {50.47, 1.68, 14.70, 1.16, 0.04, 9.39, 0.18, 7.58, 11.39, 2.79, 0.16, 0.18, 0.20, 0.0,
              0.0}},
    {"picrite", {46.00, 1.00, 10.00, 1.50, 0.20, 10.00, 0.18, 20.00, 8.50, 1.50, 0.30, 0.10, 0.20,
                 0.0, 0.0}},
    {"wet high-alumina basalt", {49.50, 0.90, 18.50, 1.50, 0.03, 7.00, 0.15, 6.50, 10.80, 3.00,
                                 0.50, 0.15, 3.00, 0.0, 0.0}},
    {"wet andesite", {58.50, 0.90, 17.00, 2.50, 0.01, 4.50, 0.12, 3.80, 7.00, 3.60, 1.30, 0.20,
                      3.00, 0.0, 0.0}},
    {"dacite", {65.00, 0.60, 16.00, 1.50, 0.0, 2.80, 0.08, 1.80, 4.50, 4.00, 2.00, 0.15, 1.00, 0.0,
                0.0}},
    {"rhyolite", {75.50, 0.10, 13.00, 0.40, 0.0, 0.70, 0.05, 0.10, 0.80, 3.80, 4.60, 0.02, 1.00,
                  0.0, 0.0}},
    {"alkali basalt", {46.50, 2.60, 15.50, 2.50, 0.03, 8.50, 0.18, 8.00, 10.00, 3.60, 1.40, 0.60,
                       0.50, 0.0, 0.0}},
    {"ferrobasalt", {48.50, 3.00, 12.50, 2.50, 0.01, 14.50, 0.25, 5.00, 9.50, 2.90, 0.50, 0.40,
                     0.30, 0.0, 0.0}},
}};

// The pressures (bar) and temperatures (°C, 1350 down to 750 by 25) of the grid.
inline constexpr std::array<double, 4> kGridPressures = {1.0, 1000.0, 3000.0, 7000.0};
inline constexpr double kGridTopC = 1350.0, kGridBottomC = 750.0, kGridStepC = 25.0;

}  // namespace cx::grid
