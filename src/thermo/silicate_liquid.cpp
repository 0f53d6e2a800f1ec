#include "thermo/silicate_liquid.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/fault.h"
#include "base/trap.h"
#include "thermo/data/liquid_co2_table.h"
#include "thermo/data/liquid_interaction_table.h"
#include "thermo/data/liquid_sulfur_table.h"

namespace cx {

using thermo_data::kNumLiquidComponents;
using thermo_data::kNumOxides;

namespace {

constexpr int kN = kNumLiquidComponents;
constexpr int kWater = 13, kCO2 = 14, kFeS = 15;
constexpr double R = kLiquidR;
// 2R: water mixes on two sites.
constexpr double kTwoR = 16.6286;

// The trap of the liquid routines: they run thousands of times per node inside the minimizer,
// which reports the failure they lead to, so a fault is reported only with "Show All Errors".
template <class Body>
bool liquidTrap(Diagnostics& diag, const char* routine, Body&& body) {
  return runTrapped(diag, Subroutine{routine}, std::forward<Body>(body),
                    TrapPause::OnlyWhenPausing);
}

// An array the routine indexes unchecked must hold at least the entries 1..15.
void requireComponents(const Array1<double>& a) {
  if (a.empty() || a.lo() > 1 || a.hi() < kN)
    raiseFault(kFaultSubscript, "Subscript out of range: liquid component array " +
                                    std::to_string(a.lo()) + ".." + std::to_string(a.hi()));
}

}  // namespace

LiquidTables::LiquidTables()
    : LiqW(1, kN, 1, kN), LiqCO2Coef(1, thermo_data::kLiquidCO2Components, 1, 2), LiqSCoef(1, kN) {}

LiquidContext::LiquidContext() : LiqMu(1, kN) {}

int CheckLiquidWijSymmetry(const Array2<double>& W, Port& port) {
  int bad = 0;
  for (int i = 1; i <= kN; ++i)
    for (int j = i + 1; j <= kN; ++j)
      if (W(i, j) != W(j, i)) {
        port.showMessage(kLiquidWijBoxText);
        ++bad;
      }
  return bad;
}

void LiquidWijModule(LiquidTables& t, Port& port) {
  t.LiqW.fill(0.0);
  for (const auto& row : thermo_data::kLiquidInteractionTable)
    for (int j = row.i + 1; j <= kWater; ++j)
      t.LiqW(row.i, j) = row.w[static_cast<std::size_t>(j - row.i - 1)];
  t.LiqW(thermo_data::kLiquidWaterComponent, thermo_data::kLiquidCO2Component) =
      thermo_data::kLiquidWaterCO2Interaction;
  for (int i = 1; i <= kN - 1; ++i)
    for (int j = i + 1; j <= kN; ++j) t.LiqW(j, i) = t.LiqW(i, j);
  CheckLiquidWijSymmetry(t.LiqW, port);

  t.LiqCO2Coef.fill(0.0);
  for (const auto& r : thermo_data::kLiquidCO2Table) {
    t.LiqCO2Coef(r.component, 1) = r.a;
    t.LiqCO2Coef(r.component, 2) = r.b;
  }
  for (int i = 1; i <= kN; ++i)
    t.LiqSCoef(i) = thermo_data::kLiquidSulfurTable[static_cast<std::size_t>(i - 1)];
}

LiquidTables loadLiquidTables() {
  LiquidTables t;
  NullPort port;
  LiquidWijModule(t, port);
  return t;
}

void OxidesToMoles(const ThermoTables& tables, const Array1<double>& wt, Array1<double>& moles) {
  for (int i = 1; i <= kNumOxides; ++i) moles(i) = wt(i) / tables.OxideMW(i);
}

void NormalizeOxides(Array1<double>& wt) {
  double sum = 0.0;
  for (int i = 1; i <= kNumOxides; ++i) sum += wt(i);
  if (sum > 0.0)
    for (int i = 1; i <= kNumOxides; ++i) wt(i) *= 100.0 / sum;
}

bool MolesComponents(const ThermoTables& tables, Diagnostics& diag, const Array1<double>& m,
                     Array1<double>& c) {
  int failed = 0;
  const bool ok = liquidTrap(diag, "MolesComponents", [&] {
    // Each component takes its oxides in the order of the list; silica, fayalite and
    // wollastonite are the ones whose oxide can run out.
    c(1) = m(1) - (m(6) - 3.0 * m(15)) * 0.5 - m(7) * 0.5 - (m(8) - m(5)) * 0.5 -
           (m(9) - 3.0 * m(12)) - m(10) - 2.0 * m(11);
    if (c(1) < 0.0) {
      failed = 1;
      return;
    }
    c(2) = m(2);
    c(3) = m(3) - m(11);  // a K2O excess over Al2O3 goes through
    c(4) = m(4) + m(15);  // the oxygen of the sulfide's FeO is held as Fe2O3
    c(5) = m(5);
    c(6) = (m(6) - 3.0 * m(15)) * 0.5;
    if (c(6) < 0.0) {
      failed = 6;
      return;
    }
    c(7) = m(7);
    c(8) = (m(8) - m(5)) * 0.5;
    c(9) = m(9) - 3.0 * m(12);
    if (c(9) < 0.0) {
      failed = 9;
      return;
    }
    c(10) = m(10);
    c(11) = 2.0 * m(11);
    c(12) = m(12);
    c(13) = m(13);
    c(14) = m(14);
    c(15) = m(15);
  });
  if (!ok) return false;
  if (failed != 0) {
    diag.ErrorFlag = true;
    // No run-time error lies behind this report, so its number reads 0.
    if (diag.PauseOnError) {
      std::string msg = subroutineSuffix("MolesComponents");
      msg.insert(0, 1, '0');
      msg.append("\nOxide concentration too low to make system components: ");
      msg.append(tables.EndmemberName(failed)).append(", (");
      msg.append(tables.EndmemberFormula(failed)).append(").");
      diag.ErrorReport(msg, true);
    }
    return false;
  }
  return true;
}

void ComponentsToOxides(const ThermoTables& tables, const Array1<double>& c, Array1<double>& wt) {
  wt(1) = c(1) + c(6) + 0.5 * c(7) + c(8) + c(9) + c(10) + c(11);
  wt(2) = c(2);
  wt(3) = c(3) + 0.5 * c(11);
  wt(4) = c(4) - c(15);
  wt(5) = c(5);
  wt(6) = 2.0 * c(6) + 3.0 * c(15);
  wt(7) = c(7);
  wt(8) = 2.0 * c(8) + c(5);
  wt(9) = c(9) + 3.0 * c(12);
  wt(10) = c(10);
  wt(11) = 0.5 * c(11);
  wt(12) = c(12);
  wt(13) = c(13);
  wt(14) = c(14);
  wt(15) = c(15);
  for (int i = 1; i <= kNumOxides; ++i) wt(i) *= tables.OxideMW(i);
}

bool MoleFractions(LiquidContext& ctx, Diagnostics& diag, const Array1<double>& moles,
                   Array1<double>& x, int n) {
  bool negative = false;
  const bool ok = liquidTrap(diag, "MoleFractions", [&] {
    if (n >= 1) {
      // Both arrays must hold 1..n; past this check the loops index them unchecked.
      if (!moles.contains(1) || !moles.contains(n)) raiseFault(kFaultSubscript);
      if (!x.contains(1) || !x.contains(n)) raiseFault(kFaultSubscript);
    }
    double sum = 0.0;
    for (int i = 1; i <= n; ++i) {
      const double m = moles.unchecked(i);
      if (m < 0.0) {
        negative = true;
        return;
      }
      sum += m;
    }
    if (sum == 0.0) return;
    for (int i = 1; i <= n; ++i) x.unchecked(i) = moles.unchecked(i) / sum;
  });
  if (!ok) return false;
  if (negative) {
    if (ctx.ComputeMessages)
      ctx.box("Problem in computation!\nNegative moles in Subroutine MoleFractions");
    diag.ErrorFlag = true;
    return false;
  }
  return true;
}

bool u_Liquid(const LiquidTables& lt, const StandardState& ss, LiquidContext& ctx,
              Diagnostics& diag, int which, const Array1<double>& x, Array1<double>& mu,
              Array1<double>& S, Array1<double>& H, double T, double P) {
  return liquidTrap(diag, "u_Liquid", [&] {
    requireComponents(x);
    requireComponents(mu);
    requireComponents(S);
    requireComponents(H);
    // From here on every index lies in 1..15 of arrays proven to hold them.
    const Array2<double>& W = lt.LiqW;
    double xv[kN + 1];
    for (int i = 1; i <= kN; ++i) xv[i] = x.unchecked(i);
    const double xw = xv[kWater];

    // rowSum(i) = sum over j = 1..13 of W(i,j)*x(j) for the components 1..12, and from it the
    // excess energy per mole Q = sum over i < j <= 13 of x(i)*x(j)*W(i,j):
    //   2Q = sum_i x(i)*rowSum(i) + x(13)*sum_i x(i)*W(i,13).
    double rowSum[13];
    double twoQ = 0.0, waterPairs = 0.0;
    for (int i = 1; i <= 12; ++i) {
      double s = 0.0;
      for (int j = 1; j <= kWater; ++j) s += W.unchecked(i, j) * xv[j];
      rowSum[i] = s;
      twoQ += xv[i] * s;
      waterPairs += xv[i] * W.unchecked(i, kWater);
    }
    const double Q = 0.5 * (twoQ + xw * waterPairs);

    // The anhydrous part of the liquid: every component but water mixes on the sites water
    // leaves.  Its logarithm is needed only when a component present calls for it.
    const double dry = 1.0 - xw;
    const double lnDry = dry > 0.0 ? std::log(dry) : std::numeric_limits<double>::quiet_NaN();
    auto needLnDry = [&] {
      if (!(dry > 0.0)) raiseFault(kFaultInvalidCall, "Invalid procedure call or argument (log)");
      return lnDry;
    };
    const double RT = R * T;

    // The regular-solution components: all twelve, or `which` alone when it is one of them.
    const int first = which == 0 ? 1 : std::max(which, 1);
    const int last = which == 0 ? 12 : std::min(which, 12);
    for (int i = first; i <= last; ++i) {
      const double xi = xv[i];
      if (!(xi > 0.0)) {
        mu.unchecked(i) = S.unchecked(i) = H.unchecked(i) = 0.0;
        continue;
      }
      const double lnx = std::log(xi);
      const double ld = needLnDry();
      const double A = ss.G0Liq.unchecked(i) + RT * lnx + rowSum[i] - Q + RT * ld;
      const double Si = ss.S0Liq.unchecked(i) - R * lnx - R * ld;
      mu.unchecked(i) = A;
      S.unchecked(i) = Si;
      H.unchecked(i) = Si * T + A;
    }

    if (which == 0 || which == kWater) {
      if (!(xw > 0.0)) {
        mu.unchecked(kWater) = S.unchecked(kWater) = H.unchecked(kWater) = 0.0;
      } else {
        const double lnx = std::log(xw);
        double A = ss.G0Liq.unchecked(kWater) + kTwoR * T * lnx;
        const double Sw = ss.S0Liq.unchecked(kWater) - kTwoR * lnx;
        for (int j = 1; j <= kN; ++j) A += W.unchecked(kWater, j) * xv[j];
        mu.unchecked(kWater) = A - Q;
        S.unchecked(kWater) = Sw;
        // Intended: the enthalpy leaves out the -Q that the chemical potential carries.
        H.unchecked(kWater) = Sw * T + A;
      }
    }

    if (which == 0 || which == kCO2) {
      const double xc = xv[kCO2];
      if (!(xc > 0.0)) {
        mu.unchecked(kCO2) = S.unchecked(kCO2) = H.unchecked(kCO2) = 0.0;
      } else {
        // CO2 dissolves into the volatile-free melt; y are the shares of that melt.
        const double D = 1.0 - xw - xc;
        const double lnx = std::log(xc);
        const double A = ss.G0Liq.unchecked(kCO2) + RT * lnx;
        const double Sc = ss.S0Liq.unchecked(kCO2) - R * lnx;
        double yW13 = 0.0, ya = 0.0, yb = 0.0, yWy2 = 0.0;
        for (int i = 1; i <= 12; ++i) {
          const double y = checkedDiv(xv[i], D);
          yW13 += y * W.unchecked(i, kWater);
          ya += y * lt.LiqCO2Coef.unchecked(i, 1);
          yb += y * lt.LiqCO2Coef.unchecked(i, 2);
          // sum over j = 1..12 of W(i,j)*y(j), from the row sum over 1..13.
          yWy2 += y * checkedDiv(rowSum[i] - W.unchecked(i, kWater) * xw, D);
        }
        double E = (1.0 - xc) * xw * W.unchecked(kWater, kCO2);
        E -= D * xw * yW13;
        E += D * (1.0 - xc) * (ya + checkedLog(P) * yb);
        E -= D * D * 0.5 * yWy2;
        mu.unchecked(kCO2) = E + A;
        S.unchecked(kCO2) = Sc;
        // Intended: the enthalpy leaves out the solution term E.
        H.unchecked(kCO2) = Sc * T + A;
      }
    }

    if (which == 0 || which == kFeS) {
      const double xs = xv[kFeS];
      if (!(xs > 0.0)) {
        mu.unchecked(kFeS) = S.unchecked(kFeS) = H.unchecked(kFeS) = 0.0;
      } else {
        const double lnx = std::log(xs);
        const double ld = needLnDry();
        double E = 0.0;
        for (int j = 1; j <= kN; ++j) E += xv[j] * lt.LiqSCoef.unchecked(j);
        E = E - Q + RT * ld;
        const double A = ss.G0Liq.unchecked(kFeS) + RT * lnx + E;
        const double Ss = ss.S0Liq.unchecked(kFeS) - R * lnx - R * ld;
        mu.unchecked(kFeS) = A;
        S.unchecked(kFeS) = Ss;
        H.unchecked(kFeS) = Ss * T + A;
      }
    }

    if (which == 0)
      for (int i = 1; i <= kN; ++i) ctx.LiqMu.unchecked(i) = mu.unchecked(i);
  });
}

bool G_liquid(const LiquidContext& ctx, Diagnostics& diag, const Array1<double>& x, double& G) {
  return liquidTrap(diag, "G_liquid", [&] {
    double sum = 0.0;
    for (int i = 1; i <= kN; ++i) sum += x(i) * ctx.LiqMu(i);
    G += sum;
  });
}

double liquidVolume(const StandardState& ss, const Array1<double>& compMoles) {
  double v = 0.0;
  for (int i = 1; i <= kN; ++i) v += compMoles(i) * ss.V0Liq(i);
  return v;
}

}  // namespace cx
