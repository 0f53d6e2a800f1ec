// The regular-solution interaction parameters of the silicate liquid, W(i,j) in J/mol, by liquid
// component.  Only the upper triangle is listed; the loader mirrors it.  The diagonal is zero,
// MgCr2O4 and MnSi.5O2 have no interaction with water (and MnSi.5O2 none with Ca3(PO4)2), and
// CO2 and FeS interact with nothing but the one pair H2O-CO2: CO2 and sulfur carry their own
// expressions in the chemical potentials.
#pragma once

#include <array>

namespace cx::thermo_data {

struct LiquidInteractionRow {
  int i;
  std::array<double, 12> w;  // W(i, j) for j = i+1 .. i+12; entries past column 13 are unused
};

// clang-format off

// Row i lists W(i, i+1) .. W(i, 13).
inline constexpr std::array<LiquidInteractionRow, 12> kLiquidInteractionTable = {{
    //  TiO2    Al2O3    Fe2O3   MgCr2O4  Fe2SiO4  MnSi.5O2 Mg2SiO4  CaSiO3   Na2SiO3  KAlSiO4 Ca3(PO4)2  H2O
    {1, {26267.0, -39120.0, 8110.0, 27886.0, 23661.0, 18394.0, 3421.0, -864.0, -99039.0, -33922.0, 61892.0, 30967.0}},
    //  Al2O3   Fe2O3    MgCr2O4  Fe2SiO4  MnSi.5O2 Mg2SiO4  CaSiO3   Na2SiO3  KAlSiO4 Ca3(PO4)2  H2O
    {2, {-29450.0, -84757.0, -72303.0, 5209.0, -16124.0, -4178.0, -35373.0, -15416.0, -48095.0, 25939.0, 81879.0}},
    {3, {-17089.0, -31770.0, -30509.0, -53875.0, -32880.0, -57918.0, -130785.0, -25859.0, 52221.0, -16098.0}},
    {4, {21606.0, -179065.0, 3908.0, -71519.0, 12077.0, -149662.0, 57556.0, -4214.0, 31406.0}},
    {5, {-82972.0, 182.0, 46049.0, 30705.0, 113646.0, 75709.0, 5342.0, 0.0}},
    {6, {-6824.0, -37257.0, -12971.0, -90534.0, 23649.0, 87410.0, 28874.0}},
    {7, {-13040.0, 2935.0, -15781.0, 23727.0, 0.0, 0.0}},
    {8, {-31732.0, -41877.0, 22323.0, -23209.0, 35634.0}},
    {9, {-13247.0, 17111.0, 37070.0, 20375.0}},
    {10, {6523.0, 15572.0, -96938.0}},
    {11, {17101.0, 10374.0}},
    {12, {43451.0}},
}};

// clang-format on

// The one interaction of the volatiles with each other: W(H2O, CO2).
inline constexpr int kLiquidWaterComponent = 13;
inline constexpr int kLiquidCO2Component = 14;
inline constexpr double kLiquidWaterCO2Interaction = 9210.0;

}  // namespace cx::thermo_data
