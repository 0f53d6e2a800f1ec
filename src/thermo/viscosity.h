// The viscosity of a silicate liquid from its oxides and temperature, by the model of Giordano,
// Russell and Dingwell (labelled in the program "Giordano et al. (2007) LPSI"):
//   log10 eta (Pa s) = -4.55 + B/(T - C),
// with B and C linear in the oxide mole percentages and a few cross terms, water included.
// The module is Viscosity_GD2007module.
#pragma once

#include "base/array.h"
#include "base/diagnostics.h"
#include "thermo/silicate_liquid.h"
#include "thermo/thermo_tables.h"

namespace cx {

// The model's B (K) and C (K) for the liquid oxides LiquidOxWork (1..15, wt %): all iron as FeO,
// oxides 1 to 13 normalized to 100 and water then put back as it came; CO2 and S do not enter.
struct ViscosityCoefficients {
  double B = 0.0, C = 0.0;
};
ViscosityCoefficients ViscosityGD2007Coefficients(const ThermoTables& tables, LiquidContext& ctx,
                                                  Diagnostics& diag,
                                                  const Array1<double>& LiquidOxWork);

// The natural log of the viscosity in poise at T (K):
//   lnVisc = (B/(T - C) - 4.55)*2.303 + 2.303,
// the last term turning Pa s into poise.  T = C raises fault 11 for the caller's trap; T below
// C is not limited.
double ViscosityGD2007(const ThermoTables& tables, LiquidContext& ctx, Diagnostics& diag,
                       const Array1<double>& LiquidOxWork, double T);

// The viscosity (poise) as the column keeps it in LiqVisc: exp(lnVisc), or lnVisc itself when
// that is 0 or below.
double storedLiquidViscosity(double lnVisc);

// log10 of the viscosity in Pa s from the model's lnVisc (poise).
double log10ViscosityPaS(double lnVisc);

}  // namespace cx
