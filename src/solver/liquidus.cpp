#include "solver/liquidus.h"

#include <algorithm>
#include <cmath>

#include "base/fault.h"
#include "thermo/constants.h"
#include "thermo/silicate_liquid.h"

namespace cx {
namespace {

inline bool outside(double x, double lower, double upper) {
  return x < lower || x > upper;
}

// Rebase: the best point becomes the base of the walk; the value behind it is the sentinel.
void rebase(FindMinimumRecord& r, double X, double F, double sentinel) {
  r.f = F;
  r.g = -sentinel;
  r.d = 0.0;
  r.x0 = X;
}

// Propose the next point from the best one along Step.
void propose(FindMinimumRecord& r, double& X, double& F, int& Flag, double lower, double upper,
             double& Step) {
  for (int guard = 0; guard < 10000; ++guard) {
    for (int shrink = 0; shrink < 10000 && outside(r.x0 + r.d + Step, lower, upper); ++shrink)
      Step *= 0.67;
    r.t = r.d + Step;
    X = r.t + r.x0;
    if (std::fabs(X - (r.x0 + r.d)) < 1e-9) {  // the position no longer moves
      X = r.x0 + r.d;
      F = r.f;
      Flag = -1;
      return;
    }
    if (++r.count > kFindMinimumMaxSteps) {
      X = r.x0 + r.d;
      F = r.f;
      Flag = -2;
      return;
    }
    if (!outside(X, lower, upper)) {
      Flag = 1;
      return;
    }
    // Still outside: turn the step inside at half its size and try again.
    Step = (X > upper ? -0.5 : 0.5) * std::fabs(Step);
  }
  X = r.x0 + r.d;
  F = r.f;
  Flag = -2;
}

}  // namespace

void FindMinimum(FindMinimumRecord& r, double& X, double& F, int& Flag, double Lower, double Upper,
                 double& Step, double Sentinel) {
  if (Flag != 1 && Flag != 2) {
    r.count = 0;
    r.up = 3.0;
    r.back = -0.5;
    rebase(r, X, F, Sentinel);
    propose(r, X, F, Flag, Lower, Upper, Step);
    return;
  }
  if (Flag == 2) {  // the vertex of the parabola was evaluated
    if (F < r.f) {
      r.d = r.t;
    } else {
      X = r.x0 + r.d;
      F = r.f;
    }
    Step *= r.back;
    rebase(r, X, F, Sentinel);
    propose(r, X, F, Flag, Lower, Upper, Step);
    return;
  }
  if (F < r.f) {  // a better point: walk on, faster
    r.e = r.d;
    r.g = r.f;
    r.d = r.t;
    r.f = F;
    Step *= r.up;
    propose(r, X, F, Flag, Lower, Upper, Step);
    return;
  }
  if (r.g < r.f) {  // the first worse point: turn around
    r.g = F;
    r.e = r.t;
    Step *= r.back;
    propose(r, X, F, Flag, Lower, Upper, Step);
    return;
  }
  // A minimum is bracketed by the points behind and ahead of the best: try the vertex of the
  // parabola through the three.
  const double a = r.e - r.d, b = Step;
  const double A = (r.g - r.f) * b, B = (F - r.f) * a;
  if (std::fabs(B - A) < 1e-7) {
    X = r.x0 + r.d;
    F = r.f;
    Step *= r.back;
    rebase(r, X, F, Sentinel);
    propose(r, X, F, Flag, Lower, Upper, Step);
    return;
  }
  Step = 0.5 * (a * B / (B - A) - b * A / (B - A));
  for (int shrink = 0; shrink < 10000 && outside(r.x0 + r.d + Step, Lower, Upper); ++shrink)
    Step *= 0.5;
  r.t = r.d + Step;
  X = r.t + r.x0;
  if (X == r.x0 + r.d) {
    F = r.f;
    Step *= r.back;
    rebase(r, X, F, Sentinel);
    propose(r, X, F, Flag, Lower, Upper, Step);
    return;
  }
  ++r.count;
  if (outside(X, Lower, Upper)) {
    X = r.x0 + r.d;
    F = r.f;
    Step = (X + Step > Upper ? -0.5 : 0.5) * std::fabs(Step);
    rebase(r, X, F, Sentinel);
    propose(r, X, F, Flag, Lower, Upper, Step);
    return;
  }
  Flag = 2;
}

namespace {

constexpr double kLowerT = 500.0, kUpperT = 2500.0;  // K, the search's bounds

double progressTerm(double affinity) {
  return std::log(std::max(std::fabs(affinity), 1.0)) + 3.0;
}

// The non-excluded solid of lowest affinity; 0 when every solid is excluded.  The gas is no
// candidate: a hydrous liquid is gas-saturated at low pressure at every temperature, and the
// liquidus is where the first crystals form (the gas is reported on its own).
int lowestSolid(const SaturationContext& sat) {
  int best = 0;
  double lowest = 0.0;
  for (int id = 1; id <= thermo_data::kNumPhases; ++id) {
    if (sat.PhaseExcluded(id) || id == kGasPhase) continue;
    if (best == 0 || sat.Affinity(id) < lowest) {
      lowest = sat.Affinity(id);
      best = id;
    }
  }
  return best;
}

// The standard states and the liquid's potentials at T; false when either fails.
bool liquidAt(EquilibriumModel& m, double T, double P) {
  if (!m.setConditions(T, P)) return false;
  double g = 0.0;
  if (!u_Liquid(m.liquidTables, *m.ss, m.liquid, m.diag, 0, m.Xliq, m.MuLiq, m.Sliq, m.Hliq, T, P))
    return false;
  return G_liquid(m.liquid, m.diag, m.Xliq, g);
}

// The search: the lowest solid affinity f(T) is positive above the liquidus and negative below
// it.  It is bracketed by even steps of kBracketStep from the start, so that the crossing found
// is the one nearest the start (a phase whose affinity turns negative again far above the
// liquidus, as the pure sanidine does in some liquids above 1450 °C, is not reached by a walk
// from below the liquidus that stops at the first crossing), then the bracket is
// closed by regula falsi with the Illinois correction (each side halved when it stays) until f
// is within 1 J of zero.  f is continuous in T (the least of continuous functions) but its
// slope jumps where the leading phase changes, which the bracket survives where a derivative-
// based walk would not.
constexpr double kBracketStep = 25.0;  // K
constexpr int kMaxBracketSteps = 80;   // 2000 K
constexpr int kMaxClosingSteps = 80;

void search(EquilibriumModel& m, Port& port, const Array1<double>& oxides, double& T, double P,
            LiquidusResult& res) {
  Diagnostics& diag = m.diag;
  diag.ErrorFlag = false;
  auto fail = [&](const std::string& msg, bool input) {
    res.message = msg;
    res.badInput = input;
    port.showMessage(msg);
  };
  auto abort = [&](const std::string& why) {
    res.message = " Calculation Aborted";
    if (!why.empty()) res.message += ": " + why;
    port.setStatus(" Calculation Aborted");
  };
  if (P < 1.0 || P > 100000.0) {
    fail("No valid pressure specified!", true);
    return;
  }
  if (T < 300.0) T = 300.0;
  if (T > 2500.0) T = 2500.0;
  Array1<double> wt = oxides;
  NormalizeOxides(wt);
  if (wt(1) == 0.0) {
    fail("No silica entered...\n            Check all oxide input values!", true);
    return;
  }
  port.setStatus(" Finding liquidus temperature...");
  if (!m.setConditions(T, P) || !m.setLiquidOxides(wt)) {
    abort("the liquid cannot be evaluated at the start");
    return;
  }
  SaturationContext& sat = *m.sat;
  if (lowestSolid(sat) == 0) {
    fail("All phases are excluded!", true);
    return;
  }
  int leader = 0;
  // f at temperature t: the least solid affinity, its phase in `leader`; NaN when the liquid or
  // the saturation state fails there.
  auto f = [&](double t) {
    diag.ErrorFlag = false;
    if (!liquidAt(m, t, P)) return std::nan("");
    int err = 0;
    m.saturation(0, err);
    ++res.evaluations;
    if (diag.ErrorFlag) return std::nan("");
    const int lowest = lowestSolid(sat);
    if (leader != 0 && lowest != leader) ++res.leaderChanges;
    leader = lowest;
    // The search's progress: where it stands and how far the leading phase is from saturation.
    ProgressInfo info;
    info.temperatureK = t;
    info.pressureBar = P;
    info.attempt = res.evaluations;
    info.constantT = false;
    info.saturatedPhases = {leader};
    info.affinities = {sat.Affinity(leader)};
    port.showProgress(info);
    port.doEvents();
    return sat.Affinity(leader);
  };
  double fT = f(T);
  if (!std::isfinite(fT)) {
    abort("the saturation state failed at the start");
    return;
  }
  const double scale = std::floor(progressTerm(fT));
  // Bracket: hi above the liquidus (f > 0), lo below it (f <= 0).
  double hi = T, lo = T, fHi = fT, fLo = fT;
  const double step = kBracketStep;
  bool bracketed = false;
  for (int k = 0; k < kMaxBracketSteps && !diag.HaltFlag; ++k) {
    if (fT > 0.0) {  // above the liquidus: go down
      hi = T;
      fHi = fT;
      T = std::max(T - step, kLowerT);
    } else {  // crystals: go up
      lo = T;
      fLo = fT;
      T = std::min(T + step, kUpperT);
    }
    const double fNew = f(T);
    if (!std::isfinite(fNew)) {
      abort("the saturation state failed at " + std::to_string(T - 273.15) + " C");
      return;
    }
    if ((fNew > 0.0) != (fT > 0.0)) {
      if (fNew > 0.0) {
        hi = T;
        fHi = fNew;
      } else {
        lo = T;
        fLo = fNew;
      }
      bracketed = true;
      break;
    }
    fT = fNew;
    if (T <= kLowerT || T >= kUpperT) break;
  }
  if (diag.HaltFlag) {
    abort("halted");
    return;
  }
  if (!bracketed) {
    // No temperature in range at which a solid saturates, or none at which all dissolve.
    res.phase = leader;
    res.affinity = sat.Affinity(leader);
    res.found = true;
    res.withinOneJoule = false;
    port.setStatus(" Finding liquidus temperature... Done!");
    return;
  }
  // Close the bracket.
  int stay = 0;  // which side stayed last: +1 hi, -1 lo
  for (int k = 0; k < kMaxClosingSteps && !diag.HaltFlag; ++k) {
    double t = hi - fHi * (hi - lo) / (fHi - fLo);
    if (!(t > lo && t < hi)) t = 0.5 * (lo + hi);
    const double ft = f(t);
    if (!std::isfinite(ft)) {
      abort("the saturation state failed at " + std::to_string(t - 273.15) + " C");
      return;
    }
    T = t;
    res.progress = scale - progressTerm(ft);
    if (std::fabs(ft) < 1.0 || hi - lo < 1e-6) break;
    if (ft > 0.0) {
      hi = t;
      fHi = ft;
      if (stay == -1) fLo *= 0.5;
      stay = -1;
    } else {
      lo = t;
      fLo = ft;
      if (stay == 1) fHi *= 0.5;
      stay = 1;
    }
  }
  if (diag.HaltFlag) {
    abort("halted");
    return;
  }
  // The saturation state in hand is that of T (the last evaluation).
  res.found = true;
  res.phase = leader;
  res.affinity = sat.Affinity(leader);
  res.withinOneJoule = std::fabs(res.affinity) < 1.0;
  res.gasSaturated = !sat.PhaseExcluded(kGasPhase) && sat.Affinity(kGasPhase) < 0.0;
  res.gasAffinity = sat.Affinity(kGasPhase);
  port.setStatus(" Finding liquidus temperature... Done!");
}

}  // namespace

LiquidusResult Find_Liquidus(EquilibriumModel& model, Port& port, const Array1<double>& Oxides,
                             double& T, double P) {
  LiquidusResult res;
  try {
    search(model, port, Oxides, T, P, res);
  } catch (const Fault& f) {
    res.found = false;
    res.message = std::to_string(f.number()) + " error finding liquidus.";
    port.showMessage(res.message);
  }
  res.T = T;
  return res;
}

}  // namespace cx
