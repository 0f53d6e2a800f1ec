#include "thermo/fluid_eos.h"

#include <cmath>
#include <string>

#include "base/fault.h"

namespace cx {

using thermo_data::FluidSpeciesRow;
using thermo_data::kFluidSpeciesTable;
using thermo_data::kNumFluidSpecies;

DuanState::DuanState(double eps)
    : machEps(eps),
      x(1, kNumFluidSpecies),
      DuanLnPhi(1, kNumFluidSpecies),
      lnPhiWork(1, kNumFluidSpecies) {}

void DuanIdealGas(const FluidSpeciesRow& s, double T, double& H, double& S, double& Cp, double& G) {
  constexpr double Tr = 298.15;
  // 88893.4225 = Tr^2, 26503573.9184 = Tr^3, 17.2670205884 = Tr^0.5.  The factor 0.3333 is
  // written so, not 1/3; d and f are zero for every species.
  H = s.Hf + s.a * (T - Tr) + (s.b / 2.0) * (T * T - 88893.4225) - s.c * (1.0 / T - 1.0 / Tr) +
      0.3333 * s.d * (T * T * T - 26503573.9184) -
      (s.e / 2.0) * (1.0 / (T * T) - 1.0 / 88893.4225) +
      2.0 * s.f * (std::sqrt(T) - 17.2670205884) + s.g * checkedLog(T / Tr);
  S = s.S0 + s.a * std::log(T / Tr) + s.b * (T - Tr) -
      (s.c / 2.0) * (1.0 / (T * T) - 1.0 / 88893.4225) + (s.d / 2.0) * (T * T - 88893.4225) -
      0.3333 * s.e * (1.0 / (T * T * T) - 1.0 / 26503573.9184) -
      2.0 * s.f * (1.0 / std::sqrt(T) - 1.0 / 17.2670205884) - s.g * (1.0 / T - 1.0 / Tr);
  Cp = s.a + s.b * T + s.c / (T * T) + s.d * T * T + s.e / (T * T * T) + s.f / std::sqrt(T) +
       s.g / T;
  G = H - T * S;
}

double DuanZ(double Tm, double Vm) {
  const double T2 = Tm * Tm, T3 = T2 * Tm;
  const double B = 0.0375504388 - 10873.0273 / T2 + 1109648.61 / T3;
  const double C = 0.000541589372 + 112.094559 / T2 - 5921.91393 / T3;
  const double D = 4.37200027e-6 + 0.495790731 / T2 - 164.902948 / T3;
  const double E = -7.07442825e-8 + 0.00965727297 / T2 + 0.487945175 / T3;
  // Intended: the exponential term carries the third power of the volume.
  const double F = 16225.7402 / (Vm * Vm * Vm * T3);
  const double V2 = Vm * Vm, V4 = V2 * V2, V5 = V4 * Vm;
  return 1.0 + B / Vm + C / V2 + D / V4 + E / V5 +
         F * (1.0 + 0.00899 / V2) * std::exp(-0.00899 / V2);
}

void DuanMixture(const ThermoTables& t, DuanState& st, double T, double P, const Array1<double>& x,
                 double& V, Array1<double>& lnPhi, double& resid) {
  const auto& eps = t.DuanEps;
  const auto& sig = t.DuanSigma;
  double Em = 0.0, Sm = 0.0;
  for (int i = 1; i <= kNumFluidSpecies; ++i)
    for (int j = 1; j <= kNumFluidSpecies; ++j) {
      Em += std::sqrt(eps(i) * eps(j)) * x(i) * x(j) * t.DuanK1(j, i);
      Sm += x(i) * x(j) * t.DuanK2(j, i) * (sig(i) + sig(j)) / 2.0;
    }
  // The reduced state of the reference fluid.
  const double Pm = checkedDiv(3.0626 * Sm * Sm * Sm * P, Em);
  const double Tm = checkedDiv(154.0 * T, Em);
  const double idealFactor = checkedDiv(Tm * kDuanRbar, Pm);

  // The reduced volume: the root of Vm = (Tm R/Pm) Z(Vm), found as the minimum of the
  // absolute residual between the bounds 0 and 1000, from 2.
  const auto residual = [&](double vm) { return std::fabs(vm - idealFactor * DuanZ(Tm, vm)); };
  BrentRecord rec;
  int flag = 0;
  double Vm = 2.0, fmin = 0.0;
  double fx = residual(Vm);
  BrentMinimization(rec, st.machEps, 0.0, Vm, 1000.0, fx, kDuanVolumeTol, Vm, fmin, flag);
  while (flag == 1) {
    fx = residual(Vm);
    BrentMinimization(rec, st.machEps, 0.0, Vm, 1000.0, fx, kDuanVolumeTol, Vm, fmin, flag);
  }
  st.lastSearchFlag = flag;
  if (flag == -2 && !st.trapErrors)
    raiseFault(kFaultInvalidCall,
               "The volume search of the fluid equation of state failed at T = " +
                   std::to_string(T) + " K, P = " + std::to_string(P) + " bar");

  // The compressibility of the volume found replaces the one of the search.
  const double Z = Pm * Vm / (Tm * kDuanRbar);
  const double sr = Sm / 3.691;
  V = sr * sr * sr * Vm * 100.0;

  const double q2 = 1.0 / (Tm * Tm), q3 = q2 / Tm, q4 = q3 / Tm;
  const double V2 = Vm * Vm, V4 = V2 * V2, V5 = V4 * Vm;
  const double u = 1.0 / V2;
  const double ex = std::exp(-0.00899 * u);
  const double h = 2.0 - (0.00899 * u + 2.0) * ex;
  const double J = Z - 1.0 - checkedLog(Z) +
                   (q2 * -10873.0273 + 0.0375504388 + q3 * 1109648.61) / Vm +
                   (q2 * 112.094559 + 0.000541589372 + q3 * -5921.91393) / (2.0 * V2) +
                   (q2 * 0.495790731 + 4.37200027e-6 + q3 * -164.902948) / (4.0 * V4) +
                   (q2 * 0.00965727297 - 7.07442825e-8 + q3 * 0.487945175) / (5.0 * V5) +
                   h * (16225.7402 / 0.001083178744) * q3;
  const double M = (q4 * 3328945.83 + q3 * -21746.0546) / Vm +
                   (q4 * -17765.74179 + q3 * 224.189118) / (2.0 * V2) +
                   (q4 * -494.708844 + q3 * 0.991581462) / (4.0 * V4) +
                   (q3 * 0.01931454594 + q4 * 1.463835525) / (5.0 * V5) +
                   h * (48677.2206 / 0.01798) * q4;

  for (int i = 1; i <= kNumFluidSpecies; ++i) {
    double L1 = 0.0, L2 = 0.0;
    for (int j = 1; j <= kNumFluidSpecies; ++j) {
      L1 += std::sqrt(eps(j) * eps(i)) * t.DuanK1(i, j) * x(j);
      L2 += t.DuanK2(i, j) * x(j) * (sig(j) + sig(i)) / 2.0;
    }
    lnPhi(i) =
        J - checkedDiv(2.0 * Tm, Em) * (Em - L1) * M + (1.0 - Z) * checkedDiv(6.0, Sm) * (Sm - L2);
  }
  // The residual enthalpy, in bar dm3 as it stands.
  resid = (Em / 154.0) * kDuanRbar * T * (Z - 1.0) + T * T * (Em / 154.0) * kDuanRbar * M;
}

void DuanDissolved(const ThermoTables& t, DuanState& st, double T, double P, int n,
                   const Array1<double>& x, Array1<double>& lnPhi, double& resid, double V0,
                   double dVdT, double dVdP, double& V, double& G) {
  const double V1 = V0 + dVdT * (T - 1673.0);
  const double Q = 1.5 * checkedDiv(V1, dVdP);
  // The reference volume of a third-order Birch-Murnaghan form with K' = 3.5:
  // ((-24.5 - 2*sqrt(9*3.5^2 - 294 + 241))/(-27.5))^1.5.
  constexpr double kBirchRatio = 1.7301438143373165;
  const double Vr = V1 / kBirchRatio;
  V = Vr;

  double Hi = 0.0, Si = 0.0, Cpi = 0.0, Gi = 0.0;
  DuanIdealGas(st.species, T, Hi, Si, Cpi, Gi);
  double Vmix = 0.0;
  DuanMixture(t, st, T, 1.0, x, Vmix, lnPhi, resid);
  V = Vmix;
  const double Gr = Gi + kDuanR * T * lnPhi(n);  // the pure species at 1 bar

  if (n == 2) {
    const double Pa = P * 100000.0;  // Pa
    const double Pa2 = Pa * Pa, Pa3 = Pa2 * Pa, Pa4 = Pa3 * Pa;
    // Intended: the third term takes Pa^2 here where B below takes Pa^3.
    const double A = 0.00013089 * Pa + 1.29955e-13 * Pa2 + (-4.4169e-24 / 3.0) * Pa2 +
                     2.81375e-34 * Pa4 - 3.1556e-7 * Pa * T - 1.43525e-16 * Pa2 * T +
                     (9.8291e-28 / 3.0) * Pa3 * T + 2.4984e-10 * Pa * T * T +
                     4.14675e-20 * Pa2 * T * T - 5.9574e-14 * Pa * T * T * T;
    const double B =
        -(0.00013089 * Pa + 1.29955e-13 * Pa2 + (-4.4169e-24 / 3.0) * Pa3 + 2.81375e-34 * Pa4) *
            (1.0 / T - 1.0 / 1400.0) +
        (-2.4984e-10 * Pa - 4.14675e-20 * Pa2) * (T - 1400.0) +
        5.9574e-14 * Pa * (T * T - 1400.0 * 1400.0);
    G = Gr + A - B * T + kDuanR * T * 12.6489;
  } else {
    // The Birch-Murnaghan excess of the other species is never asked for; G stays Gr.
    const double excess = Q * 1.125 * V1 * std::pow(std::pow(V1 / Vr, 2.0 / 3.0) - 1.0, 2.0);
    (void)excess;
    G = Gr;
  }
  const double Pa = P * 100000.0;
  V = 100000.0 * (0.00013089 - 3.1556e-7 * T + 2.4984e-10 * T * T - 5.9574e-14 * T * T * T +
                  (2.5991e-13 - 2.8705e-16 * T + 8.2935e-20 * T * T) * Pa +
                  (-4.4169e-24 + 9.8291e-28 * T) * Pa * Pa + 1.1255e-33 * Pa * Pa * Pa);
}

void DuanSpecies(const ThermoTables& t, DuanState& st, double T, double P, std::string_view name,
                 double& V, double& H, double& S, double& Cp, double& G, bool flag) {
  // Select the constants by name; a name that is not a species keeps those of the last call,
  // with the composition all zero.
  st.x.fill(0.0);
  for (const auto& s : kFluidSpeciesTable) {
    if (s.name == name) {
      st.species = s;
      st.x(s.pos) = 1.0;
      break;
    }
  }
  const int n = st.species.no;
  Array1<double>& lnPhi = st.lnPhiWork;
  double resid = 0.0;
  if (!flag) {
    double Hi = 0.0, Si = 0.0, Cpi = 0.0, Gi = 0.0;
    DuanIdealGas(st.species, T, Hi, Si, Cpi, Gi);
    DuanMixture(t, st, T, P, st.x, V, lnPhi, resid);
    G = (checkedLog(P) + lnPhi(n)) * kDuanR * T + Gi;
    st.DuanLnPhi(n) = lnPhi(n);
    H = Hi + resid;
    S = -(G - H) / T;
    // Intended: a shortcut for the residual heat capacity, kept as it is (infinite at 298.15 K).
    Cp = Cpi - checkedDiv(resid, T - 298.15);
  } else {
    double Gm = 0.0, Gp = 0.0;
    DuanDissolved(t, st, T - 0.1, P, n, st.x, lnPhi, resid, st.species.V0, st.species.dVdT,
                  st.species.dVdP, V, Gm);
    DuanDissolved(t, st, T + 0.1, P, n, st.x, lnPhi, resid, st.species.V0, st.species.dVdT,
                  st.species.dVdP, V, Gp);
    DuanDissolved(t, st, T, P, n, st.x, lnPhi, resid, st.species.V0, st.species.dVdT,
                  st.species.dVdP, V, G);
    S = -(Gp - Gm) / 0.2;
    Cp = -T * (Gp + Gm - 2.0 * G) / 0.01;
    H = S * T + G;
  }
}

}  // namespace cx
