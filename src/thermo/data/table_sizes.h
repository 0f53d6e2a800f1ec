// The dimensions of the thermodynamic tables.
#pragma once

namespace cx::thermo_data {

inline constexpr int kNumOxides = 15;
inline constexpr int kNumLiquidComponents = 15;
inline constexpr int kNumEndmemberRows = 76;
// The standard-state arrays carry the 76 endmember rows and behind them a copy of the 15 liquid
// components (rows 77 to 91), so that a model can look up either by row.
inline constexpr int kNumStandardStateRows = kNumEndmemberRows + kNumLiquidComponents;
inline constexpr int kNumPhases = 38;
inline constexpr int kMaxPhaseEndmembers = 15;
inline constexpr int kNumTraces = 40;
inline constexpr int kMaxStoichTerms = 6;
inline constexpr int kNumFluidSpecies = 6;
inline constexpr int kNumFluidMolecules = 10;  // rows of the molecular constants, 1 to 6 in use

}  // namespace cx::thermo_data
