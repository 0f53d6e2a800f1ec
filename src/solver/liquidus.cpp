#include "solver/liquidus.h"

#include <algorithm>
#include <cmath>

#include "base/fault.h"
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

constexpr double kNoAffinityValue = 1e6;
constexpr double kSentinel = 30000.0;
constexpr double kLowerT = 500.0, kUpperT = 3500.0;  // K, the walk's bounds
constexpr int kMaxLiquidusSteps = 100;
constexpr int kMaxLeaderChanges = thermo_data::kNumPhases;  // each phase may lead once

// The non-excluded phase of lowest affinity, below `limit`; 0 when there is none.
int lowestPhase(const SaturationContext& sat, double limit) {
  int best = 0;
  double lowest = limit;
  for (int id = 1; id <= thermo_data::kNumPhases; ++id) {
    if (sat.PhaseExcluded(id)) continue;
    if (sat.Affinity(id) < lowest) {
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

double progressTerm(double affinity) {
  return std::log(std::max(std::fabs(affinity), 1.0)) + 3.0;
}

void search(EquilibriumModel& m, Port& port, const Array1<double>& oxides, double& T, double P,
            LiquidusResult& res) {
  Diagnostics& diag = m.diag;
  diag.ErrorFlag = false;
  auto fail = [&](const std::string& msg, bool input) {
    res.message = msg;
    res.badInput = input;
    port.showMessage(msg);
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
    res.message = " Calculation Aborted";
    port.setStatus(res.message);
    return;
  }
  int err = 0;
  m.saturation(0, err);
  ++res.evaluations;
  SaturationContext& sat = *m.sat;

  int leader = lowestPhase(sat, kNoAffinityValue);
  if (leader == 0) {
    fail("All phases are excluded!", true);
    return;
  }
  const double scale = std::floor(progressTerm(sat.Affinity(leader)));  // Int(): rounds down
  double step = sat.Affinity(leader) > 0.0 ? -10.0 : 10.0;
  FindMinimumRecord rec;
  for (;;) {
    int flag = 0;
    int count = 0;
    do {
      ++count;
      port.doEvents();
      if (diag.ErrorFlag || count > kMaxLiquidusSteps || diag.HaltFlag) {
        res.message = " Calculation Aborted";
        port.setStatus(res.message);
        res.phase = leader;
        res.affinity = sat.Affinity(leader);
        return;
      }
      double f = std::fabs(sat.Affinity(leader));
      const double tOld = T;
      if (T < 500.0) T = 500.0;
      if (T > 2500.0) T = 2500.0;
      FindMinimum(rec, T, f, flag, kLowerT, kUpperT, step, kSentinel);
      if (!liquidAt(m, T, P)) continue;  // ErrorFlag is set: the next turn aborts
      int phase = leader;
      m.saturation(phase, err);
      ++res.evaluations;
      res.progress = scale - progressTerm(sat.Affinity(leader));
      if (std::fabs(T - tOld) < 0.0001) flag = -1;
    } while (flag != -1);

    // Is another phase oversaturated at this temperature?
    m.saturation(0, err);
    ++res.evaluations;
    const int lowest = lowestPhase(sat, sat.Affinity(leader));
    if (lowest == 0 || std::fabs(sat.Affinity(lowest)) < 1.0) break;
    if (res.leaderChanges >= kMaxLeaderChanges) {
      // The leaders take turns without end (each oversaturates the last at its own
      // temperature): there is no single first phase to report.
      res.message = " Calculation Aborted";
      port.setStatus(res.message);
      res.phase = leader;
      res.affinity = sat.Affinity(leader);
      return;
    }
    leader = lowest;
    ++res.leaderChanges;
    step = sat.Affinity(leader) > 0.0 ? -10.0 : 10.0;
  }
  res.found = true;
  res.phase = leader;
  res.affinity = sat.Affinity(leader);
  // The walk can also end at a minimum of the leader's |affinity| above zero (a phase that never
  // saturates in the range, held at a bound): the front end tells the two apart.
  res.withinOneJoule = std::fabs(res.affinity) < 1.0;
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
