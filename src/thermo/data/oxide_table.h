// The 15 oxides in which every composition of the program is told, with their molecular
// weights (g/mol).  Oxides 13 to 15 are the volatiles; the last one is sulfur as the element.
#pragma once

#include <array>
#include <string_view>

#include "thermo/data/table_sizes.h"

namespace cx::thermo_data {

// clang-format off

struct OxideRow {
  std::string_view name;
  double mw;  // g/mol
};

// In oxide order: element k-1 is oxide k.
inline constexpr std::array<OxideRow, kNumOxides> kOxideTable = {{
    {"SiO2", 60.0843},
    {"TiO2", 79.8788},
    {"Al2O3", 101.9612},
    {"Fe2O3", 159.6922},
    {"Cr2O3", 151.9902},
    {"FeO", 71.8464},
    {"MnO", 70.9374},
    {"MgO", 40.3044},
    {"CaO", 56.0794},
    {"Na2O", 61.9789},
    {"K2O", 94.196},
    {"P2O5", 141.9445},
    {"H2O", 18.0152},
    {"CO2", 44.01},
    {"S", 32.057},
}};

// clang-format on

}  // namespace cx::thermo_data
