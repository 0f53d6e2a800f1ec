#include "solver/phase_unmixing.h"

#include <cmath>
#include <string>

#include "base/trap.h"
#include "solver/saturation_state.h"
#include "thermo/constants.h"

namespace cx {
namespace {

constexpr double R = kGasConstant;
constexpr int kMaxEnd = thermo_data::kMaxPhaseEndmembers;  // 15: also the liquid's components
constexpr int kMaxFree = kMaxEnd;
constexpr int kMaxVarMetPasses = 500;     // guards only: the line search and the passes end
constexpr int kMaxLineSearchSteps = 200;  // far sooner (0.3^200 shrinks any finite step)
// Each line search starts at the full quasi-Newton step.  Starting at a hundredth of it, the walk
// gains at most 1 % of the distance per pass and its stopping test (no unknown moves by Tol)
// fires a hundred Tol from the minimum: the potentials of a second composition were then off by
// hundreds of J at a small fraction, and the search ran out of passes on curved valleys.
constexpr double kFirstStep = 1.0;

// The complete fractions of a composition given by its first nfree entries, the last implied.
// False when a fraction, the sum or the implied last fraction leaves 0..1.
bool completeFractions(const Array1<double>& X, int nfree, Array1<double>& full) {
  double s = 0.0;
  for (int i = 1; i <= nfree; ++i) {
    if (!(X(i) >= 0.0 && X(i) <= 1.0)) return false;
    full(i) = X(i);
    s += X(i);
  }
  if (!(s >= 0.0 && s <= 1.0)) return false;
  full(nfree + 1) = 1.0 - s;
  return true;
}

// The Rosenbrock banana function, the check function of VarMet: minimum 0 at (1, 1).
double rosenbrock(double x1, double x2) {
  const double a = x2 - x1 * x1, b = 1.0 - x1;
  return 100.0 * a * a + b * b;
}

// One value of the function VarMet minimizes, with its gradient when asked.
void evaluate(UnmixingContext& ctx, int Phase, double T, double P, int N, Array1<double>& B,
              double& F, const Array1<double>& Params, Array1<double>& grad, int& ErrFlag,
              bool calcGrad) {
  ErrFlag = 0;
  if (Phase == 0) {
    F = rosenbrock(B(1), B(2));
    if (!calcGrad) return;
    constexpr double h = 1e-6;  // central differences, as for the mixing energy
    grad(1) = (rosenbrock(B(1) + h, B(2)) - rosenbrock(B(1) - h, B(2))) / (2.0 * h);
    grad(2) = (rosenbrock(B(1), B(2) + h) - rosenbrock(B(1), B(2) - h)) / (2.0 * h);
    return;
  }
  if (Phase == 6 || Phase == 12)
    raiseFault(5);  // the cation ordering of the rhombohedral
                    // oxides has no model in this program yet
  MinGrad(ctx, Phase, T, P, N, B, F, Params, grad, ErrFlag, calcGrad);
}

}  // namespace

UnmixingContext::UnmixingContext(ActivityContext& activity)
    : act(&activity),
      Plane(1, 2 * kMaxFree + 1),
      full(1, kMaxEnd + 1),
      actWork(1, kMaxEnd + 1),
      gradFull(1, kMaxEnd + 1),
      gradShift(1, kMaxEnd + 1),
      X1(1, kMaxEnd + 1),
      Y(1, kMaxEnd + 1),
      trial(1, kMaxEnd + 1),
      fallback(1, kMaxEnd + 1),
      grad(1, kMaxEnd + 1),
      actA(1, kMaxEnd + 1),
      actB(1, kMaxEnd + 1),
      liqMu(1, thermo_data::kNumLiquidComponents),
      liqS(1, thermo_data::kNumLiquidComponents),
      liqH(1, thermo_data::kNumLiquidComponents),
      vmC(1, kMaxFree),
      vmG(1, kMaxFree),
      vmT(1, kMaxFree),
      vmX(1, kMaxFree),
      vmY(1, kMaxFree),
      vmH(1, kMaxFree, 1, kMaxFree) {}

bool Gmixing(UnmixingContext& ctx, int Phase, double T, double P, const Array1<double>& X,
             double& G, int N) {
  ++ctx.functionEvaluations;
  bool ok = false;
  runTrapped(
      *ctx.act->diag, subroutineSuffix("Gmixing"),
      [&] {
        int err = 0;
        GetActivity(*ctx.act, Phase, T, P, X, N, ctx.actWork, err);
        if (err != 0) return;
        double g = 0.0;
        for (int j = 1; j <= N; ++j)
          if (ctx.actWork(j) > 0.0 && X(j) != 0.0) g += R * T * X(j) * checkedLog(ctx.actWork(j));
        G = g;
        ok = true;
      },
      TrapPause::OnlyWhenPausing);
  return ok;
}

namespace {

// The partial derivative of Gmixing with respect to the independent fraction i, the last
// fraction taking up the change, by central differences of step h; one-sided where the last
// fraction is too small to give.  `full` holds the complete fractions (nfree + 1) and g0 the
// value there; `Y` is scratch.  False when an evaluation fails.
bool mixingSlope(UnmixingContext& ctx, int Phase, double T, double P, int nfree,
                 const Array1<double>& full, double g0, double h, int i, Array1<double>& Y,
                 double& slope) {
  const int n = nfree + 1;
  for (int k = 1; k <= n; ++k) Y(k) = full(k);
  double gPlus = 0.0, gMinus = 0.0;
  Y(i) = full(i) - h;
  Y(n) = full(n) + h;
  if (!Gmixing(ctx, Phase, T, P, Y, gMinus, n)) return false;
  if (full(n) > 2.0 * h) {
    Y(i) = full(i) + h;
    Y(n) = full(n) - h;
    if (!Gmixing(ctx, Phase, T, P, Y, gPlus, n)) return false;
    slope = (gPlus - gMinus) / (2.0 * h);
  } else {
    slope = (g0 - gMinus) / h;
  }
  return true;
}

}  // namespace

void MinGrad(UnmixingContext& ctx, int Phase, double T, double P, int Nfree,
             const Array1<double>& X, double& F, const Array1<double>& Plane, Array1<double>& Grad,
             int& ErrFlag, bool CalcGrad) {
  Diagnostics& diag = *ctx.act->diag;
  // A trial point where the model fails is part of the search, not an error of the run: the
  // line search shrinks its step; the flags are left as they were.
  const bool errorBefore = diag.ErrorFlag;
  ErrFlag = 0;
  const bool ok = runTrapped(
      diag, subroutineSuffix("MinGrad"),
      [&] {
        const int n = Nfree + 1;
        if (!completeFractions(X, Nfree, ctx.gradFull)) {
          ErrFlag = -1;
          return;
        }
        double g = 0.0;
        if (!Gmixing(ctx, Phase, T, P, ctx.gradFull, g, n)) {
          ErrFlag = -1;
          return;
        }
        // The height above the tangent plane at X1.
        double f = g - Plane(2 * Nfree + 1);
        for (int i = 1; i <= Nfree; ++i) f -= (X(i) - Plane(i)) * Plane(Nfree + i);
        if (!std::isfinite(f)) {  // the model gave no number here: a point the search cannot use
          ErrFlag = -1;
          return;
        }
        F = f;
        if (!CalcGrad) return;
        constexpr double h = 1e-6;
        for (int i = 1; i <= Nfree; ++i) {
          double slope = 0.0;
          if (2.0 * h < X(i)) {
            if (!mixingSlope(ctx, Phase, T, P, Nfree, ctx.gradFull, g, h, i, ctx.gradShift,
                             slope)) {
              ErrFlag = -1;
              return;
            }
            Grad(i) = slope - Plane(Nfree + i);
            if (!std::isfinite(Grad(i))) {
              ErrFlag = -1;
              return;
            }
          } else {
            Grad(i) = 0.0;
          }
        }
      },
      TrapPause::OnlyWhenPausing);
  if (!ok || ErrFlag != 0) {
    ErrFlag = -1;
    diag.ErrorFlag = errorBefore;
  }
}

void VarMet(UnmixingContext& ctx, int Phase, double T, double P, int N, Array1<double>& B,
            double& F, const Array1<double>& Params, double Tol, int& ErrFlag) {
  Diagnostics& diag = *ctx.act->diag;
  ++ctx.varMetRuns;
  ErrFlag = 0;
  const bool ok = runTrapped(diag, subroutineSuffix("VarMet"), [&] {
    if (Tol == 0.0) Tol = 1e-6;
    Array2<double>& H = ctx.vmH;
    Array1<double>&c = ctx.vmC, &gc = ctx.vmG, &t = ctx.vmT, &x = ctx.vmX, &y = ctx.vmY;
    Array1<double>& g = ctx.grad;
    int flag = 0;
    evaluate(ctx, Phase, T, P, N, B, F, Params, g, flag, true);
    if (flag != 0) {
      ErrFlag = -1;
      return;
    }
    double f0 = F;
    bool fresh = true;  // the inverse Hessian was just reset
    auto reset = [&] {
      for (int i = 1; i <= N; ++i)
        for (int j = 1; j <= N; ++j) H(i, j) = i == j ? 1.0 : 0.0;
      fresh = true;
    };
    reset();
    for (int pass = 0; pass < kMaxVarMetPasses; ++pass) {
      for (int i = 1; i <= N; ++i) {
        c(i) = B(i);
        gc(i) = g(i);
      }
      double gradproj = 0.0;
      for (int i = 1; i <= N; ++i) {
        double s = 0.0;
        for (int j = 1; j <= N; ++j) s -= H(i, j) * g(j);
        t(i) = s;
        gradproj += s * g(i);
      }
      if (!std::isfinite(gradproj)) return;  // no usable direction: stop at this point
      if (gradproj >= 0.0) {                 // not downhill: start again along the gradient
        if (fresh) return;
        reset();
        continue;
      }
      // Backtracking along t until the value falls enough below f0.
      double step = kFirstStep;
      bool accepted = false;
      for (int shrink = 0; shrink < kMaxLineSearchSteps; ++shrink) {
        int unchanged = 0;
        for (int i = 1; i <= N; ++i) {
          B(i) = c(i) + step * t(i);
          if (std::fabs(B(i) - c(i)) < Tol) ++unchanged;
        }
        if (unchanged == N) break;
        evaluate(ctx, Phase, T, P, N, B, F, Params, g, flag, false);
        if (flag == 0 && F < f0 + gradproj * step * Tol) {
          accepted = true;
          break;
        }
        step *= 0.3;
      }
      if (!accepted) {
        // No step: the point stands.  After a reset this is the minimum; otherwise the metric
        // is thrown away and the gradient tried once more.
        for (int i = 1; i <= N; ++i) B(i) = c(i);
        F = f0;
        for (int i = 1; i <= N; ++i) g(i) = gc(i);
        if (fresh) return;
        reset();
        continue;
      }
      f0 = F;
      evaluate(ctx, Phase, T, P, N, B, F, Params, g, flag, true);
      if (flag != 0) {  // the gradient failed where the value did not: stop at this point
        F = f0;
        return;
      }
      double d1 = 0.0;
      for (int i = 1; i <= N; ++i) {
        t(i) *= step;
        y(i) = g(i) - gc(i);
        d1 += t(i) * y(i);
      }
      if (d1 <= 0.0) {
        reset();
        continue;
      }
      // The rank-two (BFGS) update of the inverse Hessian.
      double d2 = 0.0;
      for (int i = 1; i <= N; ++i) {
        double s = 0.0;
        for (int j = 1; j <= N; ++j) s += H(i, j) * y(j);
        x(i) = s;
        d2 += s * y(i);
      }
      d2 = 1.0 + d2 / d1;
      for (int i = 1; i <= N; ++i)
        for (int j = 1; j <= N; ++j) H(i, j) += (d2 * t(i) * t(j) - t(i) * x(j) - x(i) * t(j)) / d1;
      fresh = false;
    }
  });
  if (!ok) ErrFlag = -1;
}

namespace {

// The tables of one phase at the composition `comp` (n fractions): activities, potentials and
// the standard-state properties; the affinity from endmember k (or, when the liquid cannot
// build it, from the first endmember with an activity above 0.1).  False when the activities
// fail.
bool writePhase(SaturationContext& sc, int id, int k, const Array1<double>& comp, int n, double T,
                double P, const Array1<double>& Gend, const Array1<double>& Aend,
                Array1<double>& act) {
  const StandardState& ss = *sc.ss;
  int err = 0;
  GetActivity(*sc.act, id, T, P, comp, n, act, err);
  if (err != 0) return false;
  const double rt = R * T;
  for (int j = 1; j <= n; ++j) {
    const int row = sc.endIndex(id, j);
    const bool present = act(j) > 1e-16 && comp(j) != 0.0;
    sc.PhaseX(id, j) = present ? comp(j) : 0.0;
    sc.PhaseMu(id, j) = present ? rt * std::log(act(j)) + Gend(j) : 0.0;
    sc.PhaseS(id, j) = present ? ss.S0End(row) - R * std::log(act(j)) : 0.0;
    sc.PhaseR(id, j) = Gend(j);
    sc.PhaseH(id, j) = ss.H0End(row);
    sc.PhaseV(id, j) = ss.V0End(row);
    sc.PhaseCp(id, j) = ss.Cp0End(row);
  }
  bool buildable = false;
  for (int m = 1; m <= sc.nAvail; ++m)
    if (sc.Avail(m) == k) buildable = true;
  sc.Affinity(id) = kNoAffinity;
  if (buildable && act(k) > 0.0) {
    sc.Affinity(id) = rt * std::log(act(k)) + Aend(k);
  } else {
    for (int j = 1; j <= n; ++j)
      if (act(j) > 0.1) {
        sc.Affinity(id) = rt * std::log(act(j)) + Aend(j);
        break;
      }
  }
  return true;
}

// Clears the tables of a phase the operator excluded (it keeps "not available").
void clearPhase(SaturationContext& sc, int id) {
  sc.Affinity(id) = kNoAffinity;
  for (int j = 1; j <= kMaxEnd; ++j) {
    sc.PhaseX(id, j) = sc.PhaseMu(id, j) = sc.PhaseH(id, j) = 0.0;
    sc.PhaseS(id, j) = sc.PhaseV(id, j) = sc.PhaseCp(id, j) = 0.0;
  }
}

}  // namespace

void PhaseUnmixing(SaturationContext& sc, int Phase, double T, double P, const Array1<double>& X,
                   Array1<double>& X2, double& Gbest, int Nfree, double& Dist,
                   const Array1<double>& Gend, const Array1<double>& Aend, int& ErrFlag) {
  UnmixingContext& ctx = sc.unmix;
  Diagnostics& diag = *sc.act->diag;
  ctx.functionEvaluations = 0;
  ctx.varMetRuns = 0;
  ErrFlag = 0;
  const bool ok = runTrapped(diag, subroutineSuffix("PhaseUnmixing"), [&] {
    const int N =
        Phase == kLiquid2PhaseId ? thermo_data::kNumLiquidComponents : sc.act->PhaseEndCount(Phase);
    if (Nfree < 1 || Nfree + 1 != N) raiseFault(5);
    constexpr double h = 1e-8;
    Array1<double>& X1 = ctx.X1;
    double s = 0.0;
    for (int i = 1; i <= Nfree; ++i) {
      X1(i) = X(i);
      s += X(i);
    }
    X1(N) = 1.0 - s;
    if (std::fabs(X1(N)) < 1e-8) X1(N) = 0.0;
    Gbest = 1e12;

    // The tangent plane of the mixing energy at X1.
    double g1 = 0.0;
    if (!Gmixing(ctx, Phase, T, P, X1, g1, N)) {
      ErrFlag = -1;
      return;
    }
    Array1<double>& plane = ctx.Plane;
    for (int i = 1; i <= Nfree; ++i) {
      plane(i) = X1(i);
      double slope = 0.0;
      if (2.0 * h < std::fabs(X1(i))) {
        if (!mixingSlope(ctx, Phase, T, P, Nfree, X1, g1, h, i, ctx.Y, slope)) {
          ErrFlag = -1;
          return;
        }
      }
      plane(Nfree + i) = slope;
    }
    plane(2 * Nfree + 1) = g1;

    // From a start rich in each endmember present, the lowest point of the mixing energy
    // relative to the plane.  A point within 0.1^Nfree of X1 is X1 itself, however low.
    const double sameDistance = std::pow(0.1, Nfree);
    const double small = 1.0 / (10.0 * N + Nfree);
    bool first = true, found = false;
    for (int j = 1; j <= N && !found; ++j) {
      if (X1(j) == 0.0) continue;
      Array1<double>& t = ctx.trial;
      double sum = 0.0;
      for (int i = 1; i <= N; ++i) {
        t(i) = (i != j && X1(i) != 0.0) ? small : 0.0;
        sum += t(i);
      }
      t(j) = 1.0 - sum;
      double f = 0.0;
      int err = 0;
      VarMet(ctx, Phase, T, P, Nfree, t, f, plane, 1e-4, err);
      if (err == -1) {
        // The start itself could not be evaluated: the phase's model fails here.
        // No run-time error stands behind this failure, so the number reported is 0.
        if (diag.TrapErrors) {
          std::string msg = subroutineSuffix("PhaseUnmixing");
          msg.insert(0, 1, '0');
          diag.ErrorReport(msg, diag.PauseOnError);
        }
        ErrFlag = -1;
        return;
      }
      double last = 1.0;
      for (int i = 1; i <= Nfree; ++i) last -= t(i);
      t(N) = last;
      double d = 0.0;
      for (int i = 1; i <= Nfree; ++i) d += (X1(i) - t(i)) * (X1(i) - t(i));
      if (first) {
        // The first trial is the fallback; one that came back to X1 is X1 itself, not the
        // point near it where the search stopped (within its tolerance, that point's
        // potentials may differ from X1's by hundreds of J at a small fraction).
        const Array1<double>& keep = d > sameDistance ? t : X1;
        for (int i = 1; i <= N; ++i) ctx.fallback(i) = keep(i);
        first = false;
      }
      if (d > sameDistance && f < Gbest) {
        Gbest = f;
        for (int i = 1; i <= N; ++i) ctx.fallback(i) = t(i);
        if (f <= 1e-7) found = true;  // below the plane: the phase unmixes
      }
    }
    for (int i = 1; i <= N; ++i) X2(i) = ctx.fallback(i);
    Dist = 0.0;
    for (int i = 1; i <= Nfree; ++i) Dist += (X1(i) - X2(i)) * (X1(i) - X2(i));

    const StandardState& ss = *sc.ss;
    const double rt = R * T;
    if (Phase == kLiquid2PhaseId) {
      // The second liquid: the new composition replaces the first.
      if (ctx.liquid == nullptr ||
          !ctx.liquid->liquidPartials(X2, ctx.liqMu, ctx.liqS, ctx.liqH, T, P)) {
        ErrFlag = -1;
        return;
      }
      int err = 0;
      GetActivity(*sc.act, Phase, T, P, X2, N, ctx.actA, err);
      if (err != 0) {
        ErrFlag = -1;
        return;
      }
      sc.Affinity(Phase) = ctx.actA(1) > 0.0 ? rt * std::log(ctx.actA(1)) + Aend(1) : kNoAffinity;
      for (int j = 1; j <= N; ++j) {
        const bool present = ctx.actA(j) > 1e-16 && X1(j) > 0.0;
        sc.PhaseMu(Phase, j) = present ? rt * std::log(ctx.actA(j)) + Gend(j) : 0.0;
        sc.PhaseX(Phase, j) = X2(j);
        sc.PhaseS(Phase, j) = ctx.liqS(j);
        sc.PhaseH(Phase, j) = ctx.liqH(j);
        sc.PhaseV(Phase, j) = ss.V0Liq(j);
        sc.PhaseCp(Phase, j) = ss.Cp0Liq(j);
        sc.PhaseR(Phase, j) = Gend(j);
      }
      return;
    }

    // A pair: which composition belongs to which phase, by the sum of the first two fractions.
    // Intended: for the feldspars the composition richer in those two (an + ab) goes to the
    // alkali feldspar, as the program always assigned it; both phases share one model, so the
    // energies do not depend on the labels.
    const bool feldspar = Phase == 2 || Phase == 3;
    const int lower = feldspar ? 2 : 4, upper = lower + 1;
    const double s1 = X1(1) + X1(2), s2 = X2(1) + X2(2);
    const bool x1First = feldspar ? s2 >= s1 : s2 <= s1;
    const Array1<double>& forLower = x1First ? X1 : X2;
    const Array1<double>& forUpper = x1First ? X2 : X1;
    for (int id : {lower, upper}) {
      clearPhase(sc, id);
      if (sc.PhaseExcluded(id)) continue;
      const bool ok = writePhase(sc, id, id == lower ? 1 : 3, id == lower ? forLower : forUpper, N,
                                 T, P, Gend, Aend, id == lower ? ctx.actA : ctx.actB);
      if (!ok) {
        ErrFlag = -1;
        return;
      }
    }
  });
  if (!ok) ErrFlag = -1;
}

}  // namespace cx
