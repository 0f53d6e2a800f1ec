// The standard-state properties of one temperature and pressure: Gibbs energy, enthalpy,
// entropy, heat capacity and volume of every liquid component and every endmember row, and the
// Gibbs energy of O2 and S2 gas at 1 bar.  Gibbs fills it; every later model adds mixing to
// these numbers.  One object holds one temperature and pressure at a time: results of two
// states are never mixed in it.
#pragma once

#include "base/array.h"
#include "thermo/data/table_sizes.h"
#include "thermo/fluid_eos.h"

namespace cx {

// Rows 77 to 91 of the endmember arrays are copies of the liquid components 1 to 15.
inline constexpr int kLiquidCopyRow0 = thermo_data::kNumEndmemberRows;

struct StandardState {
  explicit StandardState(double machEps);

  // By liquid component, 1..15: J/mol, J/mol, J/mol/K, J/mol/K, J/bar.
  Array1<double> G0Liq, H0Liq, S0Liq, Cp0Liq, V0Liq;
  // By endmember row, 1..91.
  Array1<double> G0End, H0End, S0End, Cp0End, V0End;
  // O2 and S2 gas at 1 bar: the Gibbs energy the models use, and the enthalpy and entropy it is
  // made of.
  double G0O2 = 0.0, H0O2 = 0.0, S0O2 = 0.0;
  double G0S2 = 0.0, H0S2 = 0.0, S0S2 = 0.0;
  // The state of the temperature and pressures of the last call.
  double T = 0.0, Pliq = 0.0, Psolid = 0.0;
  // What the arrays were last filled for, completely: a call of Gibbs with the same tables,
  // temperature, pressures and silica slope finds them ready and returns at once (a solve asks
  // for the same state at every stage, and the fluid equation of state made that the largest
  // cost of a column iteration).  Cleared by a call that fails.
  struct Filled {
    const void* tables = nullptr;
    double T = 0.0, Pliq = 0.0, Psolid = 0.0, lowTSlope = 0.0;
  } filled;
  // The fluid equation of state's working state (its log fugacity coefficients are read by the
  // gas model).
  DuanState duan;
};

}  // namespace cx
