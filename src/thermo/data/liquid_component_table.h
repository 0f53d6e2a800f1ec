// The 15 components of the silicate liquid, one for each oxide, with the data of their liquid
// standard state: the molar volume at 1673 K and 1 bar (J/bar), the fusion temperature (K) and
// entropy of fusion (J/mol/K), the liquid heat capacity (J/mol/K) and the derivatives of the
// volume at 1673 K.  H2O and CO2 carry zeros: their standard state in the liquid comes from the
// fluid equation of state.
#pragma once

#include <array>
#include <string_view>

#include "thermo/data/table_sizes.h"

namespace cx::thermo_data {

// clang-format off

// Liquid component numbers, for stoichiometries written by name.
namespace lc {
inline constexpr int kSiO2 = 1, kTiO2 = 2, kAl2O3 = 3, kFe2O3 = 4, kMgCr2O4 = 5, kFe2SiO4 = 6,
                     kMnSi05O2 = 7, kMg2SiO4 = 8, kCaSiO3 = 9, kNa2SiO3 = 10, kKAlSiO4 = 11,
                     kCa3PO42 = 12, kH2O = 13, kCO2 = 14, kFeS = 15;
}  // namespace lc

struct LiquidComponentRow {
  std::string_view formula;
  double V;         // J/bar at 1673 K, 1 bar
  double Tfus;      // K
  double Sfus;      // J/mol/K
  double Cp;        // J/mol/K
  double dVdT;      // J/bar/K
  double dVdP;      // J/bar^2
  double d2VdTdP;   // J/bar^2/K
  double d2VdP2;    // J/bar^3
};

// Element i-1 is liquid component i.
inline constexpr std::array<LiquidComponentRow, kNumLiquidComponents> kLiquidComponentTable = {{
    // formula      V        Tfus     Sfus     Cp       dVdT     dVdP     d2VdTdP  d2VdP2
    {"SiO2", 2.69, 1999.0, 4.46, 81.373, 0.0, -1.89e-05, 1.3e-08, 3.6e-10},
    {"TiO2", 2.316, 1870.0, 35.824, 109.2, 0.0007246, -2.31e-05, 0.0, 5e-10},
    {"Al2O3", 3.711, 2319.65, 48.61, 170.3, 0.000262, -2.26e-05, 2.7e-08, 4e-10},
    {"Fe2O3", 4.213, 1895.0, 60.41, 240.9, 0.000909, -2.53e-05, 3.1e-08, 4.4e-10},
    {"MgCr2O4", 5.358, 2673.0, 73.22, 335.1, 0.0001171, -2.26e-05, 1.8e-08, 4.7e-10},
    {"Fe2SiO4", 5.42, 1490.0, 59.9, 240.2, 0.000584, -2.79e-05, -2.3e-08, 1.46e-09},
    {"MnSi.5O2", 2.844, 1620.0, 27.6, 121.55, 0.000292, -1.395e-05, -1.15e-08, 7.3e-10},
    {"Mg2SiO4", 4.98, 2163.0, 57.2, 271.0, 0.000524, -1.35e-05, -1.3e-08, 4.1e-10},
    {"CaSiO3", 4.347, 1817.0, 31.5, 172.4, 0.000292, -1.55e-05, -1.6e-08, 3.9e-10},
    {"Na2SiO3", 5.568, 1361.0, 38.34, 180.2, 0.000741, -4.29e-05, -5.3e-08, 8.4e-10},
    {"KAlSiO4", 6.838, 2023.0, 24.5, 217.0, 0.000727, -6.4e-05, -4.6e-08, 1.21e-09},
    {"Ca3(PO4)2", 10.7382, 1943.0, 35.69, 574.7, 0.0, 0.0, 0.0, 0.0},
    {"H2O", 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0},
    {"CO2", 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0},
    {"FeS", 1.82, 1468.0, 22.03133515, 65.66, 0.0, 0.0, 0.0, 0.0},
}};

// clang-format on

}  // namespace cx::thermo_data
