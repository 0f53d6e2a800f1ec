#include "thermo/redox.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "base/fault.h"
#include "base/trap.h"
#include "thermo/constants.h"
#include "thermo/gibbs.h"

namespace cx {

using thermo_data::kNumOxides;

namespace {

constexpr int kAl2O3 = 3, kFe2O3 = 4, kFeO = 6, kCaO = 9, kNa2O = 10, kK2O = 11, kS = 15;
// The exponent of fO2 in the ferric-ferrous relation.
constexpr double kA = 0.196;
// ln fO2 to log10 fO2 and back, with the program's rounded ln 10.
constexpr double kLn10 = 2.303;
// 0.196 * 2.303: turns ln(XFe2O3/XFeO) - Kd into log10 fO2.
constexpr double kLogDivisor = 0.451388;
// Fe2O3 to FeO by mass, 2 FeO / Fe2O3.
constexpr double kFe2O3AsFeO = 0.8998121;

const char* const kAbsentBox =
    "No oxygen buffer specified....\n     Select a buffer from the drop-down list";
const char* const kRangeBox = "No valid T and/or P specified!";
const char* const kOxideBox =
    "Redox module: apparent error in oxide amounts...\n            Check all oxide input values!";
const char* const kNoIronBox = "Unable to calculate log f(O2) from components";

// ln fO2 of the buffer at T on the standard states of `ss` (Gibbs at T and P already done).
double bufferLnFO2(const StandardState& ss, std::string_view buffer, double T) {
  const double RT = kGasConstant * T;
  // Quartz-fayalite-magnetite on the most stable silica polymorph:
  // 3 Fe2SiO4 + O2 = 2 Fe3O4 + 3 SiO2.
  const double Gq = std::min({ss.G0End(26), ss.G0End(27), ss.G0End(28)});
  const double L = -2.0 * (1.5 * ss.G0End(6) + 0.5 * ss.G0O2 - ss.G0End(40) - 1.5 * Gq) / RT;
  if (buffer == "QFM+3") return L + 6.909;
  if (buffer == "QFM+2") return L + 4.606;
  if (buffer == "QFM+1") return L + 2.303;
  if (buffer == "Q-Fa-Mt") return L;
  if (buffer == "QFM-1") return L - 2.303;
  if (buffer == "QFM-2") return L - 4.606;
  if (buffer == "QFM-3") return L - 6.909;
  // 4 Fe3O4 + O2 = 6 Fe2O3.
  if (buffer == "Hm-Mt")
    return -2.0 * (2.0 * ss.G0End(40) + 0.5 * ss.G0O2 - 3.0 * ss.G0End(4)) / RT;
  if (buffer == "Ni-NiO") return (-24930.0 / T + 9.36) * kLn10;
  if (buffer == "Fe-FeO") return (-26834.7 / T + 6.471) * kLn10;
  return L;
}

}  // namespace

double RedoxKd(const Array1<double>& X, double fe, double T, double P) {
  const double iT = checkedDiv(1.0, T);
  // Intended: the pressure term counts from T - 1, while the temperature term's reference is
  // 1673 K.
  return 11492.0 * iT - 6.675 - 2.243 * X(kAl2O3) - 1.828 * fe + 3.201 * X(kCaO) +
         5.854 * X(kNa2O) + 6.215 * X(kK2O) - 3.36 * (1.0 - 1673.0 * iT - checkedLog(T / 1673.0)) -
         0.0701 * P * iT - 1.54e-5 * (T - 1.0) * P * iT + 3.85e-7 * P * P * iT;
}

bool FeRedox(const ThermoTables& tables, StandardState& ss, LiquidContext& ctx, Diagnostics& diag,
             double T, double P, std::string_view buffer, Array1<double>& wt, double& logfO2) {
  bool done = false;
  const bool ok = runTrapped(diag, " Error in subroutine FeRedox.", [&] {
    Array1<double> moles(1, kNumOxides), X(1, kNumOxides);
    if (buffer == kGetLogfO2) {
      OxidesToMoles(tables, wt, moles);
      MoleFractions(ctx, diag, moles, X, kNumOxides);
      const double ferrous = X(kFeO) - X(kS);  // FeO not held by sulfide
      double Q;
      if (X(kFe2O3) > 0.0 && X(kFeO) > 0.0 && ferrous > 0.0) {
        Q = std::log(X(kFe2O3) / ferrous);
      } else if (ctx.ComputeMessages) {
        ctx.box(kNoIronBox);
        return;
      } else {
        Q = 1.0;
      }
      const double Kd = RedoxKd(X, 2.0 * X(kFe2O3) + ferrous, T, P);
      logfO2 = (Q - Kd) / kLogDivisor;
      done = true;
      return;
    }
    if (buffer == "Absent") {
      ctx.box(kAbsentBox);
      return;
    }
    if (P < 1.0 || P > 100000.0 || T < 573.15 || T > 3273.15) {
      ctx.box(kRangeBox);
      return;
    }
    if (wt(1) < 0.01 || (wt(kFe2O3) < 0.01 && wt(kFeO) < 0.01)) {
      ctx.box(kOxideBox);
      return;
    }
    if (!Gibbs(tables, ss, diag, T, P, P)) return;  // Gibbs has reported its fault
    const double L = bufferLnFO2(ss, buffer, T);

    // All iron as FeO, then split by the ratio the buffer sets.
    wt(kFeO) += kFe2O3AsFeO * wt(kFe2O3);
    wt(kFe2O3) = 0.0;
    OxidesToMoles(tables, wt, moles);
    const double fe = moles(kFeO) - moles(kS);  // iron not held by sulfide
    MoleFractions(ctx, diag, moles, X, kNumOxides);
    const double Kd = RedoxKd(X, X(kFeO) - X(kS), T, P);
    const double K = checkedExp(kA * L + Kd);  // XFe2O3/XFeO
    const double feoMoles = fe / (2.0 * K + 1.0);
    wt(kFeO) = feoMoles * tables.OxideMW(kFeO);
    wt(kFe2O3) = (fe - wt(kFeO) / tables.OxideMW(kFeO)) * 0.5 * tables.OxideMW(kFe2O3);
    // The iron of the sulfide goes back in as FeO.
    wt(kFeO) += moles(kS) * tables.OxideMW(kFeO);
    if (wt(kFe2O3) < 0.01) wt(kFe2O3) = 0.0;
    if (wt(kFeO) < 0.01) wt(kFeO) = 0.0;
    logfO2 = L / kLn10;
    done = true;
  });
  return ok && done;
}

}  // namespace cx
