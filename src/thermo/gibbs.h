// The endmember free energy: the standard-state properties of every liquid component and every
// endmember row at one temperature and pressure.
#pragma once

#include "base/diagnostics.h"
#include "thermo/constants.h"
#include "thermo/standard_state.h"
#include "thermo/thermo_tables.h"

namespace cx {

inline constexpr double kGibbsR = kGasConstant;
inline constexpr double kTr = 298.15;  // K, the reference temperature

// Fills `ss` for the temperature T (K), the pressure of the liquid Pliq and of the solids Psolid
// (bar).  LiqSiO2LowTSlope (J/mol/K, read from the setup) raises the free energy of liquid SiO2
// below 1173.15 K.  A run-time fault is reported as "<n> error in subroutine Gibbs." and leaves
// the arrays as far as they came; the result is then false.
bool Gibbs(const ThermoTables& tables, StandardState& ss, Diagnostics& diag, double T, double Pliq,
           double Psolid, double LiqSiO2LowTSlope = 0.0);

// The liquid components' standard states alone (G0Liq, H0Liq, S0Liq, Cp0Liq, V0Liq), the same
// numbers Gibbs gives them, for a liquid evaluated at a temperature of its own (a difference
// quotient) without disturbing the whole state of a solve.  The endmember rows are left alone.
bool GibbsLiquid(const ThermoTables& tables, StandardState& ss, Diagnostics& diag, double T,
                 double Pliq, double LiqSiO2LowTSlope = 0.0);

// The silica polymorphs (rows 26, 27, 28), whose transitions move with pressure.
void SilicaModule(const ThermoTables& tables, StandardState& ss, double T, double P);

// Pyrrhotite from its table of heat-capacity stretches.  The outputs are in-out: at exactly
// 598 K no stretch applies and Cp, H and S go on from the values passed in.
void GibbsPyrrhotiteModule(double T, double P, double& V, double& Cp, double& H, double& S,
                           double& G);

struct AlbiteContribution {
  double G = 0.0, H = 0.0, S = 0.0, V = 0.0, Cp = 0.0;
};
// The disorder of albite, added to row 21.
AlbiteContribution AlbiteCorrection(double P, double T);

// The heat-capacity integrals of an endmember row from 298.15 K to X.
double Hint(const ThermoTables& tables, int row, double X);
double Sint(const ThermoTables& tables, int row, double X);

}  // namespace cx
