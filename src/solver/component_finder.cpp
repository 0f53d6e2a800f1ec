#include "solver/component_finder.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

#include "base/fault.h"
#include "base/trap.h"
#include "solver/kernels/cholesky.h"
#include "thermo/constants.h"

namespace cx {

namespace {

constexpr double kR = kGasConstant;
constexpr int kMax = kMaxComponentUnknowns;
constexpr double kRefused = 1e300;  // the sum of squares of a point the model refuses
constexpr double kActivityFloor = 1e-16;
const double kLnActivityFloor = std::log(kActivityFloor);

// Marks the endmembers whose residuals count even where their activity vanishes: for plain mole
// fractions, every endmember the phase may hold (a fraction not fixed at 0, and the last, which
// takes the rest).  Without this a present endmember driven onto its lower bound would drop
// its own residual there, and the bound would become a false solution; with it, the floor
// value 1e-16 keeps the residual large and the search away from that bound.  Endmembers fixed
// at 0 (the liquid cannot build them) and the site variables of the larger models do not take
// part.
void markPresent(ComponentFinderContext& ctx, int phase, const Array2<double>& Bnd, int n) {
  const int pyroxeneModel = ctx.act->PyroxeneModel;
  const bool plain = phase != 7 && !((phase == 4 || phase == 5) && pyroxeneModel != 1);
  for (int j = 1; j <= n; ++j)
    ctx.present(j) = plain && (j == n || static_cast<int>(Bnd(j, 3)) != kMaskFixed);
}

// The fractions a residual evaluation may hand to the activity model.  The site variables of
// the pyroxenes and the spinel have ranges of their own.  Plain mole fractions must leave the
// implied last endmember a fraction of at least 0: the activity models take a negative
// remainder as its own (ideal) activity, whose residual would drop out of the sum of squares
// and leave a false minimum there.
bool fractionsAllowed(int phase, const Array1<double>& B, int nFractions) {
  double sum = 0.0;
  for (int i = 1; i <= nFractions; ++i) sum += B(i);
  if (phase == 5) {
    for (int i = 1; i <= nFractions; ++i)
      if (B(i) < 0.0 || B(i) > 1.0) return false;
    return sum >= 0.0 && sum <= 1.0;
  }
  if (phase == 4) return sum >= 0.0 && sum <= 1.0;
  if (phase == 7) {
    if (nFractions >= 1 && (B(1) < 0.0 || B(1) > 2.0)) return false;
    for (int i = 2; i <= nFractions; ++i)
      if (B(i) < 0.0 || B(i) > 1.0) return false;
    return sum >= 0.0 && sum <= 2.0;
  }
  return sum <= 1.0;
}

// Activities at the fractions B(1..nFractions), cleared first so that a model that writes
// nothing leaves nothing stale behind.
int activities(ComponentFinderContext& ctx, int phase, double T, double P, const Array1<double>& B,
               int nFractions, Array1<double>& act) {
  act.fill(0.0);
  int flag = 0;
  GetActivity(*ctx.act, phase, T, P, B, nFractions, act, flag);
  return flag;
}

// Residuals at B; false when the point is refused.  S receives their sum of squares.
// The activities go into `act`.
bool residuals(ComponentFinderContext& ctx, int phase, double T, double P, const Array1<double>& B,
               int n, int m, const Array1<double>& Aend, Array1<double>& R, double& S,
               Array1<double>& act) {
  ++ctx.functionEvaluations;
  if (!fractionsAllowed(phase, B, n - 1)) return false;
  if (activities(ctx, phase, T, P, B, n - 1, act) != 0) return false;
  const double rt = kR * T;
  S = 0.0;
  for (int j = 1; j <= m; ++j) {
    const double a = act(j);
    if (a > kActivityFloor)
      R(j) = rt * std::log(a) - B(n) + Aend(j);
    else
      R(j) = ctx.present(j) ? rt * kLnActivityFloor - B(n) + Aend(j) : 0.0;
    S += R(j) * R(j);
  }
  return true;
}

// The Jacobian at B, whose activities are in ctx.act0: central differences of step 1e-6 in the
// fractions, one-sided where the model refuses one side.
void jacobian(ComponentFinderContext& ctx, int phase, double T, double P, Array1<double>& B, int n,
              int m) {
  constexpr double h = 1e-6;
  const double rt = kR * T;
  for (int j = 1; j <= m; ++j)
    for (int k = 1; k <= n; ++k) ctx.jac(j, k) = 0.0;
  for (int k = 1; k < n; ++k) {
    const double bk = B(k);
    if (!(2.0 * h < std::fabs(bk))) continue;
    B(k) = bk + h;
    const bool hiOk = activities(ctx, phase, T, P, B, n - 1, ctx.actHi) == 0;
    B(k) = bk - h;
    const bool loOk = activities(ctx, phase, T, P, B, n - 1, ctx.actLo) == 0;
    B(k) = bk;
    if (!hiOk && !loOk) continue;
    const double width = (hiOk && loOk) ? 2.0 * h : h;
    for (int j = 1; j <= m; ++j) {
      const double a = ctx.act0(j);
      if (!(a > kActivityFloor)) continue;
      const double ahi = hiOk ? ctx.actHi(j) : a;
      const double alo = loOk ? ctx.actLo(j) : a;
      if (!(ahi > 0.0) || !(alo > 0.0)) continue;
      ctx.jac(j, k) = (std::log(ahi) - std::log(alo)) / width * rt;
    }
  }
  for (int j = 1; j <= m; ++j) ctx.jac(j, n) = ctx.act0(j) > 1e-7 ? -1.0 : 0.0;
}

}  // namespace

ComponentFinderContext::ComponentFinderContext(ActivityContext& activity, Port& p)
    : act(&activity),
      port(&p),
      B(1, kMax),
      Bnd(1, kMax, 1, 3),
      act0(1, kMax),
      actTrial(1, kMax),
      actHi(1, kMax),
      actLo(1, kMax),
      resid(1, kMax),
      residTrial(1, kMax),
      jac(1, kMax, 1, kMax),
      grad(1, kMax),
      step(1, kMax),
      startB(1, kMax),
      trialB(1, kMax),
      y(1, kMax),
      xFull(1, kMax),
      dir(1, kMax),
      startFractions(1, kMax),
      rqWork(1, 5 * kMax),
      rqVector(1, kMax),
      packedC(1, packedSize(kMax)),
      packedA(1, packedSize(kMax)),
      mask(1, kMax),
      startMask(1, kMax),
      freeList(1, kMax),
      hess(1, kMax, 1, kMax),
      hessFree(1, kMax, 1, kMax),
      identity(1, kMax, 1, kMax),
      present(1, kMax) {
  for (int i = 1; i <= kMax; ++i) identity(i, i) = 1.0;
}

void EndmemberAffinities(const PhaseTable& phases, const StandardState& ss, int Phase, int count,
                         const Array1<double>& MuLiq, Array1<double>& Aend) {
  for (int j = 1; j <= count; ++j) {
    double a = ss.G0End(phases.PhaseEndIndex(Phase, j));
    for (int i = 1; i <= thermo_data::kNumLiquidComponents; ++i) {
      const double nu = phases.PhaseStoich(Phase, j, i);
      if (nu != 0.0) a -= nu * MuLiq(i);
    }
    Aend(j) = a;
  }
}

void Marquardt(ComponentFinderContext& ctx, Array1<double>& B, Array2<double>& Bnd, int N, int M,
               int& freeCount, double& sumSquares, int Phase, const Array1<double>& Aend, double T,
               double P) {
  if (N < 1 || N > kMax || M < 1 || M > kMax)
    raiseFault(kFaultSubscript, "Subscript out of range: Marquardt with " + std::to_string(N) +
                                    " unknowns and " + std::to_string(M) + " residuals");
  ++ctx.marquardtRuns;
  Diagnostics& diag = *ctx.act->diag;
  const double machEps = ctx.act->machEps;
  constexpr double kIncrease = 10.0, kDecrease = 0.4, kPhi = 1.0;
  double lambda = 1e-4;
  const double eps = std::sqrt(machEps);
  Array1<int>& mask = ctx.mask;
  Array1<double>& g = ctx.grad;
  Array1<double>& step = ctx.step;
  Array1<double>& start = ctx.startB;
  Array1<double>& R = ctx.resid;

  markPresent(ctx, Phase, Bnd, N);
  // Unknowns that start on or beyond a bound are held there until the gradient releases them.
  freeCount = N;
  for (int i = 1; i <= N; ++i) {
    mask(i) = static_cast<int>(Bnd(i, 3));
    if (mask(i) == kMaskFixed) {
      --freeCount;
    } else if (B(i) <= Bnd(i, 1)) {
      B(i) = Bnd(i, 1);
      mask(i) = kMaskAtLower;
    } else if (B(i) >= Bnd(i, 2)) {
      B(i) = Bnd(i, 2);
      mask(i) = kMaskAtUpper;
    }
  }
  double S = 0.0;
  if (!residuals(ctx, Phase, T, P, B, N, M, Aend, R, S, ctx.act0)) {
    S = kRefused;
    for (int j = 1; j <= M; ++j) R(j) = 0.0;
    ctx.act0.fill(0.0);
  }
  int evaluations = 1;
  const int maxGradients = 30 * ctx.act->PhaseEndCount(Phase);
  bool stop = false;
  for (int gradient = 1; gradient <= maxGradients && !stop; ++gradient) {
    lambda *= kDecrease;
    ++ctx.gradientEvaluations;
    // The residuals' activities at B are in act0 (kept by the last accepted evaluation).
    jacobian(ctx, Phase, T, P, B, N, M);
    for (int j = 1; j <= N; ++j) {
      double s = 0.0;
      for (int i = 1; i <= M; ++i) s += R(i) * ctx.jac(i, j);
      g(j) = s;
      for (int k = 1; k <= j; ++k) {
        double c = 0.0;
        for (int i = 1; i <= M; ++i) c += ctx.jac(i, j) * ctx.jac(i, k);
        ctx.packedC(packedIndex(j, k)) = c;
      }
    }
    // An unknown held at a bound is released when the gradient says so; otherwise it does not
    // take part.  Intended: this is the rule as the program always had it, mask values and all.
    for (int i = 1; i <= N; ++i) {
      if (mask(i) >= 0) continue;
      if (1.5 * g(i) + mask(i) > 0.0)
        mask(i) = kMaskFree;
      else
        g(i) = 0.0;
    }
    for (int i = 1; i <= N; ++i) start(i) = B(i);
    for (;;) {
      // The damped normal equations (Marquardt's compromise between Gauss-Newton and steepest
      // descent), factorized over the free unknowns.
      for (int j = 1; j <= N; ++j) {
        for (int k = 1; k < j; ++k) ctx.packedA(packedIndex(j, k)) = ctx.packedC(packedIndex(j, k));
        const int d = packedIndex(j, j);
        ctx.packedA(d) = (1.0 + lambda) * ctx.packedC(d) + kPhi * lambda;
        step(j) = -g(j);
      }
      bool factored = choleskyDecompose(ctx.packedA, N, mask);
      if (factored) {
        choleskySolve(ctx.packedA, N, step, mask);
        for (int i = 1; i <= N; ++i)
          if (mask(i) <= 0) step(i) = 0.0;
        double gradProj = 0.0;
        for (int i = 1; i <= N; ++i) gradProj += step(i) * g(i);
        if (gradProj >= 0.0) {
          stop = true;  // no descent left along this gradient
          break;
        }
        // The longest step along the direction that stays within the bounds.
        double t = 1.0;
        for (int i = 1; i <= N; ++i) {
          if (!(std::fabs(step(i)) > 1e-10)) continue;
          const double room =
              step(i) < 0.0 ? (Bnd(i, 1) - B(i)) / step(i) : (Bnd(i, 2) - B(i)) / step(i);
          if (room < t) t = std::max(room, 0.0);
        }
        if (Phase == 5) {
          double sum = 0.0, sumStep = 0.0;
          for (int i = 1; i < N; ++i) {
            sum += B(i);
            sumStep += step(i);
          }
          if (sum + t * sumStep > 0.999999 && sumStep > 0.0) t = 0.9 * t * (1.0 - sum) / sumStep;
        }
        int changed = 0;
        double changeSq = 0.0;
        for (int i = 1; i <= N; ++i) {
          double b = start(i);
          if (mask(i) > 0) {
            b = std::clamp(start(i) + t * step(i), Bnd(i, 1), Bnd(i, 2));
            if (std::fabs(b - start(i)) < 1e-8) b = start(i);  // too small to count
          }
          if (b != start(i)) ++changed;
          changeSq += (b - start(i)) * (b - start(i));
          B(i) = b;
        }
        if (changed == 0) {
          stop = true;  // converged: no unknown can move any more
          break;
        }
        const bool lastStep = changeSq < eps && evaluations > 2;
        double sNew = 0.0;
        const bool ok =
            residuals(ctx, Phase, T, P, B, N, M, Aend, ctx.residTrial, sNew, ctx.actTrial);
        ++evaluations;
        if (ok && sNew < S) {
          S = sNew;
          for (int j = 1; j <= M; ++j) {
            R(j) = ctx.residTrial(j);
            ctx.act0(j) = ctx.actTrial(j);
          }
          for (int i = 1; i <= N; ++i) {
            if (mask(i) != kMaskFree) continue;
            if (B(i) - Bnd(i, 1) <= machEps * (std::fabs(Bnd(i, 1)) + machEps)) {
              B(i) = Bnd(i, 1);
              mask(i) = kMaskAtLower;
            } else if (Bnd(i, 2) - B(i) <= machEps * machEps * std::fabs(Bnd(i, 2))) {
              B(i) = Bnd(i, 2);
              mask(i) = kMaskAtUpper;
            }
          }
          if (lastStep) stop = true;
          break;
        }
        for (int i = 1; i <= N; ++i) B(i) = start(i);
        if (lastStep) {
          stop = true;
          break;
        }
      }
      // A worse point or a matrix that will not factor: lean further towards steepest descent.
      lambda *= kIncrease;
      if (lambda > 1e50) {
        diag.ErrorFlag = true;
        // No run-time error stands behind this failure, so the number shown is 0.
        if (diag.PauseOnError)
          ctx.port->showMessage("0 error in subroutine Marquardt\nTry modifying input parameters");
        stop = true;
        break;
      }
    }
    if (lambda < machEps / 100.0) lambda = machEps;
  }
  for (int i = 1; i <= N; ++i) Bnd(i, 3) = mask(i);
  sumSquares = S;
}

void Hessian(ComponentFinderContext& ctx, int Phase, double T, double P, Array1<double>& X, int n,
             Array2<double>& H, double h) {
  const double rt = T * kR;
  for (int i = 1; i <= n; ++i)
    for (int j = 1; j <= n; ++j) H(i, j) = 0.0;
  Array1<double>& Y = ctx.y;
  for (int j = 1; j <= n; ++j) {
    const double xj = X(j);
    if (xj == 0.0) continue;
    const bool central = 2.0 * h < std::fabs(xj);
    // Removing and adding h moles of endmember j, the fractions renormalized.
    if (central) {
      X(j) = xj - h;
      for (int i = 1; i <= n; ++i) Y(i) = X(i) / (1.0 - h);
      X(j) = xj;
    } else {
      for (int i = 1; i <= n; ++i) Y(i) = X(i);
    }
    activities(ctx, Phase, T, P, Y, n, ctx.actLo);
    X(j) = xj + h;
    for (int i = 1; i <= n; ++i) Y(i) = X(i) / (1.0 + h);
    X(j) = xj;
    activities(ctx, Phase, T, P, Y, n, ctx.actHi);
    for (int i = 1; i <= n; ++i) {
      if (X(i) == 0.0) continue;
      const double low = ctx.actLo(i) > 0.0 ? std::log(ctx.actLo(i)) : 0.0;
      const double high = ctx.actHi(i) > 0.0 ? std::log(ctx.actHi(i)) : 0.0;
      H(i, j) = (high - low) * rt / (central ? 2.0 * h : h);
    }
  }
}

namespace {

// The sum of squared differences between R T ln a(j) + Aend(j) and the affinity at the
// fractions Result(1..nfree); flag receives the activity model's flag.
double equilibriumSumSquares(ComponentFinderContext& ctx, int phase, double T, double P,
                             const Array1<double>& Result, int nfree, const Array1<double>& Aend,
                             double affinity, int& flag) {
  flag = activities(ctx, phase, T, P, Result, nfree, ctx.act0);
  const double rt = kR * T;
  double s = 0.0;
  for (int j = 1; j <= nfree + 1; ++j) {
    const double a = ctx.act0(j);
    double lnA = kLnActivityFloor;  // a present endmember with no activity cannot be in balance
    if (a > kActivityFloor)
      lnA = std::log(a);
    else if (!ctx.present(j))
      continue;
    const double d = rt * lnA - affinity + Aend(j);
    s += d * d;
  }
  return s;
}

// Start values, bounds and masks of the unknowns (step 2 of the search).
void setStart(ComponentFinderContext& ctx, int phase, int nfree, Array1<double>& X) {
  Array1<double>& B = ctx.B;
  Array2<double>& Bnd = ctx.Bnd;
  for (int i = 1; i <= nfree; ++i) {
    B(i) = X(i);
    if (X(i) > 0.0) {
      Bnd(i, 1) = 1e-16;
      Bnd(i, 2) = 1.0;
      Bnd(i, 3) = kMaskFree;
    } else {
      B(i) = 0.0;
      Bnd(i, 1) = Bnd(i, 2) = Bnd(i, 3) = 0.0;
    }
  }
  const int pyroxeneModel = ctx.act->PyroxeneModel;
  if ((phase == 4 || phase == 5) && pyroxeneModel == 2) {
    // The two site variables of the quadrilateral model.
    B(1) = X(1) - 2.0 * X(4);
    B(2) = 2.0 * X(4) + X(2);
    Bnd(1, 1) = -2.0;
    Bnd(1, 2) = 1.0;
    Bnd(1, 3) = (X(1) > 0.0 || X(4) > 0.0) ? kMaskFree : kMaskFixed;
    Bnd(2, 1) = 1e-16;
    Bnd(2, 2) = 1.0;
    Bnd(2, 3) = (X(2) > 0.0 || X(4) > 0.0) ? kMaskFree : kMaskFixed;
  } else if ((phase == 4 || phase == 5) && pyroxeneModel == 3) {
    B(1) = 2.0 * X(6) + X(1) + X(7) + X(8);
    B(2) = X(8) + X(2);
    B(3) = X(6) + X(3);
    B(4) = X(4) + X(7);
    for (int i = 1; i <= 4; ++i) {
      const bool present = B(i) > 0.0;
      Bnd(i, 1) = present ? 1e-16 : 0.0;
      Bnd(i, 2) = present ? 1.0 : 0.0;
      Bnd(i, 3) = present ? kMaskFree : kMaskFixed;
    }
    X(6) = X(7) = X(8) = 0.0;
  }
  const int n = nfree + 1;
  B(n) = 0.0;  // the affinity
  Bnd(n, 1) = -1e125;
  Bnd(n, 2) = 1e125;
  Bnd(n, 3) = kMaskFree;
}

}  // namespace

void FindComponents(ComponentFinderContext& ctx, int Phase, double T, double P, int& Nfree,
                    const Array1<double>& Aend, Array1<double>& X, Array1<double>& Result,
                    double& affinity, int& ErrFlag) {
  ActivityContext& act = *ctx.act;
  Diagnostics& diag = *act.diag;
  ctx.functionEvaluations = ctx.gradientEvaluations = ctx.marquardtRuns = 0;
  ctx.secondAttempt = false;
  static const std::string suffix = subroutineSuffix("FindComponents");  // formed once
  runTrapped(diag, suffix, [&] {
    const int pyroxeneModel = act.PyroxeneModel;
    const bool siteVariables = (Phase == 4 || Phase == 5 || Phase == 7) && pyroxeneModel != 1;
    Nfree = act.PhaseEndCount(Phase) - 1;
    if (!siteVariables)
      while (Nfree > 1 && X(Nfree + 1) == 0.0) --Nfree;  // endmembers the liquid cannot build
    if (Phase == 7) Nfree = 4;
    if ((Phase == 4 || Phase == 5) && pyroxeneModel == 2) Nfree = 2;
    if ((Phase == 4 || Phase == 5) && pyroxeneModel == 3) Nfree = 6;
    if (Nfree < 1 || Nfree + 1 > kMax)
      raiseFault(kFaultSubscript,
                 "Subscript out of range: " + std::to_string(Nfree) + " independent fractions");
    const int n = Nfree + 1;
    setStart(ctx, Phase, Nfree, X);
    for (int i = 1; i <= n; ++i) {
      ctx.startFractions(i) = ctx.B(i);
      ctx.startMask(i) = static_cast<int>(ctx.Bnd(i, 3));
    }

    int freeCount = 0, flag = 0;
    double sumSquares = 0.0;
    Marquardt(ctx, ctx.B, ctx.Bnd, n, n, freeCount, sumSquares, Phase, Aend, T, P);
    for (int i = 1; i <= Nfree; ++i) Result(i) = ctx.B(i);
    ctx.port->doEvents();
    if (diag.HaltFlag) return;
    affinity = ctx.B(n);
    double s = equilibriumSumSquares(ctx, Phase, T, P, Result, Nfree, Aend, affinity, flag);
    if (s < 10.0 && flag == 0) return;

    // Second attempt: from the start, along the softest direction of the Hessian of the mixing
    // energy, to the extreme of the mixing energy on that line, and Marquardt again from there.
    ctx.secondAttempt = true;
    int nf = 0;
    double sumStart = 0.0;
    for (int i = 1; i <= Nfree; ++i) {
      ctx.xFull(i) = ctx.startFractions(i);
      sumStart += ctx.startFractions(i);
      if (ctx.startMask(i) == kMaskFree) ctx.freeList(++nf) = i;
    }
    ctx.xFull(n) = 1.0 - sumStart;
    bool found = false;
    if (nf > 0 && !siteVariables) {
      Hessian(ctx, Phase, T, P, ctx.xFull, n, ctx.hess, 1e-6);
      for (int a = 1; a <= nf; ++a) {
        ctx.rqVector(a) = ctx.startFractions(ctx.freeList(a));
        for (int b = 1; b <= nf; ++b) {
          const int i = ctx.freeList(a), j = ctx.freeList(b);
          ctx.hessFree(a, b) = 0.5 * (ctx.hess(i, j) + ctx.hess(j, i));
        }
      }
      double rq = 0.0;
      int limit = 4 * Nfree * Nfree;
      RQMinimization(ctx.rqVector, ctx.hessFree, ctx.identity, rq, nf, limit, ctx.rqWork,
                     act.machEps, diag);
      double norm = 0.0;
      for (int a = 1; a <= nf; ++a) norm += ctx.rqVector(a) * ctx.rqVector(a);
      norm = std::sqrt(norm);
      for (int i = 1; i <= Nfree; ++i) ctx.dir(i) = 0.0;
      if (norm > 0.0)
        for (int a = 1; a <= nf; ++a) ctx.dir(ctx.freeList(a)) = ctx.rqVector(a) / norm;

      for (double sign = 1.0; sign >= -1.0 && !found; sign -= 2.0) {
        // The range of t that keeps every fraction within its bounds and their sum within
        // 1e-7..0.9999.
        double tLo = -std::numeric_limits<double>::infinity();
        double tHi = std::numeric_limits<double>::infinity();
        auto limitRange = [&](double value, double slope, double lo, double hi) {
          if (std::fabs(slope) < 1e-300) {
            if (value < lo || value > hi) tHi = -tLo;  // empty range
            return;
          }
          const double t1 = (lo - value) / slope, t2 = (hi - value) / slope;
          tLo = std::max(tLo, std::min(t1, t2));
          tHi = std::min(tHi, std::max(t1, t2));
        };
        double sumDir = 0.0;
        for (int a = 1; a <= nf; ++a) {
          const int i = ctx.freeList(a);
          limitRange(ctx.startFractions(i), ctx.dir(i), 1e-16, 1.0);
          sumDir += ctx.dir(i);
        }
        limitRange(sumStart, sumDir, 1e-7, 0.9999);
        if (!(tLo < tHi) || !std::isfinite(tLo) || !std::isfinite(tHi)) break;
        double t = 0.5 * (tLo + tHi);
        if (t == 0.0 && sign < 0.0) t += 0.01 * (tHi - tLo);

        // The fractions at t; false when their sum leaves 0..1.
        auto pointAt = [&](double tt) {
          double sum = 0.0;
          for (int i = 1; i <= Nfree; ++i) {
            double v = ctx.startFractions(i) + tt * ctx.dir(i);
            if (v < 1e-16 || v > 1.0) v = ctx.startFractions(i) == 0.0 ? 0.0 : 1e-16 + 0.0001;
            ctx.trialB(i) = v;
            sum += v;
          }
          return sum >= 0.0 && sum <= 1.0;
        };
        bool outside = false;
        // sign times the mixing energy over R T: sum of x ln a, the last endmember included.
        auto mixing = [&](double tt) {
          if (!pointAt(tt)) {
            outside = true;
            return 0.0;
          }
          if (activities(ctx, Phase, T, P, ctx.trialB, Nfree, ctx.actTrial) != 0) return 1e30;
          double sum = 0.0, g = 0.0;
          for (int i = 1; i <= Nfree; ++i) sum += ctx.trialB(i);
          for (int j = 1; j <= n; ++j) {
            const double x = j < n ? ctx.trialB(j) : 1.0 - sum;
            const double a = ctx.actTrial(j);
            if (x != 0.0 && a > 0.0) g += x * std::log(a);
          }
          return sign * g;
        };
        int brentFlag = 0;
        double tMin = t, fMin = 0.0;
        double fx = mixing(t);
        BrentMinimization(ctx.brent, act.machEps, tLo, t, tHi, fx, 1e-4, tMin, fMin, brentFlag);
        while (brentFlag == 1 && !outside) {
          fx = mixing(tMin);
          BrentMinimization(ctx.brent, act.machEps, tLo, t, tHi, fx, 1e-4, tMin, fMin, brentFlag);
        }
        if (outside || brentFlag == -2) break;
        // Stay clear of the ends of the line.
        t = (tHi - tLo > 0.02) ? std::clamp(tMin, tLo + 0.01, tHi - 0.01) : 0.5 * (tLo + tHi);
        if (!pointAt(t)) break;
        for (int i = 1; i <= Nfree; ++i) ctx.xFull(i) = ctx.trialB(i);
        setStart(ctx, Phase, Nfree, ctx.xFull);
        Marquardt(ctx, ctx.B, ctx.Bnd, n, n, freeCount, sumSquares, Phase, Aend, T, P);
        for (int i = 1; i <= Nfree; ++i) Result(i) = ctx.B(i);
        affinity = ctx.B(n);
        s = equilibriumSumSquares(ctx, Phase, T, P, Result, Nfree, Aend, affinity, flag);
        found = s < 10.0 && flag == 0;
      }
    }
    if (flag != 0) {
      ErrFlag = flag;
      diag.ErrorFlag = true;
      if (diag.PauseOnError)
        diag.ErrorReport("The activity model failed in subroutine FindComponents for phase " +
                             act.phases->PhaseNames(Phase),
                         true);
    }
    if (found) return;
    affinity = kNoAffinity;
    if (diag.PauseOnError) {
      const bool goOn = ctx.port->askYesNo(
          "Unable to find equilibrium components for the phase: " + act.phases->PhaseNames(Phase) +
          "\nTry selecting a simple activity model from the menu item 'Options: " +
          "Solid Solution Models' or excluding this phase.\n   ... Continue?");
      if (!goOn) diag.HaltFlag = true;
    }
  });
}

}  // namespace cx
