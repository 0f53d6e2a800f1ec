// The fluid equation of state: Gibbs energy, enthalpy, entropy, heat capacity and volume of the
// six fluid species H2O, CO2, H2S, SO2, CO and CH4 as pure fluids at any T and P, by the
// corresponding-states equation of Duan, Moller and Weare (1992) with CH4 as the reference
// fluid, and the standard state of CO2 dissolved in silicate liquid.
//
// Units: T in K, P in bar, V in J/bar, H and G in J/mol, S and Cp in J/mol/K.
#pragma once

#include <string_view>

#include "base/array.h"
#include "base/scalar_minimizer.h"
#include "thermo/constants.h"
#include "thermo/data/fluid_constants_table.h"
#include "thermo/thermo_tables.h"

namespace cx {

inline constexpr double kDuanR = kGasConstant;   // J/mol/K
inline constexpr double kDuanRbar = 0.08314467;  // bar dm3/mol/K, inside the equation of state
inline constexpr double kDuanVolumeTol = 1e-7;   // relative tolerance of the reduced volume

// The working state of the equation of state: the constants of the species selected last (a
// name that is not a species keeps them), its composition vector, the log fugacity coefficients
// of the last pure-fluid call, and the status of the last volume search.
struct DuanState {
  explicit DuanState(double machEps = 2.220446049250313e-16);
  double machEps;
  // With errors trapped a volume search that runs out of iterations goes on with its best
  // volume; without, it stops the run.
  bool trapErrors = true;
  thermo_data::FluidSpeciesRow species{};  // all zero until a species has been selected
  Array1<double> x;                        // by position, 1..6
  Array1<double> DuanLnPhi;                // by species number, 1..6
  Array1<double> lnPhiWork;                // scratch of one call, kept to avoid allocation
  int lastSearchFlag = 0;                  // -1 converged, -2 out of iterations
};

// The entry.  flag false: the pure fluid; flag true: the species dissolved in silicate liquid
// (only CO2 is asked for so).  Writes V, H, S, Cp, G.
void DuanSpecies(const ThermoTables& tables, DuanState& state, double T, double P,
                 std::string_view name, double& V, double& H, double& S, double& Cp, double& G,
                 bool flag);

// The ideal gas of the selected species at 1 bar.
void DuanIdealGas(const thermo_data::FluidSpeciesRow& species, double T, double& H, double& S,
                  double& Cp, double& G);

// The equation of state of a mixture of composition x (by position, summing to 1): volume,
// log fugacity coefficients (by species number) and the residual enthalpy.
void DuanMixture(const ThermoTables& tables, DuanState& state, double T, double P,
                 const Array1<double>& x, double& V, Array1<double>& lnPhi, double& resid);

// The species n dissolved in silicate liquid: its volume and Gibbs energy.
void DuanDissolved(const ThermoTables& tables, DuanState& state, double T, double P, int n,
                   const Array1<double>& x, Array1<double>& lnPhi, double& resid, double V0,
                   double dVdT, double dVdP, double& V, double& G);

// The compressibility factor Z of the reduced state (Tm, Pm) at the reduced volume Vm, as the
// volume search uses it.
double DuanZ(double Tm, double Vm);

}  // namespace cx
