#include "thermo/viscosity.h"

#include <cmath>

#include "base/fault.h"

namespace cx {

using thermo_data::kNumOxides;

namespace {
// The program's rounded ln 10.
constexpr double kLn10 = 2.303;
constexpr double kA = -4.55;  // log10 of the viscosity (Pa s) at infinite temperature
}  // namespace

ViscosityCoefficients ViscosityGD2007Coefficients(const ThermoTables& tables, LiquidContext& ctx,
                                                  Diagnostics& diag,
                                                  const Array1<double>& LiquidOxWork) {
  Array1<double> w(1, kNumOxides), x(1, kNumOxides);
  for (int i = 1; i <= 13; ++i) w(i) = LiquidOxWork(i);
  // All iron as ferrous.
  w(6) += 0.9 * w(4);
  w(4) = 0.0;
  NormalizeOxides(w);
  // Water enters as it came, not normalized.
  w(13) = LiquidOxWork(13);
  // The moles take the place of the weights; a negative amount leaves x at 0 and sets ErrorFlag.
  OxidesToMoles(tables, w, w);
  MoleFractions(ctx, diag, w, x, kNumOxides);
  for (int i = 1; i <= kNumOxides; ++i) x(i) *= 100.0;  // mole %

  const double V = x(13);
  const double TA = x(2) + x(3);
  const double FM = x(6) + x(7) + x(8);
  const double NK = x(10) + x(11);
  const double lnV = checkedLog(1.0 + V);
  ViscosityCoefficients k;
  k.B = 159.6 * (x(1) + x(2)) - 173.3 * x(3) + 72.1 * (x(6) + x(7) + x(12)) + 75.7 * x(8) -
        39.0 * x(9) - 84.1 * (x(10) + V) + 141.5 * (V + lnV) - 2.43 * (x(1) + x(2)) * FM -
        0.91 * (x(1) + TA + x(12)) * (NK + V) + 17.6 * x(3) * NK;
  k.C = 2.75 * x(1) + 15.7 * TA + 8.3 * FM + 10.2 * x(9) - 12.3 * NK - 99.5 * lnV +
        0.3 * (x(3) + FM + x(9) - x(12)) * (NK + V);
  return k;
}

double ViscosityGD2007(const ThermoTables& tables, LiquidContext& ctx, Diagnostics& diag,
                       const Array1<double>& LiquidOxWork, double T) {
  const ViscosityCoefficients k = ViscosityGD2007Coefficients(tables, ctx, diag, LiquidOxWork);
  // Intended: 2.303, not ln 10, and the closing + 2.303 is the step from Pa s to poise.
  return (checkedDiv(k.B, T - k.C) + kA) * kLn10 + kLn10;
}

double storedLiquidViscosity(double lnVisc) {
  return lnVisc <= 0.0 ? lnVisc : checkedExp(lnVisc);
}

double log10ViscosityPaS(double lnVisc) {
  return lnVisc / kLn10 - 1.0;
}

}  // namespace cx
