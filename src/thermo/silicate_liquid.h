// The silicate liquid: a regular solution of 15 components (SiO2, TiO2, Al2O3, Fe2O3, MgCr2O4,
// Fe2SiO4, MnSi.5O2, Mg2SiO4, CaSiO3, Na2SiO3, KAlSiO4, Ca3(PO4)2, H2O, CO2, FeS) with its own
// treatment of water (two-site mixing), CO2 (solubility terms in the volatile-free melt) and
// sulfide.  The routines turn wt % oxides into moles of components and back, components into
// mole fractions, and give each component's chemical potential, partial entropy and partial
// enthalpy.  The usual order of calls:
//   NormalizeOxides, OxidesToMoles, MolesComponents, MoleFractions, Gibbs, u_Liquid, G_liquid.
//
// All arrays are 1-based and indexed by oxide or by liquid component (1..15).
#pragma once

#include <string>

#include "base/array.h"
#include "base/diagnostics.h"
#include "base/port.h"
#include "thermo/constants.h"
#include "thermo/standard_state.h"
#include "thermo/thermo_tables.h"

namespace cx {

inline constexpr double kLiquidR = kGasConstant;

// The constants of the liquid's mixing model, built by LiquidWijModule and read-only after.
struct LiquidTables {
  LiquidTables();
  Array2<double> LiqW;        // (1..15, 1..15) interaction parameters, J/mol, symmetric
  Array2<double> LiqCO2Coef;  // (1..12, 1..2) the CO2 terms a and b, J/mol
  Array1<double> LiqSCoef;    // (1..15) the sulfide terms, J/mol
};

// The texts of the loader's box, shown once for every pair that is not symmetric.
inline constexpr const char* kLiquidWijBoxTitle = "Subroutine ThermodynamicData";
inline constexpr const char* kLiquidWijBoxText = "Problem loading liquid interaction parameters!\n";

// Writes the upper triangle of the interaction table, mirrors it, loads the CO2 and sulfur terms,
// and checks the symmetry (CheckLiquidWijSymmetry).  Loading goes on whatever the check finds.
void LiquidWijModule(LiquidTables& tables, Port& port);
// For every pair i < j with W(i,j) != W(j,i) shows the loader's box; returns the number of
// such pairs.
int CheckLiquidWijSymmetry(const Array2<double>& W, Port& port);
// LiquidWijModule into a fresh object, boxes dropped (the built-in table is symmetric).
LiquidTables loadLiquidTables();

// The working state of the liquid routines that carries from one call to the next.  One per
// thread of work, owned by the solver context (or by a single-point command).
struct LiquidContext {
  LiquidContext();
  // The chemical potentials of the last u_Liquid call over all components (which = 0);
  // G_liquid reads them.
  Array1<double> LiqMu;
  // Debugging boxes of MoleFractions and FeRedox: off at start and in normal use.
  bool ComputeMessages = false;
  // Where message boxes go; none means they are dropped.
  Port* port = nullptr;

  void box(const std::string& text) const {
    if (port != nullptr) port->showMessage(text);
  }
};

// moles(i) = wt(i)/OxideMW(i), i = 1..15.
void OxidesToMoles(const ThermoTables& tables, const Array1<double>& wt, Array1<double>& moles);

// Scales the 15 entries to a sum of 100 when their sum is above 0; otherwise leaves them.
void NormalizeOxides(Array1<double>& wt);

// Oxide moles (1..15) to moles of liquid components (1..15).  The components are formed in the
// order c1, c2..c6, c7..c9, c10..c15; c1 (SiO2), c6 (Fe2SiO4) and c9 (CaSiO3) must not be
// negative (other components may be: a K2O excess over Al2O3 passes).  A negative one stops the
// routine after writing it: the later components are left as they were, ErrorFlag is set and,
// with PauseOnError, the failure is reported naming the component.  Returns false on failure.
bool MolesComponents(const ThermoTables& tables, Diagnostics& diag,
                     const Array1<double>& oxideMoles, Array1<double>& compMoles);

// The inverse of MolesComponents in mass: wt(i) = oxide moles * OxideMW(i) (not normalized).
void ComponentsToOxides(const ThermoTables& tables, const Array1<double>& compMoles,
                        Array1<double>& wt);

// x(i) = moles(i)/sum over the first n entries.  A negative entry sets ErrorFlag (with a box
// when ComputeMessages is on) and leaves x as it was; a zero sum leaves x as it was.  Returns
// false on a negative entry or a fault.
bool MoleFractions(LiquidContext& ctx, Diagnostics& diag, const Array1<double>& moles,
                   Array1<double>& x, int n);

// Chemical potential mu (J/mol), partial entropy S (J/mol/K) and partial enthalpy H (J/mol) of
// the liquid components at the mole fractions x, T (K), P (bar), on the standard states of `ss`
// (Gibbs at the same T and P).  which = 0 gives all 15 components, 1..15 that component alone;
// the other entries of mu, S, H are left as they were.  A component with x <= 0 gets zeros.
// A fault (x(13) + x(14) = 1 with CO2 present, P <= 0 with CO2 present, arrays shorter than
// 1..15) sets ErrorFlag and is reported with PauseOnError; the result is then false.
bool u_Liquid(const LiquidTables& lt, const StandardState& ss, LiquidContext& ctx,
              Diagnostics& diag, int which, const Array1<double>& x, Array1<double>& mu,
              Array1<double>& S, Array1<double>& H, double T, double P);

// G += sum of x(i)*LiqMu(i), i = 1..15.
bool G_liquid(const LiquidContext& ctx, Diagnostics& diag, const Array1<double>& x, double& G);

// The volume (J/bar) of the given moles of liquid components on the standard-state volumes.
double liquidVolume(const StandardState& ss, const Array1<double>& compMoles);

}  // namespace cx
