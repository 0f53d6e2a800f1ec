// Physical constants shared by the thermodynamic models.
#pragma once

namespace cx {

// The gas constant as the models were fitted with it, J/mol/K (not the CODATA 8.314462...).
inline constexpr double kGasConstant = 8.3143;

// 0 °C in kelvin: every temperature shown or entered in Celsius is converted with it.
inline constexpr double kKelvinOffset = 273.15;

// The phase number of the gas (fluid) in every phase-indexed table.
inline constexpr int kGasPhase = 29;

}  // namespace cx
