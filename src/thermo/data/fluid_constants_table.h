// Constants of the fluid equation of state (the corresponding-states equation of Duan and
// coworkers, CH4 as the reference fluid).
//
// Species: the number by which results are indexed, and the position in the composition vector
// of the mixture routine.  The two orders differ (CO2 is species 2 but sits at position 4), and
// the mixture is evaluated with that mismatch on purpose.  Hf (J/mol) and S0 (J/mol/K) at
// 298.15 K and 1 bar, and the ideal-gas heat capacity
//   Cp = a + b*T + c/T^2 + d*T^2 + e/T^3 + f/T^0.5 + g/T     (d = f = 0 for all six).
// The dissolved-species volume, its temperature and pressure derivatives serve H2O and CO2 in
// the silicate liquid.
#pragma once

#include <array>
#include <string_view>

#include "thermo/data/table_sizes.h"

namespace cx::thermo_data {

struct FluidSpeciesRow {
  std::string_view name;
  int no;   // species number, index of the results
  int pos;  // position in the mixture's composition vector
  double Hf, S0;
  double a, b, c, d, e, f, g;
  double V0, dVdT, dVdP;  // dissolved in silicate liquid (J/bar, J/bar/K, J/bar^2)
};

inline constexpr std::array<FluidSpeciesRow, kNumFluidSpecies> kFluidSpeciesTable = {{
    {"H2O", 1, 1, -241818.46, 188.715, 46.461, 0.005966, 6320000.0, 0.0, -795700000.0, 0.0,
     -16630.0, 2.775, 0.001086, -6e-5},
    {"CO2", 2, 4, -393509.38, 213.635, 70.728, -0.0008822, 3464000.0, 0.0, -249200000.0, 0.0,
     -18760.0, 2.328, 0.001779, -6e-5},
    {"H2S", 3, 2, -20627.12, 205.685, 65.459, 0.0009168, 9326000.0, 0.0, 154000000.0, 0.0, -28840.0,
     0.0, 0.0, 0.0},
    {"SO2", 4, 3, -296829.7, 248.111, 71.828, -0.002672, 2340000.0, 0.0, -208300000.0, 0.0,
     -16420.0, 0.0, 0.0, 0.0},
    {"CO", 5, 5, -110524.54, 197.564, 38.578, 0.0006513, 1781000.0, 0.0, -99710000.0, 0.0, -7725.0,
     0.0, 0.0, 0.0},
    {"CH4", 6, 6, -74809.0, 186.155, 129.01, -0.0004849, 22210000.0, 0.0, -2291000000.0, 0.0,
     -76560.0, 0.0, 0.0, 0.0},
}};

// Molecular constants by position: well depth eps/k (K) and size sigma (Angstrom).
struct FluidMoleculeRow {
  double eps;
  double sigma;
};

inline constexpr std::array<FluidMoleculeRow, kNumFluidMolecules> kFluidMoleculeTable = {{
    {510.0, 2.88},
    {235.0, 3.69},
    {289.5, 3.693},
    {200.0, 3.69},
    {98.0, 3.66},
    {154.0, 3.691},
    {115.7, 3.365},
    {101.0, 3.63},
    {34.6, 2.91},
    {348.0, 3.692},
}};

// Binary interaction parameters that differ from 1 (the tables are symmetric).
struct FluidBinaryRow {
  int i, j;
  double value;
};
inline constexpr std::array<FluidBinaryRow, 3> kFluidK1Table = {{
    {1, 2, 0.84},
    {2, 6, 0.8563},
    {6, 8, 0.9221},
}};
inline constexpr std::array<FluidBinaryRow, 1> kFluidK2Table = {{
    {1, 2, 1.03},
}};

}  // namespace cx::thermo_data
