// The liquid viscosity against the model of Giordano, Russell and Dingwell (2008), Earth Planet
// Sci Lett 271, 123-134, written out here from the coefficients of their table 1.
#include "thermo/viscosity.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>

#include "liquid_fixtures.h"

namespace cx {
namespace {

using test::Oxides;
using test::thermoTables;
using test::toArray;

// log10 of the viscosity in Pa s after Giordano et al. (2008): all iron as FeO(T), oxides in
// mole % of the whole liquid, water included, V = H2O (no fluorine).
double grd2008(const Oxides& wt, double T) {
  // Molar masses (g/mol): SiO2 TiO2 Al2O3 Fe2O3 Cr2O3 FeO MnO MgO CaO Na2O K2O P2O5 H2O.
  const double mw[13] = {60.084, 79.866, 101.961, 159.688, 151.990, 71.844, 70.937,
                         40.304, 56.077, 61.979,  94.196,  141.945, 18.015};
  double m[13], sum = 0.0;
  for (int i = 0; i < 13; ++i) m[i] = wt[static_cast<std::size_t>(i)] / mw[i];
  m[5] += 2.0 * m[3];
  m[3] = 0.0;
  for (double v : m) sum += v;
  auto x = [&](int oxide) { return 100.0 * m[oxide - 1] / sum; };
  const double Si = x(1), Ti = x(2), Al = x(3), FeT = x(6), Mn = x(7), Mg = x(8), Ca = x(9),
               Na = x(10), K = x(11), P = x(12), V = x(13);
  const double TA = Ti + Al, FM = FeT + Mn + Mg, NK = Na + K;
  const double b1 = 159.56, b2 = -173.34, b3 = 72.13, b4 = 75.69, b5 = -38.98, b6 = -84.08,
               b7 = 141.54, b11 = -2.43, b12 = -0.91, b13 = 17.62;
  const double c1 = 2.75, c2 = 15.72, c3 = 8.32, c4 = 10.2, c5 = -12.29, c6 = -99.54, c11 = 0.3;
  const double B = b1 * (Si + Ti) + b2 * Al + b3 * (FeT + Mn + P) + b4 * Mg + b5 * Ca +
                   b6 * (Na + V) + b7 * (V + std::log(1.0 + V)) + b11 * (Si + Ti) * FM +
                   b12 * (Si + TA + P) * (NK + V) + b13 * Al * NK;
  const double C = c1 * Si + c2 * TA + c3 * FM + c4 * Ca + c5 * NK + c6 * std::log(1.0 + V) +
                   c11 * (Al + FM + Ca - P) * (NK + V);
  return -4.55 + B / (T - C);
}

Oxides scaledTo100(Oxides ox, double water) {
  double dry = 0.0;
  for (int i = 0; i < 12; ++i) dry += ox[static_cast<std::size_t>(i)];
  for (int i = 0; i < 12; ++i) ox[static_cast<std::size_t>(i)] *= (100.0 - water) / dry;
  ox[12] = water;
  ox[13] = ox[14] = 0.0;
  return ox;
}

TEST(Viscosity, AgreesWithGiordanoRussellDingwell2008) {
  // Compositions that sum to 100 with their water, as the published model reads them.
  const Oxides basalt = {50.6, 1.6, 15.2, 0.0, 0.0, 10.2, 0.18, 7.7, 11.3, 2.7, 0.15, 0.17};
  const Oxides rhyolite = {76.5, 0.08, 12.6, 0.0, 0.0, 0.9, 0.05, 0.05, 0.5, 4.0, 4.8, 0.02};
  const Oxides andesite = test::kAndesite;  // with Fe2O3, which both count as FeO
  struct Case {
    const char* what;
    Oxides ox;
    double TC;
  };
  const Case cases[] = {
      {"dry basalt", scaledTo100(basalt, 0.0), 1200.0},
      {"dry basalt", scaledTo100(basalt, 0.0), 1100.0},
      {"wet basalt", scaledTo100(basalt, 3.0), 1100.0},
      {"wet basalt", scaledTo100(basalt, 1.0), 1000.0},
      {"dry rhyolite", scaledTo100(rhyolite, 0.0), 900.0},
      {"wet rhyolite", scaledTo100(rhyolite, 5.0), 800.0},
      {"wet rhyolite", scaledTo100(rhyolite, 0.5), 1000.0},
      {"andesite", scaledTo100(andesite, 2.0), 1050.0},
  };
  for (const Case& k : cases) {
    LiquidContext ctx;
    RecordingDiagnostics diag;
    const double T = k.TC + 273.15;
    const double lnVisc = ViscosityGD2007(thermoTables(), ctx, diag, toArray(k.ox), T);
    // The program's value is in poise with ln 10 written 2.303; log10 in Pa s is lnVisc/2.303 - 1.
    const double program = log10ViscosityPaS(lnVisc);
    EXPECT_NEAR(lnVisc / std::log(10.0) - 1.0, program, 2e-4 * std::fabs(program) + 1e-3);
    std::printf("  %-13s %6.0f C: log10 viscosity %7.3f Pa s, published model %7.3f\n", k.what,
                k.TC, program, grd2008(k.ox, T));
    EXPECT_NEAR(program, grd2008(k.ox, T), 0.05) << k.what << " at " << k.TC << " C";
    EXPECT_FALSE(diag.ErrorFlag);
  }
  // A dry rhyolite at 800 C is near 10^10.7 Pa s.
  LiquidContext ctx;
  RecordingDiagnostics diag;
  const double dry = log10ViscosityPaS(
      ViscosityGD2007(thermoTables(), ctx, diag, toArray(scaledTo100(rhyolite, 0.0)), 1073.15));
  std::printf("  dry rhyolite at 800 C: log10 viscosity %.3f Pa s (published model %.3f)\n", dry,
              grd2008(scaledTo100(rhyolite, 0.0), 1073.15));
  EXPECT_NEAR(dry, 10.7, 0.3);
}

TEST(Viscosity, InputsAsTheModelReadsThem) {
  const ThermoTables& t = thermoTables();
  LiquidContext ctx;
  RecordingDiagnostics diag;
  const double T = 1423.15;
  Array1<double> base = toArray(test::kMorb);
  base(13) = 1.5;
  const double ref = ViscosityGD2007(t, ctx, diag, base, T);
  // CO2 and sulfur do not enter.
  Array1<double> volatile_ = base;
  volatile_(14) = 2.0;
  volatile_(15) = 0.5;
  EXPECT_EQ(ViscosityGD2007(t, ctx, diag, volatile_, T), ref);
  // The anhydrous oxides are normalized; water is taken as it stands.
  Array1<double> doubled = base;
  for (int i = 1; i <= 12; ++i) doubled(i) *= 2.0;
  const ViscosityCoefficients a = ViscosityGD2007Coefficients(t, ctx, diag, base);
  const ViscosityCoefficients b = ViscosityGD2007Coefficients(t, ctx, diag, doubled);
  EXPECT_NE(a.B, b.B);  // the water's share moves when the rest is scaled before normalizing
  Array1<double> wet = base, wetter = base;
  wetter(13) = 3.0;
  EXPECT_GT(ViscosityGD2007Coefficients(t, ctx, diag, wet).C,
            ViscosityGD2007Coefficients(t, ctx, diag, wetter).C);
  EXPECT_GT(ViscosityGD2007(t, ctx, diag, wet, T), ViscosityGD2007(t, ctx, diag, wetter, T));
  // Fe2O3 counts as 0.9 of its mass in FeO.
  Array1<double> ferric = base, ferrous = base;
  ferric(4) = 2.0;
  ferric(6) = 7.0;
  ferrous(4) = 0.0;
  ferrous(6) = 7.0 + 0.9 * 2.0;
  EXPECT_DOUBLE_EQ(ViscosityGD2007(t, ctx, diag, ferric, T),
                   ViscosityGD2007(t, ctx, diag, ferrous, T));
  // The column keeps exp(lnVisc) in poise, or the result itself at 0 or below.
  EXPECT_DOUBLE_EQ(storedLiquidViscosity(ref), std::exp(ref));
  EXPECT_EQ(storedLiquidViscosity(-0.5), -0.5);
  EXPECT_EQ(storedLiquidViscosity(0.0), 0.0);
  // At T = C the division by zero goes to the caller's trap.
  const ViscosityCoefficients k = ViscosityGD2007Coefficients(t, ctx, diag, base);
  try {
    ViscosityGD2007(t, ctx, diag, base, k.C);
    ADD_FAILURE() << "no fault at T = C";
  } catch (const Fault& f) {
    EXPECT_EQ(f.number(), kFaultDivisionByZero);
  }
  // Below C no limit is applied: the ratio goes negative.
  EXPECT_LT(log10ViscosityPaS(ViscosityGD2007(t, ctx, diag, base, k.C - 10.0)), -4.55);
  EXPECT_FALSE(diag.ErrorFlag);
  // A negative oxide is the mole fractions' failure: ErrorFlag, and no composition enters.
  Array1<double> negative = base;
  negative(8) = -1.0;
  const ViscosityCoefficients none = ViscosityGD2007Coefficients(t, ctx, diag, negative);
  EXPECT_TRUE(diag.ErrorFlag);
  EXPECT_EQ(none.B, 0.0);
  EXPECT_EQ(none.C, 0.0);
}

}  // namespace
}  // namespace cx
