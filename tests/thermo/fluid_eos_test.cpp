// The fluid equation of state against published water volumes (IAPWS-95), the ideal-gas limit,
// the JANAF ideal-gas tables, an independent root of its volume equation, and its
// failure paths.
#include "thermo/fluid_eos.h"

#include <gtest/gtest.h>

#include <cmath>

#include "base/scalar_minimizer.h"

namespace cx {
namespace {

const ThermoTables& tables() {
  static const ThermoTables t = loadThermoTables();
  return t;
}

struct Fluid {
  double V, H, S, Cp, G;
};
Fluid species(DuanState& st, const char* name, double T, double P, bool dissolved = false) {
  Fluid f{};
  DuanSpecies(tables(), st, T, P, name, f.V, f.H, f.S, f.Cp, f.G, dissolved);
  return f;
}

TEST(FluidEos, WaterVolumesAgainstIapws95WhereTheFluidIsSupercriticalAndLight) {
  // Molar volumes (J/bar) from the IAPWS-95 formulation.  The equation of state keeps a cubic
  // volume in its exponential term, which makes dense water far too large (about +90 % at
  // 773 K and 1 kbar); the hot, light states stay within 2 %.
  struct Point {
    double T, P, V;
  };
  const Point light[] = {{1273.15, 1000.0, 10.2507}, {1073.15, 500.0, 16.3443}};
  DuanState st(MachEps());
  for (const Point& p : light) {
    const Fluid f = species(st, "H2O", p.T, p.P);
    EXPECT_EQ(st.lastSearchFlag, -1);
    EXPECT_NEAR(f.V / p.V, 1.0, 0.02) << p.T << " K " << p.P << " bar";
  }
  const Fluid dense = species(st, "H2O", 773.15, 1000.0);
  EXPECT_GT(dense.V / 3.4102, 1.5);  // the cubic term, kept as it is
}

TEST(FluidEos, IdealGasLimitAtOneBar) {
  DuanState st(MachEps());
  for (const char* name : {"H2O", "CO2", "H2S", "SO2", "CO", "CH4"}) {
    for (double T : {1000.0, 1500.0}) {
      const Fluid f = species(st, name, T, 1.0);
      // 0.08314467 bar dm3/mol/K is 8.314467 J/mol/K.
      EXPECT_NEAR(f.V / (8.314467 * T), 1.0, 1e-3) << name << " " << T;
      EXPECT_LT(std::fabs(st.DuanLnPhi(st.species.no)), 1e-3) << name;
      // At 1 bar ln P = 0: G is the ideal gas plus R*T*lnPhi.
      double Hi, Si, Cpi, Gi;
      DuanIdealGas(st.species, T, Hi, Si, Cpi, Gi);
      EXPECT_NEAR(f.G, Gi + kDuanR * T * st.DuanLnPhi(st.species.no), 1e-8 * std::fabs(Gi));
    }
  }
}

TEST(FluidEos, IdealGasAgainstJanaf) {
  // JANAF at 1000 K: H(T) - H(298.15) in J/mol, S and Cp in J/mol/K.
  struct Point {
    int species;
    double dH, S, Cp;
  };
  const Point points[] = {{0, 26000.0, 232.738, 41.268}, {1, 33397.0, 269.299, 54.308}};
  for (const Point& p : points) {
    const auto& s = thermo_data::kFluidSpeciesTable[static_cast<std::size_t>(p.species)];
    double H, S, Cp, G;
    DuanIdealGas(s, 1000.0, H, S, Cp, G);
    EXPECT_NEAR(H - s.Hf, p.dH, 60.0) << s.name;
    EXPECT_NEAR(S, p.S, 0.25) << s.name;
    EXPECT_NEAR(Cp, p.Cp, 0.15) << s.name;
    EXPECT_NEAR(G, H - 1000.0 * S, 1e-6);
  }
}

// The compressibility of the volume equation, written out a second time here.
double writtenZ(double Tm, double Vm) {
  const double T3 = Tm * Tm * Tm;
  const double B = 0.0375504388 - 10873.0273 / (Tm * Tm) + 1109648.61 / T3;
  const double C = 0.000541589372 + 112.094559 / (Tm * Tm) - 5921.91393 / T3;
  const double D = 4.37200027e-6 + 0.495790731 / (Tm * Tm) - 164.902948 / T3;
  const double E = -7.07442825e-8 + 0.00965727297 / (Tm * Tm) + 0.487945175 / T3;
  const double F = 16225.7402 / (std::pow(Vm, 3) * T3);
  return 1 + B / Vm + C / std::pow(Vm, 2) + D / std::pow(Vm, 4) + E / std::pow(Vm, 5) +
         F * (1 + 0.00899 / (Vm * Vm)) * std::exp(-0.00899 / (Vm * Vm));
}

TEST(FluidEos, VolumeSearchFindsTheRootOfItsEquation) {
  // A second method: bisection on Vm - (Tm R/Pm) Z(Vm) for pure water and pure CH4.
  struct Case {
    const char* name;
    double eps, sigma;
  };
  const Case cases[] = {{"H2O", 510.0, 2.88}, {"CH4", 154.0, 3.691}};
  DuanState st(MachEps());
  for (const Case& c : cases) {
    for (double T : {900.0, 1300.0, 1700.0}) {
      for (double P : {1.0, 1000.0, 5000.0, 10000.0}) {
        const double Pm = 3.0626 * std::pow(c.sigma, 3) * P / c.eps, Tm = 154.0 * T / c.eps;
        const double k = Tm * 0.08314467 / Pm;
        double lo = 0.01, hi = 1000.0;
        for (int i = 0; i < 200; ++i) {
          const double mid = 0.5 * (lo + hi);
          ((mid - k * writtenZ(Tm, mid)) < 0 ? lo : hi) = mid;
        }
        const double V = std::pow(c.sigma / 3.691, 3) * lo * 100.0;
        const Fluid f = species(st, c.name, T, P);
        EXPECT_NEAR(f.V / V, 1.0, 1e-6) << c.name << " " << T << " K " << P << " bar";
      }
    }
  }
}

TEST(FluidEos, FailurePaths) {
  DuanState st(MachEps());
  // Nothing selected yet and an unknown name: the composition is all zero, Em = 0.
  try {
    (void)species(st, "N2", 1200.0, 1000.0);
    ADD_FAILURE() << "unknown species accepted";
  } catch (const Fault& f) {
    EXPECT_EQ(f.number(), kFaultDivisionByZero);
  }
  // A known species first: an unknown name keeps its constants but still has x = 0.
  (void)species(st, "CO2", 1200.0, 1000.0);
  EXPECT_EQ(st.species.no, 2);
  EXPECT_THROW((void)species(st, "XX", 1200.0, 1000.0), Fault);
  EXPECT_EQ(st.species.no, 2);
  // The Cp shortcut divides by T - 298.15.
  try {
    (void)species(st, "H2O", 298.15, 1.0);
    ADD_FAILURE() << "no fault at 298.15 K";
  } catch (const Fault& f) {
    EXPECT_EQ(f.number(), kFaultDivisionByZero);
  }
}

TEST(FluidEos, PureCo2IsReadAtItsNumberWithItsPositionsConstants) {
  DuanState st(MachEps());
  (void)species(st, "CO2", 1400.0, 5000.0);
  EXPECT_EQ(st.x(4), 1.0);  // position 4 holds CO2
  // With x at position 4, the log fugacity coefficient read at number 2 differs from the one
  // at position 4 (the interaction K1(2,4) = 1 and eps(2) != eps(4)); CO2 takes number 2.
  Array1<double> lnPhi(1, 6);
  double V = 0, resid = 0;
  DuanMixture(tables(), st, 1400.0, 5000.0, st.x, V, lnPhi, resid);
  EXPECT_NE(lnPhi(2), lnPhi(4));
  EXPECT_EQ(st.DuanLnPhi(2), lnPhi(2));
}

TEST(FluidEos, DissolvedCo2ByDifferences) {
  DuanState st(MachEps());
  const double T = 1473.15, P = 2000.0;
  const Fluid f = species(st, "CO2", T, P, true);
  double Vm, Gm, Gp, G, resid;
  Array1<double> lnPhi(1, 6);
  DuanDissolved(tables(), st, T - 0.1, P, 2, st.x, lnPhi, resid, 2.328, 0.001779, -6e-5, Vm, Gm);
  DuanDissolved(tables(), st, T + 0.1, P, 2, st.x, lnPhi, resid, 2.328, 0.001779, -6e-5, Vm, Gp);
  DuanDissolved(tables(), st, T, P, 2, st.x, lnPhi, resid, 2.328, 0.001779, -6e-5, Vm, G);
  EXPECT_DOUBLE_EQ(f.G, G);
  EXPECT_NEAR(f.S, -(Gp - Gm) / 0.2, 1e-9 * std::fabs(f.S));
  EXPECT_NEAR(f.H, f.S * T + f.G, 1e-9 * std::fabs(f.H));
  // The volume polynomial at 1473.15 K and 2 kbar (Pa = 2e8), evaluated by hand.
  const double Pa = 2e8;
  const double Vexp =
      1e5 * (0.00013089 - 3.1556e-7 * T + 2.4984e-10 * T * T - 5.9574e-14 * T * T * T +
             (2.5991e-13 - 2.8705e-16 * T + 8.2935e-20 * T * T) * Pa +
             (-4.4169e-24 + 9.8291e-28 * T) * Pa * Pa + 1.1255e-33 * Pa * Pa * Pa);
  EXPECT_NEAR(f.V, Vexp, 1e-12);
  EXPECT_GT(f.V, 2.0);  // a dissolved CO2 of a few J/bar, not a gas volume
  EXPECT_LT(f.V, 4.0);
}

}  // namespace
}  // namespace cx
