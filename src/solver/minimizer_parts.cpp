// The parts of the stable-assemblage minimizer: the seed of a new assemblage (SetNhat), the
// gradient and system sums (Make_Gv), the Hessian (CalcHessian), the constraint matrix
// (MakeMatrixC) and the residual of the secant search (EnergyResidual).
#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "base/trap.h"
#include "solver/minimizer_internal.h"
#include "solver/stable_phases.h"
#include "thermo/activity.h"
#include "thermo/constants.h"

namespace cx {

namespace {
constexpr int kPhases = thermo_data::kNumPhases;
constexpr int kMaxEnd = thermo_data::kMaxPhaseEndmembers;
// The step of the liquid's central differences: 1e-7 mol, or a thousandth of the component's
// moles when it holds less.  The fixed step turned one-sided where a component sat at its 1e-8
// floor, and its derivative RT/n came out several times too small: the Newton step then moved
// the liquid's chromium the wrong way and the state oscillated, its spinel 3 J off saturation.
constexpr double kHessianStep = 1e-7;  // moles
constexpr double kRelativeHessianStep = 1e-3;
double hessianStep(double x) {
  return std::min(kHessianStep, kRelativeHessianStep * x);
}
}  // namespace

MinimizerState::MinimizerState()
    : Xstable(1, kMaxStateVector),
      Phaselist(0, kMaxListedPhases),
      BulkMoles(1, kLiquidComponents),
      SolidMoles(1, kLiquidComponents),
      PhaseMoles(1, kPhases, 1, kMaxEnd),
      PhaseG(1, kPhases),
      PhaseCpSum(1, kPhases),
      settledBulk(1, kLiquidComponents) {}

MinimizerContext::MinimizerContext(EquilibriumModel& m, Port& p)
    : model(&m),
      port(&p),
      machEps(MachEps()),
      liquidMW(1, kLiquidComponents),
      liquidStates(std::make_unique<StandardState>(machEps)),
      Nhat(1, kMaxStateVector),
      Xold(1, kMaxStateVector),
      Gv(1, kMaxStateVector),
      Dvec(1, kLiquidComponents + kLiquidComponents),
      mult(1, kMaxStateVector),
      NegOK(1, kMaxStateVector),
      Hess(1, kMaxStateVector, 1, kMaxStateVector),
      Cmat(1, kLiquidComponents + kLiquidComponents, 1, kMaxStateVector),
      Ctrans(1, kMaxStateVector, 1, kLiquidComponents + kLiquidComponents),
      ConstraintList(1, kLiquidComponents),
      up(1, kMaxStateVector),
      h(1, kMaxStateVector),
      g(1, kMaxStateVector),
      rnorm(1, 1),
      blockX(1, kMaxEnd),
      muLower(1, kLiquidComponents),
      muEntry(1, kLiquidComponents),
      muAtX(1, kLiquidComponents),
      trial(1, kMaxStateVector),
      ip(1, kMaxStateVector),
      block(1, kMaxEnd, 1, kMaxEnd),
      order(1, kPhases),
      floorBasis(1, kLiquidComponents, 1, kMaxStateVector),
      floorRow(1, kMaxStateVector),
      HessCopy(1, kMaxStateVector, 1, kMaxStateVector),
      GvCopy(1, kMaxStateVector),
      kktGradient(1, kMaxStateVector),
      tangent(1, kMaxStateVector) {
  // The molar mass of each liquid component: the mass of the oxides one mole of it is made of.
  Array1<double> unit(1, kLiquidComponents), wt(1, thermo_data::kNumOxides);
  for (int i = 1; i <= kLiquidComponents; ++i) {
    unit.erase();
    unit(i) = 1.0;
    ComponentsToOxides(m.tables, unit, wt);
    double mass = 0.0;
    for (int k = 1; k <= thermo_data::kNumOxides; ++k) mass += wt(k);
    liquidMW(i) = mass;
  }
}

namespace minimizer {

bool liquidAt(MinimizerContext& ctx, const Array1<double>& X, double T, double P) {
  EquilibriumModel& m = *ctx.model;
  const bool ok = MoleFractions(m.liquid, m.diag, X, m.Xliq, kLiquidComponents);
  return u_Liquid(m.liquidTables, *m.ss, m.liquid, m.diag, 0, m.Xliq, m.MuLiq, m.Sliq, m.Hliq, T,
                  P) &&
         ok;
}

void saturationOf(MinimizerContext& ctx, const MinimizerState& st, int phase, double T, double P,
                  int& ErrFlag) {
  EquilibriumModel& m = *ctx.model;
  PhaseCompositions(*m.sat, phase, T, P, m.MuLiq, st.BulkMoles, ErrFlag);
}

void reportFrom(MinimizerContext& ctx, const std::string& msg) {
  ctx.messages.push_back(msg);
  ctx.model->diag.ErrorReport(msg, ctx.model->diag.PauseOnError);
}

}  // namespace minimizer

using minimizer::liquidAt;
using minimizer::reportFrom;

void SetNhat(MinimizerContext& ctx, const MinimizerState& st, int& Ncomp, Array1<double>& Nhat,
             Array1<bool>& NegOK) {
  if (st.PhaseCount <= 0) return;
  EquilibriumModel& m = *ctx.model;
  Diagnostics& diag = m.diag;
  const SaturationContext& sat = *m.sat;
  const ActivityContext& act = *m.activity;
  auto body = [&] {
    Ncomp = kLiquidComponents;
    for (int k = 1; k <= st.PhaseCount; ++k) {
      const int id = st.Phaselist(k);
      // The second liquid has no entries of its own in the vector.
      if (id >= kPhases) continue;
      for (int j = 1; j <= act.PhaseEndCount(id); ++j) {
        ++Ncomp;
        NegOK(Ncomp) = false;
        // Endmembers that stand for an exchange in the simple models may go negative.
        if ((id == 4 || id == 5) && j == 1 && !act.ActivityFlags(5)) NegOK(Ncomp) = true;
        if (id == 7 && j == 5 && !act.ActivityFlags(7)) NegOK(Ncomp) = true;
        if (sat.PhaseX(id, j) != 0.0) {
          Nhat(Ncomp) = 1e-5 * sat.PhaseX(id, j);
          for (int i = 1; i <= kLiquidComponents; ++i) {
            Nhat(i) -= m.phases.PhaseStoich(id, j, i) * Nhat(Ncomp);
            if (Nhat(i) < liquidFloor(i) && st.BulkMoles(i) > 0.0) Nhat(i) = liquidFloor(i);
          }
        } else {
          Nhat(Ncomp) = 0.0;
        }
      }
    }
  };
  if (!diag.TrapErrors) {
    body();
    return;
  }
  try {
    body();
  } catch (const Fault& fault) {
    diag.ErrorFlag = true;
    reportFrom(ctx, std::to_string(fault.number()) +
                        " error in subroutine SetNhat, component: " + std::to_string(Ncomp) + ".");
  }
}

namespace minimizer {

// The potentials of the endmembers of phase id at the composition the state X holds (its entries
// follow index `before`), into ctx.g(1..n): the standard state of each endmember (as the
// saturation state chose it, PhaseR) plus RT ln of its activity there.  The gradient of the true
// G of the state, so that a Newton step's fixed point puts the phase itself, not only its
// saturation composition, on the liquid's tangent plane: with the saturation composition's
// potentials the phase's own composition in X was tied to nothing and drifted (two answers
// 0.4 % apart at the same T).  False, and the saturation potentials stand, for a pure phase,
// the gas (its fugacities are the fluid model's), a phase of no amount or with an exchange
// endmember below zero, and wherever the activity model gives no answer.
bool potentialsAtState(MinimizerContext& ctx, int id, const Array1<double>& X, int before, double T,
                       double P) {
  EquilibriumModel& m = *ctx.model;
  const SaturationContext& sat = *m.sat;
  const int n = m.activity->PhaseEndCount(id);
  if (id == kGasPhase || id >= kPhases || n <= 1) return false;
  double moles = 0.0;
  for (int j = 1; j <= n; ++j)
    if (sat.PhaseX(id, j) != 0.0) moles += X(before + j);
  if (!(moles > 1e-12)) return false;
  for (int j = 1; j <= n; ++j) {
    const double x = sat.PhaseX(id, j) != 0.0 ? X(before + j) / moles : 0.0;
    if (!(x >= 0.0)) return false;
    ctx.blockX(j) = x;
  }
  int err = 0;
  GetActivity(*m.activity, id, T, P, ctx.blockX, n, ctx.up, err);
  if (err != 0) return false;
  const double rt = kGasConstant * T;
  for (int j = 1; j <= n; ++j) {
    if (sat.PhaseX(id, j) == 0.0) continue;
    if (!(ctx.up(j) > 1e-300) || sat.PhaseR(id, j) == 0.0 || ctx.blockX(j) == 0.0) return false;
    ctx.g(j) = sat.PhaseR(id, j) + rt * std::log(ctx.up(j));
  }
  return true;
}

}  // namespace minimizer

using minimizer::potentialsAtState;

void Make_Gv(MinimizerContext& ctx, MinimizerState& st, double T, double P, Array1<double>& Gv,
             const Array1<double>& X, int Ncomp, bool Recompute, int& ErrFlag) {
  EquilibriumModel& m = *ctx.model;
  auto body = [&] {
    if (Recompute) {
      liquidAt(ctx, X, T, P);
      for (int k = 1; k <= st.PhaseCount; ++k)
        minimizer::saturationOf(ctx, st, st.Phaselist(k), T, P, ErrFlag);
    }
    const SaturationContext& sat = *m.sat;
    const StandardState& ss = *m.ss;
    Gv.erase();
    st.Gsystem = st.MassSystem = st.CpLiquid = 0.0;
    ctx.Vtot = ctx.Stot = ctx.Htot = ctx.Cptot = 0.0;
    for (int i = 1; i <= kLiquidComponents; ++i) {
      Gv(i) = m.MuLiq(i);
      st.Gsystem += X(i) * m.MuLiq(i);
      st.MassSystem += X(i) * ctx.liquidMW(i);
      ctx.Vtot += X(i) * ss.V0Liq(i);
      ctx.Htot += X(i) * m.Hliq(i);
      ctx.Stot += X(i) * m.Sliq(i);
    }
    st.GLiqTotal = st.Gsystem;
    st.VLiqTotal = ctx.Vtot;
    st.HLiqTotal = ctx.Htot;
    st.SLiqTotal = ctx.Stot;
    if (st.PhaseCount == 0) return;
    int c = kLiquidComponents;
    for (int k = 1; k <= st.PhaseCount; ++k) {
      const int id = st.Phaselist(k);
      const double g0 = st.Gsystem;
      st.PhaseCpSum(id) = 0.0;
      const bool atState = potentialsAtState(ctx, id, X, c, T, P);
      for (int j = 1; j <= m.activity->PhaseEndCount(id); ++j) {
        ++c;
        if (sat.PhaseX(id, j) != 0.0) {
          Gv(c) = atState ? ctx.g(j) : sat.PhaseMu(id, j);
          st.MassSystem += X(c) * m.phases.PhaseEndMW(id, j);
          ctx.Vtot += X(c) * sat.PhaseV(id, j);
          ctx.Stot += X(c) * sat.PhaseS(id, j);
          ctx.Htot += X(c) * sat.PhaseH(id, j);
          ctx.Cptot += X(c) * sat.PhaseCp(id, j);
          st.PhaseCpSum(id) += X(c) * sat.PhaseCp(id, j);
          st.Gsystem += X(c) * Gv(c);
        } else {
          Gv(c) = 0.0;
        }
      }
      st.PhaseG(id) = st.Gsystem - g0;
    }
    if (!st.ConstantV) st.Vsystem = ctx.Vtot;
    if (!st.ConstantS) st.Ssystem = ctx.Stot;
    if (!st.ConstantH) st.Hsystem = ctx.Htot;
  };
  (void)Ncomp;  // the walk over the listed phases sets the length
  runTrapped(m.diag, Subroutine{"Make_Gv"}, body);
}

namespace {

// Hess(i, j) from the upper and lower potentials of a difference, as the liquid block takes it.
double liquidDerivative(double upper, double lower, bool central, double h) {
  double d = (upper - lower) / (central ? 2.0 * h : h);
  if (std::fabs(d) < 1e-16) d = 0.0;
  return d;
}

}  // namespace

void calcLiquidHessianByPairs(MinimizerContext& ctx, Array2<double>& Hess, Array1<double>& X,
                              double T, double P) {
  EquilibriumModel& m = *ctx.model;
  for (int i = 1; i <= kLiquidComponents; ++i) {
    if (!(X(i) > 0.0)) continue;
    for (int j = 1; j <= kLiquidComponents; ++j) {
      if (!(X(j) > 0.0)) continue;
      const double x = X(j);
      const double h = hessianStep(x);
      const bool central = 2.0 * h < x;
      double lower = m.MuLiq(i);
      if (central) {
        X(j) = x - h;
        liquidAt(ctx, X, T, P);
        lower = m.MuLiq(i);
      }
      X(j) = x + h;
      liquidAt(ctx, X, T, P);
      const double upper = m.MuLiq(i);
      X(j) = x;
      liquidAt(ctx, X, T, P);
      Hess(i, j) = liquidDerivative(upper, lower, central, h);
    }
  }
}

void CalcHessian(MinimizerContext& ctx, const MinimizerState& st, Array2<double>& Hess,
                 Array1<double>& X, int Ncomp, double T, double P) {
  EquilibriumModel& m = *ctx.model;
  auto body = [&] {
    for (int i = 1; i <= Ncomp; ++i)
      for (int j = 1; j <= Ncomp; ++j) Hess(i, j) = 0.0;
    // 1. The liquid block.  Each perturbation of component j gives the potentials of all
    // components at once, so one perturbation per component yields the numbers that one per
    // pair would.  The liquid at X itself is evaluated once: the model is a function of X alone,
    // so the evaluation that restores X after each perturbation gave the same numbers every
    // time; they are kept and put back at the end.  The one-sided lower value of the very first
    // pair is the potential standing at entry.
    for (int i = 1; i <= kLiquidComponents; ++i) ctx.muEntry(i) = m.MuLiq(i);
    int firstI = 0;
    for (int i = 1; i <= kLiquidComponents && firstI == 0; ++i)
      if (X(i) > 0.0) firstI = i;
    bool firstPair = true;
    // The liquid's outputs at X: potentials, fractions, partial entropies and enthalpies and
    // the potentials the liquid context keeps.
    std::array<double, kLiquidComponents + 1> xAtX{}, sAtX{}, hAtX{}, keptAtX{};
    auto evaluateAtX = [&] {
      liquidAt(ctx, X, T, P);
      for (int i = 1; i <= kLiquidComponents; ++i) {
        const auto u = static_cast<std::size_t>(i);
        ctx.muAtX(i) = m.MuLiq(i);
        xAtX[u] = m.Xliq(i);
        sAtX[u] = m.Sliq(i);
        hAtX[u] = m.Hliq(i);
        keptAtX[u] = m.liquid.LiqMu(i);
      }
    };
    bool evaluated = false;
    for (int j = 1; j <= kLiquidComponents; ++j) {
      if (!(X(j) > 0.0)) continue;
      const double x = X(j);
      const double h = hessianStep(x);
      const bool central = 2.0 * h < x;
      if (central) {
        X(j) = x - h;
        liquidAt(ctx, X, T, P);
        for (int i = 1; i <= kLiquidComponents; ++i) ctx.muLower(i) = m.MuLiq(i);
      }
      X(j) = x + h;
      liquidAt(ctx, X, T, P);
      for (int i = 1; i <= kLiquidComponents; ++i) ctx.trial(i) = m.MuLiq(i);
      X(j) = x;
      if (!evaluated) {
        evaluateAtX();
        evaluated = true;
      }
      for (int i = 1; i <= kLiquidComponents; ++i) {
        if (!(X(i) > 0.0)) continue;
        double lower = ctx.muLower(i);
        if (!central) lower = (firstPair && i == firstI) ? ctx.muEntry(i) : ctx.muAtX(i);
        Hess(i, j) = liquidDerivative(ctx.trial(i), lower, central, h);
      }
      firstPair = false;
    }
    if (evaluated) {
      for (int i = 1; i <= kLiquidComponents; ++i) {
        const auto u = static_cast<std::size_t>(i);
        m.MuLiq(i) = ctx.muAtX(i);
        m.Xliq(i) = xAtX[u];
        m.Sliq(i) = sAtX[u];
        m.Hliq(i) = hAtX[u];
        m.liquid.LiqMu(i) = keptAtX[u];
      }
    }
    // 2. The blocks of the solutions, at their saturation compositions, per mole of phase.
    int c = kLiquidComponents;
    for (int k = 1; k <= st.PhaseCount; ++k) {
      const int id = st.Phaselist(k);
      const int n = m.activity->PhaseEndCount(id);
      if (n == 1) {
        ++c;
        Hess(c, c) = 0.0;
      } else if (n > 1) {
        for (int j = 1; j <= n; ++j) ctx.blockX(j) = m.sat->PhaseX(id, j);
        Hessian(*m.finder, id, T, P, ctx.blockX, n, ctx.block);
        for (int a = 1; a <= n; ++a)
          for (int b = 1; b <= n; ++b) Hess(c + a, c + b) = ctx.block(a, b);
        c += n;
      }
    }
    if (c != Ncomp) reportFrom(ctx, "0 error in subroutine Hessian.");
  };
  runTrapped(m.diag, Subroutine{"Hessian"}, body);
}

bool MakeMatrixC(MinimizerContext& ctx, const MinimizerState& st, int Mc, int Ncomp,
                 Array2<double>& Cmat, Array2<double>& Ctrans, int ConstraintCount,
                 const Array1<int>& ConstraintList) {
  EquilibriumModel& m = *ctx.model;
  bool ok = false;
  auto body = [&] {
    for (int r = 1; r <= Mc; ++r)
      for (int c = 1; c <= Ncomp; ++c) Cmat(r, c) = 0.0;
    for (int i = 1; i <= kLiquidComponents; ++i) Cmat(i, i) = 1.0;
    for (int k = 1; k <= ConstraintCount; ++k) Cmat(kLiquidComponents + k, ConstraintList(k)) = 1.0;
    int c = kLiquidComponents;
    for (int k = 1; k <= st.PhaseCount; ++k) {
      const int id = st.Phaselist(k);
      for (int j = 1; j <= m.activity->PhaseEndCount(id); ++j) {
        ++c;
        if (m.sat->PhaseX(id, j) != 0.0)
          for (int i = 1; i <= kLiquidComponents; ++i) Cmat(i, c) = m.phases.PhaseStoich(id, j, i);
      }
    }
    if (c != Ncomp) {
      reportFrom(ctx, " error in subroutine MakeMatrixC.");
      return;
    }
    for (int r = 1; r <= Mc; ++r)
      for (int col = 1; col <= Ncomp; ++col) Ctrans(col, r) = Cmat(r, col);
    ok = true;
  };
  runTrapped(m.diag, Subroutine{"MakeMatrixC"}, body);
  return ok;
}

int dropDependentFloors(MinimizerContext& ctx, const MinimizerState& st, int Ncomp,
                        int& ConstraintCount, Array1<int>& ConstraintList) {
  if (ConstraintCount <= 0) return 0;
  EquilibriumModel& m = *ctx.model;
  const int nCols = Ncomp - kLiquidComponents;
  // Rows of the floors kept, orthonormalized, in the rows of ctx.floorBasis.
  Array2<double>& basis = ctx.floorBasis;
  Array1<double>& row = ctx.floorRow;
  const double tol = std::sqrt(ctx.machEps);
  int kept = 0;
  for (int k = 1; k <= ConstraintCount; ++k) {
    const int i = ConstraintList(k);
    int c = 0;
    for (int q = 1; q <= st.PhaseCount; ++q) {
      const int id = st.Phaselist(q);
      for (int j = 1; j <= m.activity->PhaseEndCount(id) && c < nCols; ++j) {
        ++c;
        row(c) = m.sat->PhaseX(id, j) != 0.0 ? m.phases.PhaseStoich(id, j, i) : 0.0;
      }
    }
    for (++c; c <= nCols; ++c) row(c) = 0.0;
    double norm0 = 0.0;
    for (c = 1; c <= nCols; ++c) norm0 += row(c) * row(c);
    norm0 = std::sqrt(norm0);
    // Twice, as modified Gram-Schmidt wants for rows that are nearly dependent.
    for (int pass = 0; pass < 2; ++pass)
      for (int b = 1; b <= kept; ++b) {
        double dot = 0.0;
        for (c = 1; c <= nCols; ++c) dot += basis(b, c) * row(c);
        for (c = 1; c <= nCols; ++c) row(c) -= dot * basis(b, c);
      }
    double norm = 0.0;
    for (c = 1; c <= nCols; ++c) norm += row(c) * row(c);
    norm = std::sqrt(norm);
    if (!(norm0 > 0.0) || !(norm > tol * norm0)) continue;
    ++kept;
    for (c = 1; c <= nCols; ++c) basis(kept, c) = row(c) / norm;
    ConstraintList(kept) = i;
  }
  const int dropped = ConstraintCount - kept;
  for (int k = kept + 1; k <= ConstraintCount; ++k) ConstraintList(k) = 0;
  ConstraintCount = kept;
  return dropped;
}

int duplicatedListedPhase(const MinimizerContext& ctx, const MinimizerState& st, int id) {
  const EquilibriumModel& m = *ctx.model;
  constexpr int kN = kLiquidComponents;
  constexpr int kPhases = thermo_data::kNumPhases;
  if (id < 1 || id >= kPhases) return 0;
  std::array<double, kN + 1> c{};
  for (int j = 1; j <= m.activity->PhaseEndCount(id); ++j)
    for (int i = 1; i <= kN; ++i) c[i] += m.sat->PhaseX(id, j) * m.phases.PhaseStoich(id, j, i);
  double cc = 0.0;
  for (int i = 1; i <= kN; ++i) cc += c[i] * c[i];
  if (!(cc > 0.0)) return 0;
  int e = kN;
  for (int k = 1; k <= st.PhaseCount; ++k) {
    const int q = st.Phaselist(k);
    if (q < 1 || q >= kPhases) continue;
    std::array<double, kN + 1> b{};
    for (int j = 1; j <= m.activity->PhaseEndCount(q); ++j) {
      const double moles = st.Xstable(++e);
      for (int i = 1; i <= kN; ++i) b[i] += moles * m.phases.PhaseStoich(q, j, i);
    }
    double bb = 0.0, cb = 0.0;
    for (int i = 1; i <= kN; ++i) {
      bb += b[i] * b[i];
      cb += c[i] * b[i];
    }
    if (!(bb > 0.0) || !(cb > 0.0)) continue;
    // The part of the candidate's composition off the listed phase's line.
    double off = 0.0;
    for (int i = 1; i <= kN; ++i) {
      const double r = c[i] - cb / bb * b[i];
      off += r * r;
    }
    if (off <= kDuplicateComposition * kDuplicateComposition * cc) return k;
  }
  return 0;
}

double EnergyResidual(const MinimizerState& st, double Htot, double Stot, double Vtot) {
  if (st.ConstantH) return Htot - st.Hsystem;
  if (st.ConstantS) return Stot - st.Ssystem;
  if (st.ConstantV) return Vtot - st.Vsystem;
  return 0.0;
}

}  // namespace cx
