// The solubility terms of CO2 in the silicate liquid: for each of the liquid components 1 to 12
// a constant a (J/mol) and a coefficient b (J/mol) of ln P, weighted by the component's share of
// the volatile-free liquid.  Components 2 (TiO2), 5 (MgCr2O4), 7 (MnSi.5O2) and 12 (Ca3(PO4)2)
// have none.
#pragma once

#include <array>

namespace cx::thermo_data {

struct LiquidCO2Row {
  int component;
  double a, b;
};

// clang-format off

inline constexpr std::array<LiquidCO2Row, 8> kLiquidCO2Table = {{
    {1, -1640.0, 723.0},
    {3, -423000.0, 36400.0},
    {4, -600000.0, 193000.0},
    {6, -270000.0, 64000.0},
    {8, 175000.0, -24600.0},
    {9, 177000.0, -24900.0},
    {10, 269000.0, -32100.0},
    {11, 231000.0, -23400.0},
}};

// clang-format on

inline constexpr int kLiquidCO2Components = 12;  // rows 1..12 of the loaded table

}  // namespace cx::thermo_data
