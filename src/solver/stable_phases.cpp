// CalcStablePhases: the three nested loops of the minimizer.  The secant search on temperature
// or pressure (F) encloses the assemblage review (C, D), which encloses the inner iteration (E);
// the inner iteration hands control back to the review by setting Count to 1.
#include "solver/stable_phases.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string>

#include "base/trap.h"
#include "solver/equilibrium_rules.h"
#include "solver/kernels/hsqp.h"
#include "solver/kernels/solve.h"
#include "solver/minimizer_internal.h"
#include "thermo/gibbs.h"

namespace cx {

namespace {

constexpr int kPhases = thermo_data::kNumPhases;
constexpr int kN = kLiquidComponents;

using minimizer::liquidAt;
using minimizer::reportFrom;
using minimizer::saturationOf;

enum class Stage { B, C, D, E, F, G, Done };

// Which entries of the vector a step may leave negative, and to what it resets the others.
enum class Clamp { Rule1, Rule2, Rule3 };

struct Run {
  MinimizerContext& ctx;
  MinimizerState& st;
  double& T;
  double& P;
  int& ErrFlag;
  EquilibriumModel& m;
  Diagnostics& diag;

  int Ncomp = kN;
  int Count = 1;
  int DropPasses = 0, OuterCount = 0, LastDropped = 0;
  // The affinity of the phase dropped last as the present review found it (the review itself
  // overwrites it), and how often a dropped phase was let back in this call.
  double lastDroppedAffinity = 1e6;
  std::array<int, kPhases + 1> readmissions{};  // by phase id
  // The final steps on a settled assemblage (see finish()).
  bool polishing = false, polished = false;
  int polishSteps = 0;
  bool innerConverged = true;  // whether the last inner iteration passed its test
  double Steplength = 0.0, Norm = 0.0, XNorm = 0.0, MaxStep = 1.0, FloorStep = 1.0;
  // The secant search.
  double x0 = 0.0, x1 = 0.0, r0 = 0.0, r1 = 0.0, firstStep = 0.0, searchTol = 0.0;
  double target = 0.0;
  // The largest move of T (K) or P (bar) one secant pass may take, and the sign of the last
  // move that met it: a search that keeps meeting it in one direction widens it.
  double moveLimit = 0.0;
  int clampedSign = 0;

  // The routine that first raised ErrorFlag in this call.  The liquid and saturation routines
  // raise it without a report of their own (they run thousands of times here); the minimizer
  // names the failure when it stops on it.
  const char* failedIn = nullptr;
  void note(const char* what) {
    if (diag.ErrorFlag && failedIn == nullptr) failedIn = what;
  }

  void gibbs() {
    m.setConditions(T, P);
    note("the standard states (Gibbs)");
  }

  void liquid(const Array1<double>& X) {
    liquidAt(ctx, X, T, P);
    note("the liquid model (MoleFractions, u_Liquid)");
  }
  void satAll() {
    saturationOf(ctx, st, 0, T, P, ErrFlag);
    note("the saturation state (PhaseCompositions)");
  }
  void satListed() {
    for (int k = 1; k <= st.PhaseCount; ++k) saturationOf(ctx, st, st.Phaselist(k), T, P, ErrFlag);
    note("the saturation state (PhaseCompositions)");
  }
  int endCount(int id) const { return m.activity->PhaseEndCount(id); }

  // The equality constraints of the step: mass balance of the bulk and the liquid components
  // held at their floor.  A floor that repeats mass balance would make them singular: it is let
  // go, and mass balance alone decides that component (see dropDependentFloors).
  bool buildConstraints() {
    ctx.counters.floorsDropped +=
        dropDependentFloors(ctx, st, Ncomp, ctx.ConstraintCount, ctx.ConstraintList);
    ctx.Mc = kN + ctx.ConstraintCount;
    for (int i = 1; i <= kN; ++i) ctx.Dvec(i) = st.BulkMoles(i);
    for (int k = 1; k <= ctx.ConstraintCount; ++k)
      ctx.Dvec(kN + k) = liquidFloor(ctx.ConstraintList(k));
    // Fresh solver arrays: a constraint matrix that cannot be built leaves its transpose at zero.
    for (int c = 1; c <= Ncomp; ++c)
      for (int r = 1; r <= ctx.Mc; ++r) ctx.Ctrans(c, r) = 0.0;
    return MakeMatrixC(ctx, st, ctx.Mc, Ncomp, ctx.Cmat, ctx.Ctrans, ctx.ConstraintCount,
                       ctx.ConstraintList);
  }

  void makeGv(const Array1<double>& X, bool recompute) {
    Make_Gv(ctx, st, T, P, ctx.Gv, X, Ncomp, recompute, ErrFlag);
    note("Make_Gv");
  }

  // Turns the quadratic program built at X into the Newton step's: each phase's block (the
  // Hessian of one mole of the phase) becomes the Hessian of the moles the phase holds, that is
  // divided by those moles, and the linear term becomes Gv - Hess X.  The program's solution is
  // then X plus the Newton step, whose fixed point has every listed endmember's potential equal
  // to the liquid's (zero affinity) whatever the accuracy of the Hessian; with the linear term
  // Gv alone the fixed point was off by Hess X (up to tens of J for a spinel).
  void newtonForm(const Array1<double>& X) {
    int c = kN;
    for (int k = 1; k <= st.PhaseCount; ++k) {
      const int id = st.Phaselist(k);
      if (id >= kPhases) continue;
      const int n = endCount(id);
      double moles = 0.0;
      for (int j = 1; j <= n; ++j) moles += X(c + j);
      const double scale = 1.0 / std::max(moles, kSolidFloor);
      for (int a = 1; a <= n; ++a)
        for (int b = 1; b <= n; ++b) ctx.Hess(c + a, c + b) *= scale;
      c += n;
    }
    for (int i = 1; i <= Ncomp; ++i) {
      double hx = 0.0;
      for (int j = 1; j <= Ncomp; ++j) hx += ctx.Hess(i, j) * X(j);
      ctx.trial(i) = hx;
    }
    for (int i = 1; i <= Ncomp; ++i) ctx.Gv(i) -= ctx.trial(i);
  }

  // Nhat = Xold + (Xstable - Xold) * s with the clamp rule given.
  void formNhat(double s, Clamp rule, bool sumG) {
    const Array1<double>& Xold = ctx.Xold;
    Array1<double>& Nhat = ctx.Nhat;
    for (int i = 1; i <= Ncomp; ++i) {
      Nhat(i) = Xold(i) + (st.Xstable(i) - Xold(i)) * s;
      if (i <= kN) {
        if (st.BulkMoles(i) > 0.0 && Nhat(i) < liquidFloor(i)) Nhat(i) = liquidFloor(i);
        if (st.BulkMoles(i) == 0.0) Nhat(i) = 0.0;
      } else {
        bool below = false, negOK = false;
        switch (rule) {
          case Clamp::Rule1:
            below = Nhat(i) < 0.0;
            negOK = ctx.NegOK(i);
            break;
          case Clamp::Rule2:
            // The flag of the last entry for every entry: intended.
            below = Nhat(i) <= kSolidFloor;
            negOK = ctx.NegOK(Ncomp);
            break;
          case Clamp::Rule3:
            below = Nhat(i) < 0.0;
            negOK = ctx.NegOK(Ncomp);
            break;
        }
        if (below && !negOK) Nhat(i) = Xold(i) > 0.0 ? kSolidFloor : 0.0;
      }
      if (sumG) st.Gsystem += ctx.Gv(i) * Nhat(i);
    }
  }

  void progress() {
    ProgressInfo info;
    info.node = ctx.node;
    info.temperatureK = T;
    info.pressureBar = P;
    info.attempt = Count;
    info.attemptsTotal = OuterCount;
    info.constantT = st.ConstantT;
    info.components = Ncomp;
    info.norm = Norm;
    info.hsqpFlag = ctx.rnorm(1);
    info.stepLength = Steplength;
    for (int k = 1; k <= ctx.ConstraintCount; ++k)
      info.constrainedComponents.push_back(m.tables.LiqFormula(ctx.ConstraintList(k)));
    for (int k = 1; k <= st.PhaseCount; ++k) {
      info.saturatedPhases.push_back(st.Phaselist(k));
      const int id = st.Phaselist(k);
      info.affinities.push_back(id >= 1 && id <= kPhases ? m.sat->Affinity(id) : 1e6);
    }
    ctx.port->showProgress(info);
  }

  // Removes the entries of the phase at list position k from X (laid out for the present list,
  // Ncomp entries) when phases follow it, and clears the entries freed at the end.
  void closeUpEntries(int k, Array1<double>& X) {
    if (k >= st.PhaseCount) return;
    int s = kN + 1;
    for (int q = 1; q < k; ++q)
      if (st.Phaselist(q) < kPhases) s += endCount(st.Phaselist(q));
    const int id = st.Phaselist(k);
    const int n = id < kPhases ? endCount(id) : 0;
    if (n == 0) return;
    for (int i = s; i <= Ncomp - n; ++i) X(i) = X(i + n);
    for (int i = Ncomp - n + 1; i <= Ncomp; ++i) X(i) = 0.0;
  }

  // Adds the moles of the endmembers of the phase at list position k (entries of X laid out
  // for the present list) to the liquid components of X.
  void giveBackToLiquid(int k, Array1<double>& X) {
    int c = kN;
    for (int q = 1; q < k; ++q)
      if (st.Phaselist(q) < kPhases) c += endCount(st.Phaselist(q));
    const int id = st.Phaselist(k);
    if (id >= kPhases) return;
    for (int j = 1; j <= endCount(id); ++j) {
      const double moles = X(c + j);
      for (int i = 1; i <= kN; ++i) X(i) += m.phases.PhaseStoich(id, j, i) * moles;
    }
  }

  // Moves the NegOK flags of the phases behind list position k up over its entries.
  void closeUpFlags(int k) {
    int c = kN;
    for (int q = 1; q < k; ++q)
      if (st.Phaselist(q) < kPhases) c += endCount(st.Phaselist(q));
    const int id = st.Phaselist(k);
    const int n = id < kPhases ? endCount(id) : 0;
    const int length = listedLength();
    for (int i = c + 1; i + n <= length; ++i) ctx.NegOK(i) = ctx.NegOK(i + n);
  }

  bool liquidCanTakeBack(int k) const {
    int c = kN;
    for (int q = 1; q < k; ++q)
      if (st.Phaselist(q) < kPhases) c += endCount(st.Phaselist(q));
    const int id = st.Phaselist(k);
    if (id >= kPhases) return true;
    for (int i = 1; i <= kN; ++i) {
      double x = st.Xstable(i);
      for (int j = 1; j <= endCount(id); ++j)
        x += m.phases.PhaseStoich(id, j, i) * st.Xstable(c + j);
      if (x < 0.0) return false;
    }
    return true;
  }

  void removeFromList(int k) {
    for (int q = k; q < st.PhaseCount; ++q) st.Phaselist(q) = st.Phaselist(q + 1);
    st.Phaselist(st.PhaseCount) = 0;
    --st.PhaseCount;
  }

  // Whether the state handed in is already the equilibrium of this call: its vector fits the
  // list, it keeps mass balance with this bulk, the review would neither drop nor add a phase,
  // a search mode's target is met, and either a call at this very T, P and bulk left it, or one
  // Newton step from it moves it by less than kSettledTolerance.  Such a state is returned as it
  // stands.  Iterating on it would only walk it within the precision of the phases' saturation
  // compositions (1e-6 of the moles, with jumps to 1e-3 where a composition has two nearby
  // solutions), so that a call repeated on its own result would not return that result.
  // A state that cannot even be evaluated is not settled; the evaluation is only a probe, so its
  // failure does not fail the call: the iteration starts from the state as usual.
  bool incomingIsSettled() {
    const bool settled = probeIncoming();
    if (diag.ErrorFlag && !diag.HaltFlag) {
      diag.ErrorFlag = false;
      failedIn = nullptr;
      return false;
    }
    return settled;
  }
  // Whether the state handed in is laid out for its list, holds only known phases of positive
  // amount and no negative liquid component, and keeps mass balance with the present bulk.
  bool incomingBalanced() {
    const int length = listedLength();
    if ((st.Ncomp != length && st.Ncomp != kN) || length == kN || length > kMaxStateVector)
      return false;
    for (int k = 1; k <= st.PhaseCount; ++k)
      if (st.Phaselist(k) < 1 || st.Phaselist(k) >= kPhases) return false;
    double bulkTotal = 0.0;
    for (int i = 1; i <= kN; ++i) bulkTotal += st.BulkMoles(i);
    for (int i = 1; i <= kN; ++i) {
      if (!(st.Xstable(i) >= 0.0)) return false;
      double total = st.Xstable(i);
      int c = kN;
      for (int k = 1; k <= st.PhaseCount; ++k) {
        const int id = st.Phaselist(k);
        for (int j = 1; j <= endCount(id); ++j)
          total += m.phases.PhaseStoich(id, j, i) * st.Xstable(++c);
      }
      if (!(std::fabs(total - st.BulkMoles(i)) <= 2.0 * kLiquidFloor + 1e-9 * bulkTotal))
        return false;
    }
    int c = kN;
    for (int k = 1; k <= st.PhaseCount; ++k) {
      double moles = 0.0;
      for (int j = 1; j <= endCount(st.Phaselist(k)); ++j) moles += st.Xstable(++c);
      if (!(moles > 0.0)) return false;
    }
    return true;
  }

  // A state handed in for another bulk (a column node whose bulk moved) keeps its phases; the
  // liquid takes up the difference.  Where the crystals hold more of a component than the new
  // bulk leaves for them (the liquid would turn negative), every listed phase is scaled down by
  // one factor, the largest that leaves the liquid at least its floor of each component: the
  // phases and their compositions stay as the last call found them, only less of them.
  void rebalanceIncoming() {
    const int length = listedLength();
    if ((st.Ncomp != length && st.Ncomp != kN) || length == kN || length > kMaxStateVector) return;
    for (int k = 1; k <= st.PhaseCount; ++k)
      if (st.Phaselist(k) < 1 || st.Phaselist(k) >= kPhases) return;
    std::array<double, kN + 1> solids{};
    double scale = 1.0;
    for (int i = 1; i <= kN; ++i) {
      double held = 0.0;
      int c = kN;
      for (int k = 1; k <= st.PhaseCount; ++k) {
        const int id = st.Phaselist(k);
        for (int j = 1; j <= endCount(id); ++j)
          held += m.phases.PhaseStoich(id, j, i) * st.Xstable(++c);
      }
      solids[static_cast<std::size_t>(i)] = held;
      if (!std::isfinite(held)) return;
      const double room = st.BulkMoles(i) - (st.BulkMoles(i) > 0.0 ? liquidFloor(i) : 0.0);
      if (held > 0.0 && held > room) scale = std::min(scale, std::max(room, 0.0) / held);
    }
    if (!(scale > 0.0)) return;
    if (scale < 1.0) {
      for (int i = kN + 1; i <= length; ++i) st.Xstable(i) *= scale;
      for (int i = 1; i <= kN; ++i) solids[static_cast<std::size_t>(i)] *= scale;
    }
    std::array<double, kN + 1> liquidNew{};
    for (int i = 1; i <= kN; ++i) {
      liquidNew[static_cast<std::size_t>(i)] =
          st.BulkMoles(i) - solids[static_cast<std::size_t>(i)];
      if (!(liquidNew[static_cast<std::size_t>(i)] >= 0.0)) return;
    }
    for (int i = 1; i <= kN; ++i) st.Xstable(i) = liquidNew[static_cast<std::size_t>(i)];
  }

  bool probeIncoming() {
    SaturationContext& sat = *m.sat;
    Ncomp = listedLength();
    // (A state kept outside, with Ncomp left at its default, is laid out by its list.)
    if ((st.Ncomp != Ncomp && st.Ncomp != kN) || Ncomp == kN) return false;
    for (int k = 1; k <= st.PhaseCount; ++k)
      if (st.Phaselist(k) < 1 || st.Phaselist(k) >= kPhases) return false;
    // Mass balance with the present bulk, and the phases' moles.
    for (int i = 1; i <= kN; ++i) {
      double total = st.Xstable(i);
      int c = kN;
      for (int k = 1; k <= st.PhaseCount; ++k) {
        const int id = st.Phaselist(k);
        for (int j = 1; j <= endCount(id); ++j)
          total += m.phases.PhaseStoich(id, j, i) * st.Xstable(++c);
      }
      if (st.Xstable(i) < 0.0 ||
          std::fabs(total - st.BulkMoles(i)) > 1e-10 * std::max(st.BulkMoles(i), 1e-3))
        return false;
    }
    // The review: every listed phase saturated and present, none left out oversaturated.
    for (int i = 1; i <= Ncomp; ++i) ctx.Nhat(i) = st.Xstable(i);
    liquid(ctx.Nhat);
    satAll();
    if (diag.ErrorFlag) return false;
    auto listed = [&](int id) {
      for (int k = 1; k <= st.PhaseCount; ++k)
        if (st.Phaselist(k) == id) return true;
      return false;
    };
    int c = kN;
    for (int k = 1; k <= st.PhaseCount; ++k) {
      const int id = st.Phaselist(k);
      double moles = 0.0;
      for (int j = 1; j <= endCount(id); ++j) moles += st.Xstable(++c);
      if (!(std::fabs(sat.Affinity(id)) <= equilibrium::kResultAffinityLimit) ||
          moles < equilibrium::kVanishedMoles)
        return false;
    }
    for (int id = 1; id <= kPhases; ++id) {
      if (listed(id) || sat.PhaseExcluded(id) || !equilibrium::wantsToJoin(sat.Affinity(id)))
        continue;
      if (equilibrium::excludedByListed(id, listed)) continue;
      return false;
    }
    // The target of a search mode.
    makeGv(ctx.Nhat, false);
    const double r = EnergyResidual(st, ctx.Htot, ctx.Stot, ctx.Vtot);
    if (st.ConstantH && !(std::fabs(r) <= equilibrium::kEnthalpyTolerance)) return false;
    if (st.ConstantS && !(std::fabs(r) <= equilibrium::kEntropyTolerance)) return false;
    if (st.ConstantV && !(std::fabs(r) <= equilibrium::kVolumeTolerance)) return false;
    // The result of a call at this very temperature, pressure and bulk: that call's answer.
    if (st.settled && st.settledT == T && st.settledP == P) {
      bool sameBulk = true;
      for (int i = 1; i <= kN; ++i) sameBulk = sameBulk && st.settledBulk(i) == st.BulkMoles(i);
      if (sameBulk) return true;
    }
    // One Newton step, with the liquid components at their floor held there.
    ctx.ConstraintCount = 0;
    ctx.ConstraintList.erase();
    for (int i = 1; i <= kN; ++i)
      if (st.BulkMoles(i) > liquidFloor(i) && st.Xstable(i) <= liquidFloor(i))
        ctx.ConstraintList(++ctx.ConstraintCount) = i;
    const bool built = buildConstraints();
    CalcHessian(ctx, st, ctx.Hess, ctx.Nhat, Ncomp, T, P);
    newtonForm(ctx.Nhat);
    int krank = 0;
    HSQP(ctx.Hess, ctx.Gv, ctx.Cmat, ctx.Dvec, ctx.Mc, Ncomp, ctx.machEps, ctx.up, ctx.h, ctx.g,
         ctx.ip, ctx.rnorm, ctx.trial, krank, diag);
    ctx.ConstraintCount = 0;
    ctx.ConstraintList.erase();
    ctx.Mc = kN;
    if (!built || diag.ErrorFlag || ctx.rnorm(1) < 0.0) return false;
    double sum = 0.0, xsum = 0.0;
    for (int i = 1; i <= Ncomp; ++i) {
      const double d = ctx.trial(i) - st.Xstable(i);
      sum += d * d;
      xsum += st.Xstable(i) * st.Xstable(i);
    }
    return std::isfinite(sum) && std::sqrt(sum) <= kSettledTolerance * std::sqrt(xsum);
  }

  // A. Start.
  Stage start() {
    Ncomp = kN;
    ctx.Mc = kN;
    ctx.ConstraintCount = 0;
    ctx.rnorm(1) = 0.0;
    gibbs();
    if (st.PhaseCount > 0 && !diag.HaltFlag && !diag.ErrorFlag && incomingIsSettled()) {
      ++ctx.counters.warmAccepted;
      return Stage::G;
    }
    st.settled = false;  // until this call ends on an assemblage
    if (st.PhaseCount > 0) rebalanceIncoming();
    if (st.PhaseCount > 0 && incomingBalanced()) {
      // A state handed in that keeps mass balance is where the iteration starts, amounts and
      // all (re-seeding its phases from the liquid threw away what the last call had found).
      Ncomp = listedLength();
      for (int i = 1; i <= Ncomp; ++i) ctx.Nhat(i) = ctx.Xold(i) = st.Xstable(i);
      int c = kN;
      for (int k = 1; k <= st.PhaseCount; ++k) {
        const int id = st.Phaselist(k);
        for (int j = 1; j <= endCount(id); ++j)
          ctx.NegOK(++c) = ((id == 4 || id == 5) && j == 1 && !m.activity->ActivityFlags(5)) ||
                           (id == 7 && j == 5 && !m.activity->ActivityFlags(7));
      }
      Count = 2;
    } else if (st.PhaseCount > 0) {
      // A state that cannot be balanced with this bulk (the liquid would have to give up more
      // of a component than it holds) keeps only its list: the iteration starts from the bulk
      // as liquid with a seed of each listed phase, and from that state, not from the one handed
      // in.  Seeded from the liquid handed in, the solids' moles were lost; and with the step
      // begun from the old vector the mass defect only shrank by the step length, bounded steps
      // of a few per cent kept it (0.009 mol of SiO2 after 200 steps).
      for (int i = 1; i <= kN; ++i) ctx.Nhat(i) = ctx.Xold(i) = st.BulkMoles(i);
      SetNhat(ctx, st, Ncomp, ctx.Nhat, ctx.NegOK);
      note("SetNhat");
      for (int i = 1; i <= Ncomp; ++i) st.Xstable(i) = ctx.Xold(i) = ctx.Nhat(i);
      Count = Ncomp > kN ? 2 : 1;
    } else {
      st.PhaseCount = 0;
      ctx.Nhat.erase();
      for (int i = 1; i <= kN; ++i) ctx.Nhat(i) = ctx.Xold(i) = st.Xstable(i) = st.BulkMoles(i);
      Ncomp = kN;
      Count = 1;
    }
    return Stage::B;
  }

  // B. Top of the inner iteration.
  Stage top() {
    ctx.port->doEvents();
    if (diag.HaltFlag || diag.ErrorFlag) return Stage::Done;
    liquid(ctx.Nhat);
    if (Count == 1 || st.PhaseCount == 0)
      satAll();
    else
      satListed();
    return Count != 1 ? Stage::E : Stage::C;
  }

  // C. Assemblage review: drop a phase that is off saturation or has vanished.
  Stage review() {
    ++DropPasses;
    ++ctx.counters.reviews;
    if (st.PhaseCount == 0) return Stage::D;
    st.PhaseMoles.erase();
    int c = kN;
    for (int k = 1; k <= st.PhaseCount; ++k) {
      const int id = st.Phaselist(k);
      if (id > kPhases) continue;
      for (int j = 1; j <= endCount(id); ++j) st.PhaseMoles(id, j) = st.Xstable(++c);
    }
    SaturationContext& sat = *m.sat;
    if (LastDropped > 0) lastDroppedAffinity = sat.Affinity(LastDropped);
    const int startCount = st.PhaseCount;
    for (int k = 1; k <= startCount && st.PhaseCount != 0 && DropPasses <= kMaxDropPasses; ++k) {
      // A phase just dropped that got back into the list drops at once.
      if (LastDropped > 0) sat.Affinity(LastDropped) = equilibrium::kListedAffinityLimit;
      const int id = st.Phaselist(k);
      if (id > kPhases) continue;
      double moles = 0.0;
      for (int j = 1; j <= thermo_data::kMaxPhaseEndmembers; ++j) moles += st.PhaseMoles(id, j);
      // A small phase still undersaturated when the inner iteration ran out of steps is on its
      // way out: the steps, bounded at zero, shrink it by 1 % each (an orthopyroxene of 1.6e-5
      // mol, 56 J undersaturated, for thousands of steps).  It goes now; should it be wanted
      // after all, the review lets it back once the rest has settled.
      const bool fading = !innerConverged && moles < kFadingMoles &&
                          sat.Affinity(id) > equilibrium::kResultAffinityLimit;
      if (!fading && equilibrium::keepsListedPhase(sat.Affinity(id), moles)) continue;
      // A phase whose moles the liquid cannot take back (an endmember with a negative
      // coefficient of a component the liquid is short of) is not dropped at once: the Newton
      // steps shrink it, bounded at zero, until it can go.
      if (!liquidCanTakeBack(k)) continue;
      ++ctx.counters.drops;
      polished = false;
      if (id != LastDropped) {
        LastDropped = id;
        for (int j = 1; j <= thermo_data::kMaxPhaseEndmembers; ++j) st.PhaseMoles(id, j) = 0.0;
        // The entries of the phases behind it move up, in Xstable too: the next step takes Xold
        // from Xstable, and a vector laid out for the old list would hand each phase behind the
        // dropped one the moles of another phase's endmembers (mass balance lost, negative
        // moles, and the iteration driven far off).  Dropping the last phase moves nothing.
        // What is left of the phase goes back to the liquid, so that the state keeps mass
        // balance (dropping it into nothing lost up to a gram of the system).
        giveBackToLiquid(k, st.Xstable);
        closeUpEntries(k, st.Xstable);
        // The iteration goes on from the state without the phase (its moles in the liquid);
        // the other phases keep their amounts and their entries' flags move up with them.
        closeUpFlags(k);
        removeFromList(k);
        Ncomp = listedLength();
        for (int i = 1; i <= Ncomp; ++i) ctx.Nhat(i) = st.Xstable(i);
        liquid(ctx.Nhat);
        if (st.PhaseCount > 0) {
          satListed();
          makeGv(ctx.Nhat, false);
          return Stage::E;
        }
        continue;
      }
      // The same phase went twice: close its entries out of Nhat and call the assemblage
      // settled.  Ncomp and Xstable stay as they are, by design.
      int s = kN + 1;
      for (int q = 1; q < k; ++q)
        if (st.Phaselist(q) < kPhases) s += endCount(st.Phaselist(q));
      const int n = endCount(id);
      if (k < st.PhaseCount) {
        for (int i = s; i <= Ncomp - n; ++i) ctx.Nhat(i) = ctx.Nhat(i + n);
      } else {
        for (int i = s; i <= Ncomp; ++i) ctx.Nhat(i) = 0.0;
      }
      removeFromList(k);
      return Stage::F;
    }
    return Stage::D;
  }

  // Phaselist holds 15 phases.  With 15 liquid components the phase rule admits at most 15
  // phases in all at a fixed T and P, the liquid included, so a full list that wants another
  // phase is an iteration gone astray, not an assemblage: the call ends with a report instead of
  // writing past the list.
  bool listFull(int id) {
    if (st.PhaseCount < kMaxListedPhases) return false;
    diag.ErrorFlag = true;
    reportFrom(ctx, "Phase list full (" + std::to_string(kMaxListedPhases) + " phases) when " +
                        trimmedText(m.phases.PhaseNames(id)) +
                        " would join, in subroutine MimimizeG.");
    return true;
  }

  // Phase id joins the list; the state vector gets its entries.
  Stage join(int id) {
    st.Phaselist(st.PhaseCount + 1) = id;
    ++st.PhaseCount;
    ++ctx.counters.adds;
    polished = false;
    seedJoining(id);
    return Stage::E;
  }

  // The state goes on with the phases it holds; only the phase that joins gets entries, at the
  // end of the vector: 1e-5 mol of its saturation composition (less where a liquid component
  // would fall below half its distance to the floor), taken from the liquid so that the state
  // keeps mass balance.  (Seeding every listed phase afresh threw away their amounts and lost
  // mass balance at each join.)
  void seedJoining(int id) {
    Array1<double>& Nhat = ctx.Nhat;
    const int base = listedLength() - endCount(id);
    for (int i = 1; i <= base; ++i) Nhat(i) = st.Xstable(i);
    const SaturationContext& sat = *m.sat;
    const ActivityContext& act = *m.activity;
    const int n = endCount(id);
    double amount = 1e-5;
    for (int i = 1; i <= kN; ++i) {
      double need = 0.0;
      for (int j = 1; j <= n; ++j) need += m.phases.PhaseStoich(id, j, i) * sat.PhaseX(id, j);
      if (need > 0.0)
        amount = std::min(amount, 0.5 * std::max(Nhat(i) - liquidFloor(i), 0.0) / need);
    }
    for (int j = 1; j <= n; ++j) {
      const int e = base + j;
      ctx.NegOK(e) = ((id == 4 || id == 5) && j == 1 && !act.ActivityFlags(5)) ||
                     (id == 7 && j == 5 && !act.ActivityFlags(7));
      Nhat(e) = amount * sat.PhaseX(id, j);
      for (int i = 1; i <= kN; ++i) Nhat(i) -= m.phases.PhaseStoich(id, j, i) * Nhat(e);
    }
    Ncomp = base + n;
    for (int i = 1; i <= Ncomp; ++i) st.Xstable(i) = Nhat(i);
  }

  // D. Add the most oversaturated phase that may join.
  Stage add() {
    SaturationContext& sat = *m.sat;
    Array1<int>& order = ctx.order;
    for (int i = 1; i <= kPhases; ++i) order(i) = i;
    bool exchanged = true;
    while (exchanged) {
      exchanged = false;
      for (int i = 1; i < kPhases; ++i)
        if (sat.Affinity(order(i)) > sat.Affinity(order(i + 1))) {
          std::swap(order(i), order(i + 1));
          exchanged = true;
        }
    }
    auto listed = [&](int id) {
      for (int k = 1; k <= st.PhaseCount; ++k)
        if (st.Phaselist(k) == id) return true;
      return false;
    };
    for (int idx = 1; idx <= kPhases; ++idx) {
      const int id = order(idx);
      if (sat.PhaseExcluded(id) || !equilibrium::wantsToJoin(sat.Affinity(id)) || id == LastDropped)
        continue;
      // A candidate of the composition a listed phase already holds is that phase again.
      const bool duplicate = !listed(id) && duplicatedListedPhase(ctx, st, id) > 0;
      if (duplicate) ++ctx.counters.duplicatesRefused;
      const bool refused = listed(id) || equilibrium::excludedByListed(id, listed) || duplicate;
      if (refused) {
        // A refused candidate at the very end of the order counts as found.
        if (idx == kPhases) {
          SetNhat(ctx, st, Ncomp, ctx.Nhat, ctx.NegOK);
          note("SetNhat");
          return Stage::E;
        }
        continue;
      }
      if (listFull(id)) return Stage::Done;
      return join(id);
    }
    // Nothing else wants to join or leave: the rest has converged without the phase dropped
    // last.  If that one is still oversaturated here it was dropped on the way (its affinity
    // strays while the assemblage around it changes), and it belongs to the assemblage: let it
    // back, a few times per call at most so that a phase that truly alternates cannot cycle.
    const int back = LastDropped;
    if (back > 0 && back <= kPhases &&
        readmissions[static_cast<std::size_t>(back)] < kMaxReadmissions &&
        equilibrium::wantsToJoin(lastDroppedAffinity) && !sat.PhaseExcluded(back) &&
        !listed(back) && !equilibrium::excludedByListed(back, listed)) {
      if (listFull(back)) return Stage::Done;
      ++readmissions[static_cast<std::size_t>(back)];
      ++ctx.counters.readmissions;
      LastDropped = 0;
      lastDroppedAffinity = 1e6;
      return join(back);
    }
    return Stage::F;
  }

  // The quadratic program of the Newton step: the new target in Xstable.  The floors kept are
  // independent, so HSQP should not find the constraints dependent; should it all the same (a
  // row independent only to rounding), or give no finite answer, the step is solved again on
  // mass balance alone, which is always of full rank (the liquid's identity block), and the
  // floor-step limit of the line search keeps the liquid components at their floor.  A step
  // that fails even so ends the call with a report: its target is not used.
  bool quadraticStep() {
    const int n = Ncomp;
    for (int i = 1; i <= n; ++i) {
      ctx.GvCopy(i) = ctx.Gv(i);
      for (int j = 1; j <= n; ++j) ctx.HessCopy(i, j) = ctx.Hess(i, j);
    }
    auto solve = [&] {
      int krank = 0;
      HSQP(ctx.Hess, ctx.Gv, ctx.Cmat, ctx.Dvec, ctx.Mc, n, ctx.machEps, ctx.up, ctx.h, ctx.g,
           ctx.ip, ctx.rnorm, st.Xstable, krank, diag);
      ++ctx.counters.quadraticSteps;
      ctx.counters.lastHsqpFlag = ctx.rnorm(1);
      if (ctx.rnorm(1) == -2.0) ++ctx.counters.hsqpDependentRows;
      if (ctx.rnorm(1) < 0.0) return false;
      for (int i = 1; i <= n; ++i)
        if (!std::isfinite(st.Xstable(i))) return false;
      return true;
    };
    if (solve()) return true;
    ++ctx.counters.massBalanceResolves;
    for (int i = 1; i <= n; ++i) {
      ctx.Gv(i) = ctx.GvCopy(i);
      for (int j = 1; j <= n; ++j) ctx.Hess(i, j) = ctx.HessCopy(i, j);
    }
    ctx.ConstraintCount = 0;
    ctx.ConstraintList.erase();
    ctx.Mc = kN;
    MakeMatrixC(ctx, st, ctx.Mc, n, ctx.Cmat, ctx.Ctrans, 0, ctx.ConstraintList);
    if (solve()) return true;
    for (int i = 1; i <= n; ++i) st.Xstable(i) = ctx.Xold(i);
    diag.ErrorFlag = true;
    reportFrom(ctx, "The quadratic step failed (HSQP flag " + std::to_string(ctx.rnorm(1)) +
                        ") in subroutine MimimizeG.");
    return false;
  }

  // An endmember the saturation state leaves out (PhaseX 0: the liquid cannot build it) has no
  // column in mass balance, so the quadratic program leaves its entry free; whatever value it
  // took was carried into the state and read as moles of that endmember, out of nothing (tenths
  // of a mole near the solidus).  Such entries are held at zero.
  void zeroAbsentEndmembers(Array1<double>& X) {
    int c = kN;
    for (int k = 1; k <= st.PhaseCount; ++k) {
      const int id = st.Phaselist(k);
      if (id >= kPhases) continue;
      for (int j = 1; j <= endCount(id); ++j) {
        ++c;
        if (m.sat->PhaseX(id, j) == 0.0) X(c) = 0.0;
      }
    }
  }

  // A bound held in the quadratic program (a liquid component at its floor, an endmember at
  // zero) is right only while the system would lower that entry further: the held entry's
  // reduced gradient, its potential in the quadratic model less the potential the free entries
  // give its components, must not be negative.  A bound held against that sign stops the
  // iteration short of the minimum (the multipliers' floor rule holds every floor, since every
  // potential is negative).  The potentials of the components come from the free entries: a free
  // liquid component gives its own; those at a floor are fitted, by least squares, to the free
  // endmembers that hold them.  Releases each wrongly held bound (flagged in `released`, so that
  // it is not held again in this step); true when one was released.
  bool releaseHeldBounds(std::array<bool, kMaxStateVector + 1>& heldAtZero,
                         std::array<bool, kMaxStateVector + 1>& released) {
    if (ctx.ConstraintCount == 0) {
      bool any = false;
      for (int e = kN + 1; e <= Ncomp; ++e) any = any || heldAtZero[static_cast<std::size_t>(e)];
      if (!any) return false;
    }
    // The gradient of the quadratic model at the solution.
    Array1<double>& r = ctx.kktGradient;
    for (int i = 1; i <= Ncomp; ++i) {
      double hx = 0.0;
      for (int j = 1; j <= Ncomp; ++j) hx += ctx.HessCopy(i, j) * st.Xstable(j);
      r(i) = ctx.GvCopy(i) + hx;
    }
    std::array<bool, kN + 1> floored{};
    std::array<int, kN + 1> slot{};
    int nf = 0;
    for (int k = 1; k <= ctx.ConstraintCount; ++k) {
      const int i = ctx.ConstraintList(k);
      floored[static_cast<std::size_t>(i)] = true;
      slot[static_cast<std::size_t>(i)] = ++nf;
    }
    std::array<double, kN + 1> y{};
    for (int i = 1; i <= kN; ++i)
      if (!floored[static_cast<std::size_t>(i)]) y[static_cast<std::size_t>(i)] = r(i);
    // The columns of the endmembers: stoichiometry where the saturation state holds the
    // endmember, nothing where it leaves it out.
    auto column = [&](int e, int i) {
      int c = kN;
      for (int k = 1; k <= st.PhaseCount; ++k) {
        const int id = st.Phaselist(k);
        if (id >= kPhases) continue;
        const int n = endCount(id);
        if (e <= c + n) {
          const int j = e - c;
          return m.sat->PhaseX(id, j) != 0.0 ? m.phases.PhaseStoich(id, j, i) : 0.0;
        }
        c += n;
      }
      return 0.0;
    };
    if (nf > 0) {
      // Normal equations of the fit over the free endmembers, lightly regularized so that a
      // component no free endmember holds keeps a defined (and harmless) potential.
      std::array<std::array<double, kN + 1>, kN + 1> a{};
      std::array<double, kN + 1> b{};
      for (int e = kN + 1; e <= Ncomp; ++e) {
        if (heldAtZero[static_cast<std::size_t>(e)]) continue;
        double rest = r(e);
        bool touches = false;
        for (int i = 1; i <= kN; ++i) {
          const double nu = column(e, i);
          if (nu == 0.0) continue;
          if (floored[static_cast<std::size_t>(i)])
            touches = true;
          else
            rest -= nu * y[static_cast<std::size_t>(i)];
        }
        if (!touches) continue;
        for (int i = 1; i <= kN; ++i) {
          const auto si = static_cast<std::size_t>(slot[static_cast<std::size_t>(i)]);
          if (!floored[static_cast<std::size_t>(i)]) continue;
          const double nui = column(e, i);
          b[si] += nui * rest;
          for (int j = 1; j <= kN; ++j)
            if (floored[static_cast<std::size_t>(j)])
              a[si][static_cast<std::size_t>(slot[static_cast<std::size_t>(j)])] +=
                  nui * column(e, j);
        }
      }
      double scale = 0.0;
      for (int q = 1; q <= nf; ++q)
        scale = std::max(scale, a[static_cast<std::size_t>(q)][static_cast<std::size_t>(q)]);
      const double ridge = 1e-12 * std::max(scale, 1.0);
      for (int q = 1; q <= nf; ++q)
        a[static_cast<std::size_t>(q)][static_cast<std::size_t>(q)] += ridge;
      // Gaussian elimination with partial pivoting.
      for (int col = 1; col <= nf; ++col) {
        int piv = col;
        for (int q = col + 1; q <= nf; ++q)
          if (std::fabs(a[static_cast<std::size_t>(q)][static_cast<std::size_t>(col)]) >
              std::fabs(a[static_cast<std::size_t>(piv)][static_cast<std::size_t>(col)]))
            piv = q;
        std::swap(a[static_cast<std::size_t>(col)], a[static_cast<std::size_t>(piv)]);
        std::swap(b[static_cast<std::size_t>(col)], b[static_cast<std::size_t>(piv)]);
        const double d = a[static_cast<std::size_t>(col)][static_cast<std::size_t>(col)];
        if (!(std::fabs(d) > 0.0)) return false;
        for (int q = col + 1; q <= nf; ++q) {
          const double f = a[static_cast<std::size_t>(q)][static_cast<std::size_t>(col)] / d;
          if (f == 0.0) continue;
          for (int j = col; j <= nf; ++j)
            a[static_cast<std::size_t>(q)][static_cast<std::size_t>(j)] -=
                f * a[static_cast<std::size_t>(col)][static_cast<std::size_t>(j)];
          b[static_cast<std::size_t>(q)] -= f * b[static_cast<std::size_t>(col)];
        }
      }
      std::array<double, kN + 1> sol{};
      for (int q = nf; q >= 1; --q) {
        double v = b[static_cast<std::size_t>(q)];
        for (int j = q + 1; j <= nf; ++j)
          v -= a[static_cast<std::size_t>(q)][static_cast<std::size_t>(j)] *
               sol[static_cast<std::size_t>(j)];
        sol[static_cast<std::size_t>(q)] =
            v / a[static_cast<std::size_t>(q)][static_cast<std::size_t>(q)];
      }
      for (int i = 1; i <= kN; ++i)
        if (floored[static_cast<std::size_t>(i)])
          y[static_cast<std::size_t>(i)] =
              sol[static_cast<std::size_t>(slot[static_cast<std::size_t>(i)])];
    }
    bool any = false;
    // A liquid component at its floor that the liquid would take up: its own potential in the
    // model lies below the one the phases give it.
    int kept = 0;
    for (int k = 1; k <= ctx.ConstraintCount; ++k) {
      const int i = ctx.ConstraintList(k);
      if (r(i) - y[static_cast<std::size_t>(i)] < -kReleaseGradient) {
        released[static_cast<std::size_t>(i)] = true;
        any = true;
        ++ctx.counters.boundsReleased;
      } else {
        ctx.ConstraintList(++kept) = i;
      }
    }
    for (int k = kept + 1; k <= ctx.ConstraintCount; ++k) ctx.ConstraintList(k) = 0;
    ctx.ConstraintCount = kept;
    // An endmember at zero that its phase would take up.
    for (int e = kN + 1; e <= Ncomp; ++e) {
      const auto ue = static_cast<std::size_t>(e);
      if (!heldAtZero[ue]) continue;
      double built = 0.0;
      for (int i = 1; i <= kN; ++i) built += column(e, i) * y[static_cast<std::size_t>(i)];
      if (r(e) - built < -kReleaseGradient) {
        heldAtZero[ue] = false;
        released[ue] = true;
        any = true;
        ++ctx.counters.boundsReleased;
      }
    }
    return any;
  }

  // A liquid component already at its floor whose target lies below the floor would have the
  // step clamp it there, creating the difference from nothing at every step (the mass balance
  // of a near-solidus state ran off by tenths of a mole that way).  Such a component is held at
  // its floor by a constraint and the program solved again, until no target at a floor lies
  // below it (or the floor repeats mass balance and is let go).  False when a solve failed.
  bool holdFloorsReached() {
    std::array<bool, kN + 1> tried{};
    std::array<bool, kMaxStateVector + 1> heldAtZero{};
    std::array<bool, kMaxStateVector + 1> released{};
    for (int k = 1; k <= ctx.ConstraintCount; ++k)
      tried[static_cast<std::size_t>(ctx.ConstraintList(k))] = true;
    for (int pass = 0; pass < kN + kMaxStateVector; ++pass) {
      bool added = false;
      for (int i = 1; i <= kN; ++i) {
        if (tried[static_cast<std::size_t>(i)] || released[static_cast<std::size_t>(i)] ||
            !(st.BulkMoles(i) > liquidFloor(i)))
          continue;
        if (ctx.Xold(i) <= liquidFloor(i) * (1.0 + 1e-9) && st.Xstable(i) < liquidFloor(i)) {
          tried[static_cast<std::size_t>(i)] = true;
          ctx.ConstraintList(++ctx.ConstraintCount) = i;
          added = true;
        }
      }
      // An endmember at zero whose target is negative likewise: it leaves the program (no
      // column in mass balance, no coupling in the Hessian) and stays at zero.
      for (int e = kN + 1; e <= Ncomp; ++e) {
        const auto ue = static_cast<std::size_t>(e);
        if (heldAtZero[ue] || released[ue] || ctx.NegOK(e) || ctx.Xold(e) > kNegligibleMoles ||
            !(st.Xstable(e) < 0.0))
          continue;
        heldAtZero[ue] = true;
        added = true;
      }
      if (!added) {
        for (int e = kN + 1; e <= Ncomp; ++e)
          if (heldAtZero[static_cast<std::size_t>(e)]) st.Xstable(e) = 0.0;
        if (!releaseHeldBounds(heldAtZero, released)) return true;
      }
      buildConstraints();
      for (int i = 1; i <= Ncomp; ++i) {
        ctx.Gv(i) = ctx.GvCopy(i);
        for (int j = 1; j <= Ncomp; ++j) ctx.Hess(i, j) = ctx.HessCopy(i, j);
      }
      for (int e = kN + 1; e <= Ncomp; ++e) {
        if (!heldAtZero[static_cast<std::size_t>(e)]) continue;
        for (int j = 1; j <= Ncomp; ++j) ctx.Hess(e, j) = ctx.Hess(j, e) = 0.0;
        ctx.Hess(e, e) = 1.0;
        ctx.Gv(e) = 0.0;
        for (int r = 1; r <= ctx.Mc; ++r) ctx.Cmat(r, e) = ctx.Ctrans(e, r) = 0.0;
      }
      ++ctx.counters.floorResolves;
      if (!quadraticStep()) return false;
    }
    return true;
  }

  // The free energy of the state X less that of the same moles on the tangent plane of
  // ctx.tangent (the potentials of the liquid components at the start of the step, carried to
  // each endmember by its stoichiometry), with the potentials the model gives at X.  False when
  // the liquid model cannot be evaluated there.
  bool reducedG(const Array1<double>& X, double& g) {
    const bool flagged = diag.ErrorFlag;
    const char* failedBefore = failedIn;
    liquid(X);
    if (diag.ErrorFlag && !flagged) {
      diag.ErrorFlag = false;
      failedIn = failedBefore;
      return false;
    }
    makeGv(X, false);
    double sum = 0.0;
    for (int i = 1; i <= Ncomp; ++i)
      if (ctx.Gv(i) != 0.0) sum += X(i) * (ctx.Gv(i) - ctx.tangent(i));
    g = sum;
    return std::isfinite(sum);
  }

  double lineSearch() {
    const Array1<double>& Xold = ctx.Xold;
    // The tangent plane at the start: the liquid's potentials at Xold (the Hessian's last
    // evaluation restored them there).
    liquid(Xold);
    for (int i = 1; i <= kN; ++i) ctx.tangent(i) = m.MuLiq(i);
    {
      int c = kN;
      for (int k = 1; k <= st.PhaseCount; ++k) {
        const int id = st.Phaselist(k);
        if (id >= kPhases) continue;
        for (int j = 1; j <= endCount(id); ++j) {
          double mu = 0.0;
          for (int i = 1; i <= kN; ++i) mu += m.phases.PhaseStoich(id, j, i) * ctx.tangent(i);
          ctx.tangent(++c) = mu;
        }
      }
    }
    double g0 = 0.0;
    if (!reducedG(Xold, g0)) return MaxStep;
    // The slope along the step, from the potentials at the start.
    double slope = 0.0;
    for (int i = 1; i <= Ncomp; ++i)
      if (ctx.Gv(i) != 0.0) slope += (st.Xstable(i) - Xold(i)) * (ctx.Gv(i) - ctx.tangent(i));
    double s = MaxStep, bestS = 0.0, bestG = g0;
    for (int trial = 0; trial <= kMaxBacktracks; ++trial) {
      formNhat(s, Clamp::Rule3, false);
      double g = 0.0;
      if (reducedG(ctx.Nhat, g)) {
        // Within the rounding of G the step is as good as the start: near the solution the
        // Newton step is right and the change of G is below what can be measured.
        const double noise = kLineSearchNoise * (1.0 + std::fabs(g0));
        if (g <= g0 + 1e-4 * s * std::min(slope, 0.0) + noise) return s;
        if (g < bestG) {
          bestG = g;
          bestS = s;
        }
      }
      s *= 0.5;
    }
    ++ctx.counters.lineSearchFailures;
    // No length lowered G enough: the one that lowered it most, or the shortest tried.
    return bestS > 0.0 ? bestS : 2.0 * s;
  }

  // E. One step.
  Stage step() {
    Array1<double>& Nhat = ctx.Nhat;
    Array1<double>& Xold = ctx.Xold;
    for (int i = 1; i <= Ncomp; ++i) Xold(i) = st.Xstable(i);
    if (Ncomp == kN) {
      Count = 1;
      return Stage::B;
    }
    ++ctx.counters.innerSteps;
    // An iteration that cycles (an assemblage that never settles) ends the call with a report:
    // a settled solve takes a few hundred steps at most.
    if (ctx.counters.innerSteps > kMaxInnerSteps) {
      diag.ErrorFlag = true;
      reportFrom(ctx, "No convergence in " + std::to_string(kMaxInnerSteps) +
                          " steps, in subroutine MimimizeG.");
      return Stage::Done;
    }
    buildConstraints();
    makeGv(Nhat, false);
    CalcHessian(ctx, st, ctx.Hess, Nhat, Ncomp, T, P);
    note("CalcHessian");
    if (Count == 1) {
      for (int i = 1; i <= Ncomp; ++i) st.Xstable(i) = Nhat(i);
    } else {
      newtonForm(Nhat);
      if (!quadraticStep()) return Stage::Done;
      if (!holdFloorsReached()) return Stage::Done;
      zeroAbsentEndmembers(st.Xstable);
      double sum = 0.0, xsum = 0.0;
      for (int i = Ncomp; i >= 1; --i) {
        const double d = st.Xstable(i) - Nhat(i);
        sum += d * d;
      }
      for (int i = 1; i <= Ncomp; ++i) xsum += st.Xstable(i) * st.Xstable(i);
      Norm = std::sqrt(sum);
      XNorm = std::sqrt(xsum);
    }
    // 6. The step that brings the first liquid component down to its floor.
    MaxStep = FloorStep = Steplength = 1.0;
    double best = 1.0;
    for (int i = 1; i <= kN; ++i) {
      if (st.Xstable(i) < liquidFloor(i) && st.BulkMoles(i) > 0.0 &&
          std::fabs(st.Xstable(i) - Xold(i)) > 1e-3 * liquidFloor(i)) {
        const double q = (liquidFloor(i) - Xold(i)) / (st.Xstable(i) - Xold(i));
        double t = q;
        if (!(t > 0.0)) t = 0.01;
        if (t < best) {
          best = t;
          FloorStep = q < 1e-7 ? 1e-7 : q;
          Steplength = t;
        }
      }
    }
    // No endmember of a phase may be carried below zero by the step (an exchange endmember
    // of a simple solution excepted): the step stops at 99 % of the way to the first one, so
    // that a vanishing phase shrinks geometrically until the review drops it, instead of the
    // clamp resetting it and losing mass balance.  An endmember already below kNegligibleMoles
    // does not shorten the step: it is held at zero instead.
    bool bounded = false;
    for (int i = kN + 1; i <= Ncomp; ++i) {
      if (ctx.NegOK(i) || !(Xold(i) > kNegligibleMoles) || !(st.Xstable(i) < 0.0)) continue;
      const double t = 0.99 * Xold(i) / (Xold(i) - st.Xstable(i));
      if (t < Steplength) {
        Steplength = t;
        FloorStep = std::min(FloorStep, t);
        bounded = true;
      }
    }
    if (bounded) ++ctx.counters.boundedSteps;
    MaxStep = Steplength;
    // 7-10. The step length, judged by the real free energy of the state along the step: the
    // liquid's potentials evaluated afresh at each trial and every solution's at the composition
    // it holds there.  The full (bounded) Newton step is taken when it lowers G enough
    // (Armijo), else it is halved.  G is measured against the tangent plane of the liquid at the
    // start: with mass balance holding along the step, G less the constant b'mu differs from G
    // by a constant, and it is a sum of moles times affinities of a few J instead of a sum of
    // potentials of a million J, whose rounding (1e-4 J) hid the descent of the last steps.  A
    // line search on the potentials of the top of the iteration alone is linear along the line
    // and only picked an end point, or, in that rounding, steps of 1e-6.
    Steplength = lineSearch();
    // 11. The new point.
    formNhat(Steplength, Clamp::Rule3, false);
    makeGv(Nhat, false);
    // 12. The multipliers: the potentials of the components.  They decide only which liquid
    // components at their floor are held there (13), so the least-squares solve runs when one
    // is; and when a potential is not finite, where the solve stops the call with its fault.
    // (The identity block of the liquid components gives the system full rank: with finite
    // potentials the solve cannot fail, and what it leaves in Ctrans is rebuilt before any use.)
    bool multipliersNeeded = false;
    if (Count > 1)
      for (int i = 1; i <= kN; ++i)
        if (st.BulkMoles(i) > liquidFloor(i) && Nhat(i) <= liquidFloor(i)) multipliersNeeded = true;
    for (int i = 1; i <= Ncomp && !multipliersNeeded; ++i)
      if (!std::isfinite(ctx.Gv(i))) multipliersNeeded = true;
    if (multipliersNeeded) {
      for (int i = 1; i <= Ncomp; ++i) ctx.mult(i) = ctx.Gv(i);
      Solve(Ncomp, kN, ctx.Ctrans, ctx.mult, diag);
    }
    note("the multipliers (Solve)");
    // 13. Components at their floor that the system wants to lower further are held there in
    // the next step.
    ctx.ConstraintCount = 0;
    ctx.ConstraintList.erase();
    if (Count > 1)
      for (int i = 1; i <= kN; ++i)
        if (st.BulkMoles(i) > liquidFloor(i) && Nhat(i) <= liquidFloor(i) && ctx.mult(i) < 0.0)
          ctx.ConstraintList(++ctx.ConstraintCount) = i;
    // 14.
    if (FloorStep < Steplength) {
      Steplength = FloorStep;
      st.Gsystem = 0.0;
      formNhat(Steplength, Clamp::Rule3, false);
    }
    // The state reached is the state: the review, the exit and the next step start from it, not
    // from the target of the quadratic program (which may hold negative amounts the step never
    // reached; judged on the target, the review dropped phases the state still held).
    for (int i = 1; i <= Ncomp; ++i) st.Xstable(i) = Nhat(i);
    progress();
    // 16. Convergence, free of the system's scale: a step small against the vector (a test on
    // (1 - XNorm) turned negative for a silica-rich liquid of more than 1 mol per 100 g, which
    // then ran to the count every time) and every listed phase on the liquid's tangent plane
    // (its affinity at the top of this step within the result's limit).
    bool onTangentPlane = true;
    for (int k = 1; k <= st.PhaseCount; ++k) {
      const int id = st.Phaselist(k);
      if (id >= 1 && id <= kPhases &&
          !(std::fabs(m.sat->Affinity(id)) <= equilibrium::kResultAffinityLimit))
        onTangentPlane = false;
    }
    if (polishing) {
      ++polishSteps;
      ++ctx.counters.polishSteps;
      if (Norm <= kPolishTolerance * std::max(XNorm, 1e-3) || polishSteps >= kMaxPolishSteps) {
        polishing = false;
        polished = true;
        Count = 1;
      } else {
        ++Count;
      }
      return Stage::B;
    }
    if (Norm <= kInnerTolerance * XNorm && onTangentPlane && Count > 2) {
      Count = 1;
      innerConverged = true;
    } else {
      ++Count;
    }
    if (Count > 5 * Ncomp) {
      Count = 1;
      innerConverged = false;
    }
    return Stage::B;
  }

  // The length of the vector the list calls for; differs from Ncomp only after a phase went
  // twice (its entries stay in Xstable, by design).
  int listedLength() const {
    int n = kN;
    for (int k = 1; k <= st.PhaseCount; ++k)
      if (st.Phaselist(k) < kPhases) n += endCount(st.Phaselist(k));
    return n;
  }

  // The assemblage is settled and the search (if any) is done.  The inner iteration's own test
  // accepts successive targets within about 1e-5 moles, and it converges only linearly (the
  // phases' compositions follow the liquid one step behind, some 5 % closer per step), so that
  // state can lie 1e-4 mol from the minimum.  Once per settled assemblage the iteration goes on
  // until its step is below kPolishTolerance of the vector or for kMaxPolishSteps steps, which
  // takes it some twenty times closer; the review that follows confirms the assemblage.
  bool polishable() const { return st.PhaseCount > 0 && listedLength() == Ncomp; }
  Stage finish() {
    if (polished || !polishable()) return Stage::G;
    polishing = true;
    polishSteps = 0;
    Count = 16;
    return Stage::E;
  }

  // F. Settled assemblage: one secant update of T (or P) toward the target.
  Stage settled() {
    if (st.ConstantT || OuterCount >= kMaxSecantPasses) return finish();
    LastDropped = 0;
    DropPasses = 0;
    for (int i = 1; i <= Ncomp; ++i) ctx.Nhat(i) = st.Xstable(i);
    // The system's sums at the state reached.  A liquid alone takes no inner step, so nothing
    // else has evaluated them at this T: the context still held the last call's (whose search
    // had met its own target), and a search judged on them ended at once, at the start's T,
    // 2.6 J/K off its entropy.
    makeGv(ctx.Nhat, true);
    const bool onP = st.ConstantV && !st.ConstantH && !st.ConstantS;
    if (OuterCount == 0) {
      moveLimit = onP ? 100.0 : 10.0;
      clampedSign = 0;
      if (st.ConstantH) {
        target = st.Hsystem;
        searchTol = equilibrium::kEnthalpyTolerance;
        firstStep = -2.0;
      } else if (st.ConstantS) {
        target = st.Ssystem;
        searchTol = equilibrium::kEntropyTolerance;
        firstStep = (st.Ssystem - ctx.Stot) * 5.0 * st.MassSystem / 100.0;
      } else if (st.ConstantV) {
        target = st.Vsystem;
        searchTol = equilibrium::kVolumeTolerance;
        firstStep = 10.0;
      } else {
        target = 0.0;
      }
      if (target == 0.0) return finish();
    }
    const double r = EnergyResidual(st, ctx.Htot, ctx.Stot, ctx.Vtot);
    if (std::fabs(r) <= searchTol || target == 0.0) return finish();
    // Near the target the residual of a state that only passed the inner test is mostly the
    // error of that state (about 1e-3 J/K of entropy): the secant would chase it.  There the
    // state is polished first and the residual taken again.
    // (A liquid alone has nothing to polish: there the search goes on.)
    if (!polished && polishable() && std::fabs(r) <= kPolishBand * searchTol) return finish();
    const double present = onP ? P : T;
    double next = present;
    if (OuterCount == 0) {
      r0 = r;
      x0 = present;
      next = x0 + firstStep;
      x1 = next;
    } else if (OuterCount == 1) {
      r1 = r;
      next = (r1 == r0) ? x1 : x1 - (x1 - x0) * r1 / (r1 - r0);
    } else {
      x0 = x1;
      r0 = r1;
      x1 = present;
      r1 = r;
      if (r1 == r0) {
        next = present * 1.01;
      } else {
        next = present - (present - x0) * r1 / (r1 - r0);
        const double slope = (x1 - x0) / (r1 - r0);
        if (st.ConstantH)
          st.dTdH = slope;
        else if (st.ConstantS)
          st.dTdS = slope;
        else
          st.dPdV = slope;
      }
    }
    ++OuterCount;
    ctx.counters.outerPasses = OuterCount;
    polished = false;  // a new temperature (or pressure): a new state to settle
    // Each pass moves T by at most 10 K (P by 100 bar), so that a secant through two distant
    // assemblages cannot throw the state far off.  A target farther than the passes can walk
    // at that pace (a column node set up 120 K below the temperature of its entropy) was
    // missed: each pass that meets the limit in the direction of the last one doubles it.
    const int sign = next > present + moveLimit ? 1 : (next < present - moveLimit ? -1 : 0);
    if (sign != 0 && sign == clampedSign) moveLimit *= 2.0;
    if (sign == 0) moveLimit = onP ? 100.0 : 10.0;
    clampedSign = sign;
    if (next - present > moveLimit) next = present + moveLimit;
    if (next - present < -moveLimit) next = present - moveLimit;
    if (onP)
      P = next < 1.0 ? 1.0 : (next > 100000.0 ? 100000.0 : next);
    else
      T = next > 2000.0 ? 2000.0 : (next < 773.15 ? 773.15 : next);
    gibbs();
    makeGv(ctx.Nhat, true);
    if (st.PhaseCount == 0) {
      ctx.order.erase();
      st.Phaselist.erase();
      ctx.Nhat.erase();
      ctx.Xold.erase();
      st.PhaseCount = 0;
      for (int i = 1; i <= kN; ++i) ctx.Nhat(i) = ctx.Xold(i) = st.BulkMoles(i);
      if (Count != 2) Count = 1;
      return Stage::B;
    }
    return Stage::E;
  }

  // G. Exit: the system's sums, the solids' share of each component, the liquid's heat capacity.
  void exit() {
    progress();
    st.SolidMoles.erase();
    liquid(st.Xstable);  // the fractions first; the potentials again after Gibbs
    gibbs();
    liquid(st.Xstable);
    if (st.PhaseCount > 0) {
      satAll();
      MakeMatrixC(ctx, st, ctx.Mc, Ncomp, ctx.Cmat, ctx.Ctrans, 0, ctx.ConstraintList);
      for (int j = 1; j <= kN; ++j)
        for (int i = kN + 1; i <= Ncomp; ++i) st.SolidMoles(j) += ctx.Cmat(j, i) * st.Xstable(i);
      st.Vsystem = ctx.Vtot;
      st.Hsystem = ctx.Htot;
      st.Ssystem = ctx.Stot;
      st.CpSystem = ctx.Cptot;
    } else {
      st.Xstable.erase();
      for (int i = 1; i <= kN; ++i) st.Xstable(i) = st.BulkMoles(i);
      Ncomp = kN;
      makeGv(st.Xstable, true);
      st.Vsystem = ctx.Vtot;
      st.Hsystem = ctx.Htot;
      st.Ssystem = ctx.Stot;
      st.CpSystem = 0.0;
    }
    // The liquid's heat capacity from its enthalpy 0.1 K either side.
    // The liquid's standard states at those temperatures go to a state of their own, so that
    // the model's stay at T.
    auto liquidEnthalpy = [&](double temp) {
      GibbsLiquid(m.tables, *ctx.liquidStates, diag, temp, P);
      note("the standard states (Gibbs)");
      u_Liquid(m.liquidTables, *ctx.liquidStates, m.liquid, diag, 0, m.Xliq, m.MuLiq, m.Sliq,
               m.Hliq, temp, P);
      double sum = 0.0;
      for (int i = 1; i <= kN; ++i) sum += m.Hliq(i) * st.Xstable(i);
      return sum;
    };
    const double hLow = liquidEnthalpy(T - 0.1);
    const double hHigh = liquidEnthalpy(T + 0.1);
    st.CpLiquid = (hHigh - hLow) / 0.2;
    st.CpSystem += st.CpLiquid;
    gibbs();
    u_Liquid(m.liquidTables, *m.ss, m.liquid, diag, 0, m.Xliq, m.MuLiq, m.Sliq, m.Hliq, T, P);
    for (int i = 1; i <= kN; ++i)
      if (st.Xstable(i) < 0.0) {
        diag.ErrorFlag = true;
        reportFrom(ctx,
                   "Negative liquid component found in computation!\nAt exit of subroutine "
                   "MimimizeG.");
        break;
      }
    // A phase of negative mass is no equilibrium either, whatever the iteration made of it: a
    // caller storing it would hand on negative amounts.
    if (!diag.ErrorFlag) {
      int c = kN;
      for (int k = 1; k <= st.PhaseCount; ++k) {
        const int id = st.Phaselist(k);
        if (id >= kPhases) continue;  // no entries of its own
        double mass = 0.0;
        for (int j = 1; j <= endCount(id); ++j)
          mass += st.Xstable(++c) * m.phases.PhaseEndMW(id, j);
        if (mass < 0.0) {
          diag.ErrorFlag = true;
          reportFrom(ctx, "Negative mass of " + trimmedText(m.phases.PhaseNames(id)) +
                              " found in computation!\nAt exit of subroutine MimimizeG.");
          break;
        }
      }
    }
    st.Ncomp = Ncomp;
    st.settled = !diag.ErrorFlag && st.PhaseCount > 0;
    st.settledT = T;
    st.settledP = P;
    for (int i = 1; i <= kN; ++i) st.settledBulk(i) = st.BulkMoles(i);
  }

  void run() {
    runStages();
    // A failure always says why: one that no report has named yet is named here.
    if (diag.ErrorFlag && !diag.HaltFlag && ctx.messages.empty())
      reportFrom(ctx, "Minimization stopped: " +
                          std::string(failedIn != nullptr ? failedIn : "a routine it calls") +
                          " failed at T = " + std::to_string(T) + " K, P = " + std::to_string(P) +
                          " bar, in subroutine MimimizeG.");
  }
  void runStages() {
    Stage s = start();
    while (s != Stage::Done) {
      switch (s) {
        case Stage::B:
          s = top();
          break;
        case Stage::C:
          s = review();
          break;
        case Stage::D:
          s = add();
          break;
        case Stage::E:
          s = step();
          break;
        case Stage::F:
          s = settled();
          break;
        case Stage::G:
          exit();
          s = Stage::Done;
          break;
        case Stage::Done:
          break;
      }
    }
    st.Ncomp = Ncomp;
  }
};

}  // namespace

void CalcStablePhases(MinimizerContext& ctx, MinimizerState& st, double& T, double& P,
                      int& ErrFlag) {
  ctx.counters = MinimizerCounters{};
  ctx.messages.clear();
  EquilibriumModel& m = *ctx.model;
  // A solve is a function of its inputs (T, P, the bulk, the mode and its target, the state
  // handed in), not of what this context solved before: the saturation tables and the system's
  // sums start as in a new context.  Independent nodes can then be solved in parallel, one
  // context per thread, with the numbers of a single thread.
  m.sat->clear();
  ctx.Vtot = ctx.Stot = ctx.Htot = ctx.Cptot = 0.0;
  Run run{ctx, st, T, P, ErrFlag, m, m.diag};
  runTrapped(m.diag, subroutineSuffix("CalcStablePhases"), [&] {
    try {
      run.run();
    } catch (const Fault& fault) {
      ctx.messages.push_back(std::to_string(fault.number()) + subroutineSuffix("CalcStablePhases"));
      throw;
    }
  });
}

MinimizerResult solveStableAssemblage(MinimizerContext& ctx, MinimizerState& st, double T,
                                      double P) {
  EquilibriumModel& m = *ctx.model;
  Diagnostics& diag = m.diag;
  MinimizerResult res;
  diag.ErrorFlag = false;
  const double targetH = st.Hsystem, targetS = st.Ssystem, targetV = st.Vsystem;
  int errFlag = 0;
  CalcStablePhases(ctx, st, T, P, errFlag);
  res.T = T;
  res.P = P;
  res.counters = ctx.counters;
  res.halted = diag.HaltFlag;
  if (!ctx.messages.empty()) res.message = ctx.messages.front();
  if (res.halted) {
    if (res.message.empty()) res.message = "Halted.";
    return res;
  }
  if (diag.ErrorFlag || !ctx.messages.empty()) {
    if (res.message.empty()) res.message = "Error returned from minimization.";
    return res;
  }
  // The target of a search mode, within the tolerance of its search.
  auto missed = [&](double value, double target, double tol, const char* what) {
    if (std::fabs(value - target) <= tol) return false;
    res.message = std::string(what) + " error = " + std::to_string(value - target) +
                  ", outside the tolerance of the search";
    return true;
  };
  using namespace equilibrium;
  if (st.ConstantH && missed(st.Hsystem, targetH, kEnthalpyTolerance, "Enthalpy")) return res;
  if (st.ConstantS && missed(st.Ssystem, targetS, kEntropyTolerance, "Entropy")) return res;
  if (st.ConstantV && missed(st.Vsystem, targetV, kVolumeTolerance, "Volume")) return res;
  // Nothing is called an equilibrium before it passes the check: amounts, mass balance, and
  // the saturation state of the returned liquid evaluated afresh.
  res.message = equilibriumFault(ctx, st, T, P);
  if (!res.message.empty()) {
    st.settled = false;
    return res;
  }
  res.converged = true;
  return res;
}

}  // namespace cx
